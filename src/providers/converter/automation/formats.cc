// Formats as objects. Tested by converter_test.cc.
#include "providers/converter/automation/formats.h"

#include <vector>

#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::converter {

using automation::Ref;

const automation::MemberTable& ConverterFormat::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Get("ID", &ConverterFormat::GetId)
          .Get("Name", &ConverterFormat::GetName)
          .Get("IsImportAvailable", &ConverterFormat::GetIsImportAvailable)
          .Get("IsApplicationInstalled", &ConverterFormat::GetIsApplicationInstalled)
          .Get("Reason", &ConverterFormat::GetReason);
  return table;
}

std::int32_t ConverterFormats::GetCount() const {
  return static_cast<std::int32_t>(converter::Formats().size());
}

Ref<ConverterFormat> ConverterFormats::Item(std::int32_t Index) const {
  if (Index < 0 || Index >= GetCount()) {
    automation::Raise(automation::kErrSubscript, "Formats::Item");
  }
  return automation::MakeObject<ConverterFormat>(
      converter::Formats()[static_cast<std::size_t>(Index)]);
}

Ref<automation::Enumerator> ConverterFormats::NewEnum() const {
  std::vector<automation::Value> items;
  for (std::int32_t i = 0; i < GetCount(); ++i) items.emplace_back(Item(i));
  return automation::MakeObject<automation::Enumerator>(std::move(items));
}

const automation::MemberTable& ConverterFormats::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Get("Count", &ConverterFormats::GetCount)
          .Default("Item", &ConverterFormats::Item, {"Index"})
          .Enumerator("NewEnum", &ConverterFormats::NewEnum);
  return table;
}

}  // namespace pv::converter
