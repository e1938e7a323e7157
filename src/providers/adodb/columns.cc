// Describes result columns. Tested by recordset_test.cc and database_types_test.cc.
#include "providers/adodb/columns.h"

#include <algorithm>

#include "pvgroupman/automation/error.h"

namespace pv::adodb {
namespace {

using automation::Value;
using automation::ValueType;

// ADO's number and what a value of the type becomes.
struct TypeEntry {
  SQLSMALLINT sql;
  std::int32_t ado;
  std::int32_t ado_unsigned;
  Kind kind;
  std::int32_t bytes;  // of fixed types; 0 for those with a length of their own
};
constexpr TypeEntry kTypes[] = {
    {SQL_BIT, 11, 11, Kind::kBoolean, 2},
    {SQL_TINYINT, 16, 17, Kind::kInteger, 1},
    {SQL_SMALLINT, 2, 18, Kind::kInteger, 2},
    {SQL_INTEGER, 3, 19, Kind::kInteger, 4},
    {SQL_BIGINT, 20, 21, Kind::kInteger, 8},
    {SQL_REAL, 4, 4, Kind::kDouble, 4},
    {SQL_FLOAT, 5, 5, Kind::kDouble, 8},
    {SQL_DOUBLE, 5, 5, Kind::kDouble, 8},
    {SQL_NUMERIC, 131, 131, Kind::kDecimal, 19},
    {SQL_DECIMAL, 131, 131, Kind::kDecimal, 19},
    {SQL_TYPE_DATE, 133, 133, Kind::kDate, 6},
    {SQL_TYPE_TIME, 134, 134, Kind::kTime, 6},
    {SQL_TYPE_TIMESTAMP, 135, 135, Kind::kDateTime, 16},
    {SQL_CHAR, 129, 129, Kind::kText, 0},
    {SQL_VARCHAR, 200, 200, Kind::kText, 0},
    {SQL_LONGVARCHAR, 201, 201, Kind::kText, 0},
    {SQL_WCHAR, 130, 130, Kind::kText, 0},
    {SQL_WVARCHAR, 202, 202, Kind::kText, 0},
    {SQL_WLONGVARCHAR, 203, 203, Kind::kText, 0},
    {SQL_BINARY, 128, 128, Kind::kBytes, 0},
    {SQL_VARBINARY, 204, 204, Kind::kBytes, 0},
    {SQL_LONGVARBINARY, 205, 205, Kind::kBytes, 0},
    {SQL_GUID, 72, 72, Kind::kText, 16},
};
constexpr TypeEntry kUnknownType = {SQL_UNKNOWN_TYPE, 200, 200, Kind::kText, 0};

const TypeEntry& EntryOf(SQLSMALLINT sql) {
  for (const TypeEntry& entry : kTypes) {
    if (entry.sql == sql) return entry;
  }
  return kUnknownType;
}

std::string TextAttribute(Statement* statement, SQLUSMALLINT column, SQLUSMALLINT what) {
  SQLWCHAR text[512] = {};
  SQLSMALLINT bytes = 0;
  if (!SQL_SUCCEEDED(::SQLColAttributeW(statement->handle(), column, what, text, sizeof(text),
                                        &bytes, nullptr))) {
    return {};
  }
  std::size_t units = 0;  // drivers disagree on what they count in `bytes`
  while (units < std::size(text) && text[units] != 0) ++units;
  return FromWide(text, units);
}

bool Flag(Statement* statement, SQLUSMALLINT column, SQLUSMALLINT what) {
  SQLLEN value = SQL_FALSE;
  return SQL_SUCCEEDED(
             ::SQLColAttributeW(statement->handle(), column, what, nullptr, 0, nullptr, &value)) &&
         value == SQL_TRUE;
}

Status Describe(Statement* statement, SQLUSMALLINT number, Column* column) {
  SQLWCHAR name[512] = {};
  SQLSMALLINT name_size = 0;
  SQLSMALLINT nullable = SQL_NULLABLE_UNKNOWN;
  PV_RETURN_IF_ERROR(statement->Check(::SQLDescribeColW(
      statement->handle(), number, name, static_cast<SQLSMALLINT>(std::size(name)), &name_size,
      &column->sql_type, &column->size, &column->scale, &nullable)));
  column->name = FromWide(
      name,
      std::min(static_cast<std::size_t>(std::max<SQLSMALLINT>(name_size, 0)), std::size(name) - 1));
  column->nullable = nullable != SQL_NO_NULLS;
  column->auto_increment = Flag(statement, number, SQL_DESC_AUTO_UNIQUE_VALUE);
  column->base_catalog = TextAttribute(statement, number, SQL_DESC_CATALOG_NAME);
  column->base_schema = TextAttribute(statement, number, SQL_DESC_SCHEMA_NAME);
  column->base_table = TextAttribute(statement, number, SQL_DESC_BASE_TABLE_NAME);
  column->base_column = TextAttribute(statement, number, SQL_DESC_BASE_COLUMN_NAME);
  SQLLEN updatable = SQL_ATTR_READWRITE_UNKNOWN;
  ::SQLColAttributeW(statement->handle(), number, SQL_DESC_UPDATABLE, nullptr, 0, nullptr,
                     &updatable);
  column->updatable = updatable != SQL_ATTR_READONLY;

  column->type_name = ToLower(TextAttribute(statement, number, SQL_DESC_TYPE_NAME));
  const std::string type_name = column->type_name.substr(0, 7);
  const Dialect dialect = statement->session()->dialect();
  // SQLite's driver calls exact numbers what they are stored as.
  if (dialect == Dialect::kSqlite && (type_name == "decimal" || type_name == "numeric")) {
    column->sql_type = SQL_DECIMAL;
  }
  const TypeEntry& entry = EntryOf(column->sql_type);
  column->kind = entry.kind;
  column->ado_type = Flag(statement, number, SQL_DESC_UNSIGNED) ? entry.ado_unsigned : entry.ado;
  if (type_name == "money" || type_name == "smallmo") {
    column->ado_type = kAdoCurrency;
    column->kind = Kind::kDecimal;
  }
  column->is_long = column->sql_type == SQL_LONGVARCHAR || column->sql_type == SQL_WLONGVARCHAR ||
                    column->sql_type == SQL_LONGVARBINARY;
  const auto shown = static_cast<std::int32_t>(std::min<SQLULEN>(column->size, 0x7FFFFFFF));
  column->defined_size = entry.bytes != 0 ? entry.bytes : shown;
  const bool number_kind = column->kind == Kind::kInteger || column->kind == Kind::kDouble ||
                           column->kind == Kind::kDecimal;
  column->precision = number_kind ? static_cast<std::int16_t>(std::min<SQLULEN>(column->size, 255))
                                  : std::int16_t{255};
  // That driver does not tell the decimals, without which the digits say nothing.
  if (dialect == Dialect::kSqlite && column->kind == Kind::kDecimal) column->precision = 255;
  return Status::Ok();
}

bool IsBlankText(const Value& value) {
  const auto* text = value.TryGet<std::string>();
  return text != nullptr && TrimBlanks(*text).empty();
}

}  // namespace

std::int32_t Column::Attributes() const {
  std::int32_t flags = updatable && !auto_increment ? kFieldUpdatable : 0;
  if (kind != Kind::kText && kind != Kind::kBytes) flags |= kFieldFixed;
  if (nullable) flags |= kFieldIsNullable | kFieldMayBeNull;
  if (is_long) flags |= kFieldLong;
  return flags;
}

Result<std::vector<Column>> DescribeColumns(Statement* statement) {
  PV_ASSIGN_OR_RETURN(const int count, statement->ColumnCount());
  std::vector<Column> columns(static_cast<std::size_t>(count));
  for (std::size_t i = 0; i < columns.size(); ++i) {
    PV_RETURN_IF_ERROR(Describe(statement, static_cast<SQLUSMALLINT>(i + 1), &columns[i]));
  }
  return columns;
}

Value Coerced(const Column& column, const Value& value) {
  if (value.IsNull() || value.IsEmpty() || value.IsMissing()) return Value::Null();
  switch (column.kind) {
    case Kind::kInteger: {
      if (value.type() == ValueType::kI4 || value.type() == ValueType::kI2) return value;
      // Wider whole numbers travel as doubles or digits.
      if (column.sql_type == SQL_BIGINT || column.ado_type == 19 || column.ado_type == 20) {
        if (value.IsText()) {
          if (IsBlankText(value)) automation::Raise(automation::kErrTypeMismatch, column.name);
          value.ToR8();
        }
        return value.type() == ValueType::kBoolean ? Value(value.ToI4()) : value;
      }
      return Value(value.ToI4());
    }
    case Kind::kDouble:
      return Value(value.ToR8());
    case Kind::kDecimal:
      if (value.IsText()) {
        value.ToR8();  // it must be a number
        return DecimalValue(TrimBlanks(*value.TryGet<std::string>()));
      }
      if (value.type() == ValueType::kBoolean) return Value(value.ToI4());
      if (!value.IsNumeric()) return Value(value.ToR8());
      return value;
    case Kind::kBoolean:
      return Value(value.ToBoolean());
    case Kind::kDate:
    case Kind::kTime:
    case Kind::kDateTime:
      return Value(value.ToDate());
    case Kind::kText:
      return value.IsText() ? value : Value(value.ToText());
    case Kind::kBytes:
      if (value.type() != ValueType::kBytes) {
        automation::Raise(automation::kErrTypeMismatch, column.name, "expected an array of bytes");
      }
      return value;
  }
  return value;
}

std::string DigitsOfMoney(std::string_view text) {
  // The last point or comma divides the decimals when two digits follow it.
  std::size_t point = text.find_last_of(".,");
  const std::size_t last = text.find_last_of("0123456789");
  if (point != std::string_view::npos && (last < point || last - point != 2)) {
    point = std::string_view::npos;
  }
  std::string digits;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i == point) {
      digits.push_back('.');
    } else if (text[i] == '-' || text[i] == '(') {
      digits.insert(digits.begin(), '-');
    } else if (text[i] >= '0' && text[i] <= '9') {
      digits.push_back(text[i]);
    }
  }
  return digits;
}

Value DecimalValue(std::string_view digits) {
  const std::size_t point = digits.find('.');
  std::size_t decimals = point == std::string_view::npos ? 0 : digits.size() - point - 1;
  while (decimals > 0 && digits[point + decimals] == '0') --decimals;
  // Currency holds four decimals and 63 bits of them.
  const bool plain = digits.find_first_not_of("+-.0123456789") == std::string_view::npos;
  const std::size_t whole = std::min(point, digits.size());
  if (plain && decimals <= 4 && whole <= 15) {
    return Value(Value(std::string(digits.substr(0, whole + 1 + decimals))).ToCurrency());
  }
  return Value(std::string(digits));
}

}  // namespace pv::adodb
