// The converter. Tested by converter_test.cc.
#include "providers/converter/automation/converter.h"

#include <unordered_map>
#include <vector>

#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::converter {

using automation::MakeObject;
using automation::Ref;
using automation::Value;

void Converter::SetFormat(const std::string& NewValue) {
  const Format* const format = FindFormat(NewValue);
  if (format == nullptr) {
    automation::Raise(automation::kErrInvalidCall, "Converter::Format",
                      "no address-book format has the code \"" + NewValue + "\"");
  }
  session_->SetFormat(format->code);
}

void Converter::SetLocation(const std::string& NewValue) { session_->SetLocation(NewValue); }

void Converter::SetPassword(const std::string& NewValue) { session_->SetPassword(NewValue); }

Ref<CountedNames> Converter::GetCategories() {
  const std::shared_ptr<Roster> roster = session_->Book();
  std::vector<CountedNameData> names;
  std::unordered_map<std::string, std::size_t> known;
  Contact contact;
  for (std::uint32_t position = 0; position < roster->own_count(); ++position) {
    ThrowUnlessOk(roster->Read(position, &contact), "Converter::Categories");
    for (const std::string& name : contact.categories()) {
      const auto [found, fresh] = known.emplace(name, names.size());
      if (fresh) names.push_back({name, 0, {}, {}});
      ++names[found->second].count;
    }
  }
  return MakeObject<CountedNames>(std::move(names));
}

Ref<CountedNames> Converter::GetDistributionLists() {
  const std::shared_ptr<Roster> roster = session_->Book();
  std::vector<CountedNameData> names;
  for (std::uint32_t i = 0; i < roster->lists().size(); ++i) {
    const DistributionList& list = roster->lists()[i];
    names.push_back({list.name, static_cast<std::int32_t>(roster->ContactsOf(i).size()),
                     list.nickname, list.description});
  }
  return MakeObject<CountedNames>(std::move(names));
}

Value Converter::GetWarnings() { return session_->Book()->notes().Texts(); }

const automation::MemberTable& Converter::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Get("Formats", &Converter::GetFormats)
          .Property("TimeStamp", &Converter::GetTimeStamp, &Converter::SetTimeStamp)
          .Property("Format", &Converter::GetFormat, &Converter::SetFormat)
          .Property("Location", &Converter::GetLocation, &Converter::SetLocation)
          .Property("SilentMode", &Converter::GetSilentMode, &Converter::SetSilentMode)
          .Put("Password", &Converter::SetPassword)
          .Get("Contacts", &Converter::GetContacts)
          .Get("Categories", &Converter::GetCategories)
          .Get("DistributionLists", &Converter::GetDistributionLists)
          .Get("Warnings", &Converter::GetWarnings);
  return table;
}

}  // namespace pv::converter
