// Field, Fields, Property and Properties. Tested by recordset_test.cc.
#include "providers/adodb/fields.h"

#include "base/text.h"
#include "providers/adodb/failure.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::adodb {

using automation::MakeObject;
using automation::Ref;
using automation::Value;
using automation::ValueType;

std::int32_t Property::GetType() const {
  switch (value_.type()) {
    case ValueType::kBoolean:
      return 11;
    case ValueType::kI4:
      return 3;
    default:
      return 8;  // text
  }
}

const automation::MemberTable& Property::Members() const {
  static const automation::MemberTable table = automation::Class(kClassName)
                                                   .Get("Value", &Property::GetValue)
                                                   .Get("Name", &Property::GetName)
                                                   .Get("Type", &Property::GetType)
                                                   .Get("Attributes", &Property::GetAttributes);
  return table;
}

Properties::Properties(const Column& column) {
  items_.push_back(MakeObject<Property>("BASECATALOGNAME", Value(column.base_catalog)));
  items_.push_back(MakeObject<Property>("BASECOLUMNNAME", Value(column.base_column)));
  items_.push_back(MakeObject<Property>("BASESCHEMANAME", Value(column.base_schema)));
  items_.push_back(MakeObject<Property>("BASETABLENAME", Value(column.base_table)));
  items_.push_back(MakeObject<Property>("IsAutoIncrement", Value(column.auto_increment)));
}

const automation::MemberTable& Properties::Members() const {
  static const automation::MemberTable table = automation::Class(kClassName)
                                                   .Get("Count", &Properties::Count)
                                                   .Default("Item", &Properties::Item, {"Index"})
                                                   .Enumerator("NewEnum", &Properties::NewEnum);
  return table;
}

FieldSource* Field::Source() const {
  if (source_ == nullptr) Raise(kErrObjectClosed, kClassName);
  return source_;
}

Value Field::GetValue() const { return Source()->FieldValue(position_); }

void Field::SetValue(const Value& value) { Source()->SetFieldValue(position_, value); }

std::int32_t Field::GetActualSize() const {
  const Value value = GetValue();
  if (value.IsNull() || value.IsEmpty()) return 0;
  if (const auto* bytes = value.TryGet<automation::Bytes>()) {
    return static_cast<std::int32_t>(bytes->size());
  }
  if (column_.kind != Kind::kText) return column_.defined_size;
  return static_cast<std::int32_t>(Utf16Length(value.ToText()) * 2);
}

Ref<Properties> Field::GetProperties() {
  if (!properties_) properties_ = MakeObject<Properties>(column_);
  return properties_;
}

const automation::MemberTable& Field::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Value", &Field::GetValue, &Field::SetValue)
          .Get("Name", &Field::GetName)
          .Get("Type", &Field::GetType)
          .Get("DefinedSize", &Field::GetDefinedSize)
          .Get("ActualSize", &Field::GetActualSize)
          .Get("NumericScale", &Field::GetNumericScale)
          .Get("Precision", &Field::GetPrecision)
          .Get("Attributes", &Field::GetAttributes)
          .Get("Properties", &Field::GetProperties);
  return table;
}

void Fields::Fill(FieldSource* source, const std::vector<Column>& columns) {
  Clear();
  for (std::size_t i = 0; i < columns.size(); ++i) {
    items_.push_back(MakeObject<Field>(source, columns[i], i));
  }
}

void Fields::Clear() {
  for (const Ref<Field>& field : items_) field->Detach();
  items_.clear();
}

const automation::MemberTable& Fields::Members() const {
  static const automation::MemberTable table = automation::Class(kClassName)
                                                   .Get("Count", &Fields::Count)
                                                   .Default("Item", &Fields::Item, {"Index"})
                                                   .Enumerator("NewEnum", &Fields::NewEnum);
  return table;
}

}  // namespace pv::adodb
