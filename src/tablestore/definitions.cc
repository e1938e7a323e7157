// FieldDef(s) and IndexDef(s). Tested by definitions_test.cc.
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/tablestore/field_defs.h"
#include "pvgroupman/tablestore/index_defs.h"

namespace pv::tablestore {

const automation::MemberTable& FieldDef::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Name", &FieldDef::GetName, &FieldDef::SetName)
          .Property("Type_", &FieldDef::GetType, &FieldDef::SetType)
          .Property("Length", &FieldDef::GetLength, &FieldDef::SetLength)
          .Property("DecimalPlaces", &FieldDef::GetDecimalPlaces, &FieldDef::SetDecimalPlaces)
          .Property("NullsAllowed", &FieldDef::GetNullsAllowed, &FieldDef::SetNullsAllowed);
  return table;
}

automation::Ref<FieldDef> FieldDefs::Add(const std::string& Name, PVFieldType Type_,
                                         std::int16_t Length, std::int16_t DecimalPlaces,
                                         bool NullsAllowed) {
  automation::Ref<FieldDef> item = automation::MakeObject<FieldDef>();
  item->SetName(Name);
  item->SetType(Type_);
  item->SetLength(Length);
  item->SetDecimalPlaces(DecimalPlaces);
  item->SetNullsAllowed(NullsAllowed);
  items_.Add(Name, item);
  return item;
}

automation::Ref<FieldDef> FieldDefs::Item(const automation::Value& Index) const {
  return ItemOrNone(Index);
}

const automation::MemberTable& FieldDefs::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Method("Add", &FieldDefs::Add,
                  {"Name", "Type_", "Length", "DecimalPlaces", "NullsAllowed"})
          .Get("Count", &FieldDefs::Count)
          .Method("Delete", &FieldDefs::Delete, {"Index"})
          .Default("Item", &FieldDefs::Item, {"Index"})
          .Enumerator("NewEnum", &FieldDefs::NewEnum);
  return table;
}

const automation::MemberTable& IndexDef::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Name", &IndexDef::GetName, &IndexDef::SetName)
          .Property("expression", &IndexDef::GetExpression, &IndexDef::SetExpression)
          .Property("filter", &IndexDef::GetFilter, &IndexDef::SetFilter)
          .Property("unique", &IndexDef::GetUnique, &IndexDef::SetUnique)
          .Property("descending", &IndexDef::GetDescending, &IndexDef::SetDescending);
  return table;
}

automation::Ref<IndexDef> IndexDefs::Add(const std::string& Name, const std::string& expression,
                                         const std::string& filter, bool unique, bool descending) {
  automation::Ref<IndexDef> item = automation::MakeObject<IndexDef>();
  item->SetName(Name);
  item->SetExpression(expression);
  item->SetFilter(filter);
  item->SetUnique(unique);
  item->SetDescending(descending);
  items_.Add(Name, item);
  return item;
}

const automation::MemberTable& IndexDefs::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Method("Add", &IndexDefs::Add, {"Name", "expression", "filter", "unique", "descending"})
          .Get("Count", &IndexDefs::Count)
          .Method("Delete", &IndexDefs::Delete, {"Index"})
          .Default("Item", &IndexDefs::Item, {"Index"})
          .Enumerator("NewEnum", &IndexDefs::NewEnum);
  return table;
}

}  // namespace pv::tablestore
