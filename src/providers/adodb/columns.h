// What a result's columns are: names, ADO types, and how their values are fetched.
#ifndef PV_PROVIDERS_ADODB_COLUMNS_H_
#define PV_PROVIDERS_ADODB_COLUMNS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "providers/adodb/session.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

// What a value becomes.
enum class Kind : std::uint8_t {
  kInteger,  // a 32-bit integer; a double or text where that is too small
  kDouble,
  kDecimal,  // exact: currency where it fits, else its digits as text
  kBoolean,
  kDate,
  kTime,
  kDateTime,
  kText,
  kBytes,
};

// ADO's number of an amount of money.
constexpr std::int32_t kAdoCurrency = 6;

// The attributes of fields, numbered as ADO numbers them.
enum : std::int32_t {
  kFieldUpdatable = 4,
  kFieldFixed = 0x10,
  kFieldIsNullable = 0x20,
  kFieldMayBeNull = 0x40,
  kFieldLong = 0x80,
};

struct Column {
  std::string name;
  Kind kind = Kind::kText;
  SQLSMALLINT sql_type = SQL_UNKNOWN_TYPE;
  std::string type_name;  // as the database calls it, in lower case
  std::int32_t ado_type = 0;
  SQLULEN size = 0;               // as the driver tells it; 0 when it does not know
  std::int32_t defined_size = 0;  // characters of text, else bytes
  std::int16_t scale = 0;
  std::int16_t precision = 0;
  bool nullable = true;
  bool is_long = false;
  bool auto_increment = false;
  bool updatable = true;
  // The table and column that the value comes from; empty for computed ones.
  std::string base_catalog;
  std::string base_schema;
  std::string base_table;
  std::string base_column;

  std::int32_t Attributes() const;
};

// Describes the columns of an executed or prepared statement.
Result<std::vector<Column>> DescribeColumns(Statement* statement);

// A value as the column holds it: numbers for a number column, and so on. Throws
// automation::Error 13 or 6 when it cannot be one.
automation::Value Coerced(const Column& column, const automation::Value& value);

// An amount as PostgreSQL shows it ("-$1,234.56") as digits.
std::string DigitsOfMoney(std::string_view text);

// A decimal number in digits as currency where that is exact, else as it stands.
automation::Value DecimalValue(std::string_view digits);

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_COLUMNS_H_
