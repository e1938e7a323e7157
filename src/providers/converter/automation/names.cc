// Counted names. Tested by converter_test.cc.
#include "providers/converter/automation/names.h"

#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::converter {

using automation::Ref;

const automation::MemberTable& CountedName::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Get("Name", &CountedName::GetName)
          .Get("Count", &CountedName::GetCount)
          .Get("NickName", &CountedName::GetNickName)
          .Get("Description", &CountedName::GetDescription);
  return table;
}

Ref<CountedName> CountedNames::Item(std::int32_t Index) const {
  if (Index < 1 || Index > GetCount()) {
    automation::Raise(automation::kErrSubscript, "CountedNames::Item");
  }
  return automation::MakeObject<CountedName>(names_[static_cast<std::size_t>(Index - 1)]);
}

Ref<automation::Enumerator> CountedNames::NewEnum() const {
  std::vector<automation::Value> items;
  for (std::int32_t i = 1; i <= GetCount(); ++i) items.emplace_back(Item(i));
  return automation::MakeObject<automation::Enumerator>(std::move(items));
}

const automation::MemberTable& CountedNames::Members() const {
  static const automation::MemberTable table = automation::Class(kClassName)
                                                   .Get("Count", &CountedNames::GetCount)
                                                   .Default("Item", &CountedNames::Item, {"Index"})
                                                   .Enumerator("NewEnum", &CountedNames::NewEnum);
  return table;
}

}  // namespace pv::converter
