// ABField and ABFields. Tested by ab_fields_test.cc.
#include "pvgroupman/addressbook/ab_fields.h"

#include "addressbook/contact_properties.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::addressbook {

void ABField::SetPropertyId(std::int32_t NewValue) {
  property_id_ = NewValue;
  if (const auto* property = FindContactProperty(static_cast<std::uint32_t>(NewValue))) {
    display_name_ = property->display_name;
    name_ = property->name;
  } else {
    display_name_ = name_ = std::to_string(NewValue);
  }
}

const automation::MemberTable& ABField::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("PropertyID", &ABField::GetPropertyId, &ABField::SetPropertyId)
          .Get("Name", &ABField::GetName);
  return table;
}

automation::Ref<ABField> ABFields::Add(std::int32_t PropertyID) {
  const std::string key = std::to_string(PropertyID);
  if (const auto* there = items_.Find(key)) return Typed(*there);
  auto field = automation::MakeObject<ABField>();
  field->SetPropertyId(PropertyID);
  items_.Add(key, field);
  return field;
}

const automation::MemberTable& ABFields::Members() const {
  static const automation::MemberTable table = automation::Class(kClassName)
                                                   .Method("Add", &ABFields::Add, {"PropertyID"})
                                                   .Get("Count", &ABFields::Count)
                                                   .Method("Delete", &ABFields::Delete, {"Index"})
                                                   .Default("Item", &ABFields::Item, {"Index"})
                                                   .Enumerator("NewEnum", &ABFields::NewEnum);
  return table;
}

}  // namespace pv::addressbook
