// Type-library names of the table store's enumerations and records. Tested by types_test.cc.
#include "pvgroupman/tablestore/types.h"

namespace pv::automation {

using tablestore::FieldStruct;
using tablestore::IndexStruct;

const Enumeration& EnumerationOf<tablestore::AccessModeType>::Describe() {
  static const Enumeration e{"AccessModeType",
                             {{"AMT_SHARED", 0}, {"AMT_EXCLUSIVE", 1}, {"AMT_LOCKED", 2}}};
  return e;
}

const Enumeration& EnumerationOf<tablestore::StateConstants>::Describe() {
  static const Enumeration e{"StateConstants", {{"IsClosed", 0}, {"IsOpen", 1}}};
  return e;
}

const Enumeration& EnumerationOf<tablestore::LogLevel>::Describe() {
  static const Enumeration e{
      "LogLevel", {{"NoLog", 0}, {"ErrOnly", 1}, {"ErrBasicTrace", 2}, {"errfulltrace", 3}}};
  return e;
}

const Enumeration& EnumerationOf<tablestore::FieldType>::Describe() {
  static const Enumeration e{"FieldType",
                             {{"CB_Binary", 0},
                              {"CB_Character", 1},
                              {"CB_CharacterBinary", 2},
                              {"CB_Currency", 3},
                              {"CB_Date", 4},
                              {"CB_DateTime", 5},
                              {"CB_Double", 6},
                              {"CB_Float", 7},
                              {"CB_General", 8},
                              {"CB_Integer", 9},
                              {"CB_Logical", 10},
                              {"CB_Memo", 11},
                              {"CB_MemoBinary", 12},
                              {"CB_Numeric", 13},
                              {"CB_Unicode", 14}}};
  return e;
}

const Enumeration& EnumerationOf<tablestore::PVFieldType>::Describe() {
  static const Enumeration e{"PVFieldType",
                             {{"FT_TEXT", 0},
                              {"FT_UNICODE", 1},
                              {"FT_NUMBER", 2},
                              {"FT_DATE", 3},
                              {"FT_CURRENCY", 4},
                              {"FT_BOOLEAN", 5}}};
  return e;
}

const RecordType& RecordOf<FieldStruct>::Describe() {
  static const RecordType type{
      "FieldStruct",
      {{"Name", {.kind = TypeKind::kText}},
       {"Type",
        {.kind = TypeKind::kEnumeration,
         .enumeration = &EnumerationOf<tablestore::FieldType>::Describe()}},
       {"Length", {.kind = TypeKind::kI2}},
       {"Decimal", {.kind = TypeKind::kI2}},
       {"NullsAllowed", {.kind = TypeKind::kBoolean}}}};
  return type;
}

FieldStruct RecordOf<FieldStruct>::FromRow(const std::vector<Value>& row) {
  return {row[0].ToText(), static_cast<tablestore::FieldType>(row[1].ToI4()), row[2].ToI2(),
          row[3].ToI2(), row[4].ToBoolean()};
}

std::vector<Value> RecordOf<FieldStruct>::ToRow(const FieldStruct& field) {
  return {field.Name, static_cast<std::int32_t>(field.Type), field.Length, field.Decimal,
          field.NullsAllowed};
}

const RecordType& RecordOf<IndexStruct>::Describe() {
  static const RecordType type{"IndexStruct",
                               {{"Name", {.kind = TypeKind::kText}},
                                {"expression", {.kind = TypeKind::kText}},
                                {"filter", {.kind = TypeKind::kText}},
                                {"unique", {.kind = TypeKind::kBoolean}},
                                {"descending", {.kind = TypeKind::kBoolean}}}};
  return type;
}

IndexStruct RecordOf<IndexStruct>::FromRow(const std::vector<Value>& row) {
  return {row[0].ToText(), row[1].ToText(), row[2].ToText(), row[3].ToBoolean(),
          row[4].ToBoolean()};
}

std::vector<Value> RecordOf<IndexStruct>::ToRow(const IndexStruct& index) {
  return {index.Name, index.expression, index.filter, index.unique, index.descending};
}

}  // namespace pv::automation
