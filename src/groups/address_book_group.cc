// Describing address-book groups. Tested by address_book_group_test.cc.
#include "groups/address_book_group.h"

#include "base/text.h"
#include "pvgroupman/automation/call.h"

namespace pv::groups {

using automation::CallMember;
using automation::GetProperty;
using automation::Object;
using automation::Ref;
using automation::ValueType;

PVGroupFieldType TypeOfContactValue(const automation::Value& value) {
  switch (value.type()) {
    case ValueType::kDate:
      return PVGroupFieldType::kDate;
    case ValueType::kI4:
    case ValueType::kI2:
      return PVGroupFieldType::kNumber;
    case ValueType::kBoolean:
      return PVGroupFieldType::kBoolean;
    default:
      return PVGroupFieldType::kText;
  }
}

void AddContactFields(const Ref<Object>& cursor, GroupFieldTypes* types) {
  const bool before_first = GetProperty(cursor, "RecordNo").ToI4() == 0;
  const bool moved = before_first && CallMember(cursor, "MoveFirst").ToBoolean();
  const Ref<Object> fields = GetProperty(cursor, "Fields").ToObject();
  const std::int32_t count = GetProperty(fields, "Count").ToI4();
  for (std::int32_t i = 0; i < count; ++i) {
    const Ref<Object> field = CallMember(fields, "Item", {i}).ToObject();
    types->Add(ProperCase(GetProperty(field, "Name").ToText()),
               TypeOfContactValue(GetProperty(field, "Value")), kContactFieldLength);
  }
  // A step back from the first contact leads before it.
  if (moved) CallMember(cursor, "MovePrev");
}

}  // namespace pv::groups
