// Makes and reads the tag of addresses. Tested by walk_test.cc.
#include "cli/groups/address_tag.h"

#include "base/text.h"
#include "cli/fields/record.h"

namespace pv::cli {

std::vector<engine::TagRecord> AddressTag(const std::string& address_field) {
  engine::TagRecord tag;
  tag.name = kAddressTag;
  tag.expression = address_field;
  tag.filter = ".NOT. DELETED()";
  tag.unique = engine::kUniqueKey;
  return {tag};
}

std::string AddressFieldOf(engine::Handle table) {
  const std::vector<RecordField> fields = FieldsOf(table);
  for (const engine::TagInfo& tag : engine::d4info(table).tags) {
    if (!EqualsIgnoreCase(tag.name, kAddressTag)) continue;
    const RecordField* field = FindField(fields, TrimBlanks(tag.expression));
    if (field != nullptr) return field->name;
  }
  const RecordField* field = FindField(fields, "EMAIL");
  return field != nullptr ? field->name : "";
}

}  // namespace pv::cli
