// The external converter, which reads address books: every call that the component makes of it,
// late-bound, stands here.
#ifndef PV_ADDRESSBOOK_CONVERTER_H_
#define PV_ADDRESSBOOK_CONVERTER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::addressbook {

constexpr const char* kConverterProgId = "Cardweave.Converter";

// One format that the converter knows of.
struct ConverterFormat {
  std::string code;
  bool readable = false;   // there is a reader for it
  bool installed = false;  // which has what it needs on this machine
};

// A category or distribution list of an address book.
struct CountedName {
  std::string name;
  std::int32_t contacts = 0;
};

// Every function throws automation::Error: the converter's own, or those of call.h when it lacks a
// member.
class ConverterLink {
 public:
  // Creates a converter; error 429 when there is none.
  ConverterLink();

  // The formats in the converter's order.
  std::int32_t FormatCount() const;
  ConverterFormat FormatAt(std::int32_t index) const;  // from 0
  // The same with what only people want to know: the format's name, and why it is not installed.
  std::string FormatName(std::int32_t index) const;
  std::string FormatReason(std::int32_t index) const;

  // Settles what is read; nothing is opened before something is asked.
  void SetSource(const std::string& format, const std::string& location, bool silent);

  // Whether Count and ContactAt have the members of lists that have no contact of their own.
  void IncludeDistributionLists(bool include);

  std::int32_t Count() const;

  // Contacts by position, from 1, and by identifier. Going forward is linear.
  automation::Ref<automation::Object> ContactAt(std::int32_t position) const;
  automation::Ref<automation::Object> ContactFromId(const automation::Value& id) const;

  // Of the whole address book, with counts.
  std::vector<CountedName> Categories() const;
  std::vector<CountedName> DistributionLists() const;

  // What the converter left out because it was damaged; for people. Empty when the converter does
  // not say such things.
  std::vector<std::string> Warnings() const;

 private:
  std::vector<CountedName> Names(const char* member) const;

  automation::Ref<automation::Object> converter_;
  automation::Ref<automation::Object> contacts_;
};

// What a contact says of itself.
automation::Value IdOf(const automation::Ref<automation::Object>& contact);
std::vector<std::int32_t> TagsOf(const automation::Ref<automation::Object>& contact);
std::vector<std::string> CategoriesOf(const automation::Ref<automation::Object>& contact);
std::vector<std::string> DistributionListsOf(const automation::Ref<automation::Object>& contact);

// A property, by its tag or name, as the converter gives it; Empty when the contact has none.
automation::Value PropertyOf(const automation::Ref<automation::Object>& contact,
                             const automation::Value& property);

}  // namespace pv::addressbook

#endif  // PV_ADDRESSBOOK_CONVERTER_H_
