// "Cardweave.Converter": address books of many formats behind one set of automation classes.
//
//   converter = CreateObject("Cardweave.Converter")
//   For i = 0 To converter.Formats.Count - 1
//     converter.Formats(i).ID, .Name, .IsImportAvailable, .IsApplicationInstalled, .Reason
//   converter.TimeStamp = Now                  what a host likes; kept, without effect
//   converter.Format = "MAB"                   a code of Formats; letter case ignored
//   converter.Location = "/home/ann/.thunderbird/x/abook.mab"      or the folder it is in
//   converter.SilentMode = -1                  an integer; kept, without effect: nothing ever asks
//   contacts = converter.Contacts
//   contacts.IncludeDistributionLists = True   members of lists that have no contact are there too
//   For n = 1 To contacts.Count
//     contact = contacts(n)                    or contacts.GetContactFromID(id)
//     contact.ID                               a 32-bit number, good as long as the book is open
//     For p = 1 To contact.Properties.Count
//       tag = contact.Properties(p)            32-bit property tags
//       contact.GetProperty(tag)               Empty when the contact has no such property
//     contact.GetProperty("Categories")        texts; also "DistributionLists"
//   converter.Categories(1).Name, .Count       every category, and how many contacts are in it
//   converter.DistributionLists(1).Name, .Count, .NickName, .Description
//   converter.Warnings                         texts: what was damaged and left out
//
// The book is opened when something is first asked of it and stays open until Format, Location or
// Password change, or the last object goes. It is read in place, and never written or locked.
// Walking `contacts` forward by position or ID is linear, and holds one contact at a time.
//
// Values: text; moments as dates; several texts joined with "; " in a property, and whole (an
// array of texts) in "Categories" and "DistributionLists"; binary identifiers as bytes.
//
// Errors: 5 for an unknown format code; 9 for a position or ID that is not there; 53 no such file;
// 57 reading failed; 70 no permission, or in use; 321 the file is damaged, of another format, or of
// one that cannot be read here; 75 anything else. The description names file, place and reason.
#ifndef PV_PROVIDERS_CONVERTER_AUTOMATION_CONVERTER_H_
#define PV_PROVIDERS_CONVERTER_AUTOMATION_CONVERTER_H_

#include <cstdint>
#include <memory>
#include <string>

#include "providers/converter/automation/contacts.h"
#include "providers/converter/automation/formats.h"
#include "providers/converter/automation/names.h"
#include "providers/converter/automation/session.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::converter {

class Converter : public automation::Object {
 public:
  static constexpr const char* kClassName = "Converter";

  automation::Ref<ConverterFormats> GetFormats() const { return formats_; }

  automation::Date GetTimeStamp() const { return time_stamp_; }
  void SetTimeStamp(automation::Date NewValue) { time_stamp_ = NewValue; }

  std::string GetFormat() const { return session_->format(); }
  void SetFormat(const std::string& NewValue);

  std::string GetLocation() const { return session_->location(); }
  void SetLocation(const std::string& NewValue);

  std::int32_t GetSilentMode() const { return silent_mode_; }
  void SetSilentMode(std::int32_t NewValue) { silent_mode_ = NewValue; }

  // For a directory; without one the environment variable PVGROUP_LDAP_PASSWORD is asked.
  void SetPassword(const std::string& NewValue);

  automation::Ref<ConverterContacts> GetContacts() const { return contacts_; }

  // Walks the contacts.
  automation::Ref<CountedNames> GetCategories();
  automation::Ref<CountedNames> GetDistributionLists();
  automation::Value GetWarnings();

  const automation::MemberTable& Members() const override;

 private:
  automation::Ref<ConverterFormats> formats_ = automation::MakeObject<ConverterFormats>();
  std::shared_ptr<Session> session_ = std::make_shared<Session>();
  automation::Ref<ConverterContacts> contacts_ =
      automation::MakeObject<ConverterContacts>(session_);
  automation::Date time_stamp_;
  std::int32_t silent_mode_ = 0;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_AUTOMATION_CONVERTER_H_
