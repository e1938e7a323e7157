// Types and values of database columns. Tested by column_types_test.cc and tests/cli.
#include "cli/import/column_types.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>

#include "base/date.h"
#include "base/text.h"
#include "cli/fields/values.h"

namespace pv::cli {

using automation::Value;

namespace {

// Digits that a double, and so a column of SQLite that holds decimals, keeps whatever they are.
constexpr std::size_t kDoubleDigits = 15;
constexpr std::size_t kSingleDigits = 6;
constexpr std::size_t kInt64Digits = 18;

// The length of texts that an index takes everywhere, where none is known.
constexpr std::size_t kIndexedLength = 254;

struct TypeNames {
  const char* text;  // with a length: "varchar"
  const char* long_text;
  const char* integer;
  const char* real;
  const char* date;
  const char* moment;
  const char* boolean;
  const char* bytes;
};

const TypeNames& NamesOf(DatabaseKind database) {
  static constexpr TypeNames kSqlite = {"varchar", "text",      "integer", "double",
                                        "date",    "timestamp", "boolean", "blob"};
  static constexpr TypeNames kPostgreSql = {"varchar", "text",      "integer", "double precision",
                                            "date",    "timestamp", "boolean", "bytea"};
  // Its booleans are small numbers, bits are not.
  static constexpr TypeNames kMariaDb = {"varchar", "longtext",    "integer", "double",
                                         "date",    "datetime(3)", "bit(1)",  "longblob"};
  static constexpr TypeNames kSqlServer = {"nvarchar", "nvarchar(max)", "integer",
                                           "float",    "date",          "datetime2",
                                           "bit",      "varbinary(max)"};
  static constexpr TypeNames kOther = {"varchar", "varchar(4000)", "integer",  "double precision",
                                       "date",    "timestamp",     "smallint", "varbinary(4000)"};
  switch (database) {
    case DatabaseKind::kSqlite:
      return kSqlite;
    case DatabaseKind::kPostgreSql:
      return kPostgreSql;
    case DatabaseKind::kMariaDb:
      return kMariaDb;
    case DatabaseKind::kSqlServer:
      return kSqlServer;
    case DatabaseKind::kOther:
      break;
  }
  return kOther;
}

std::string DecimalType(DatabaseKind database, const FieldShape& shape) {
  // The width has room for a sign in other programs' fields only: all of it may be digits.
  const std::size_t digits = shape.length - (shape.decimals > 0 ? 1 : 0);
  const bool known = shape.length > 0 && digits > shape.decimals;
  if (known) {
    return "decimal(" + std::to_string(digits) + "," + std::to_string(shape.decimals) + ")";
  }
  switch (database) {
    case DatabaseKind::kPostgreSql:
    case DatabaseKind::kSqlite:
      return "numeric";
    case DatabaseKind::kMariaDb:
      return "decimal(65,30)";
    default:
      return "decimal(38,10)";
  }
}

// What a decimal number consists of, whether it is written with an exponent or not.
struct Decimal {
  std::string text;             // without an exponent
  std::size_t significant = 0;  // digits between the first and the last that is not zero
  std::size_t decimals = 0;     // without zeros at the end
};

std::optional<Decimal> ReadDecimal(std::string_view text) {
  Decimal decimal;
  decimal.text = TrimBlanks(text);
  NumberShape shape;
  if (!ReadNumber(decimal.text, '.', &shape)) {
    double number = 0;
    const char* end = decimal.text.data() + decimal.text.size();
    const auto read = std::from_chars(decimal.text.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end || !std::isfinite(number)) return std::nullopt;
    std::array<char, 400> plain;
    const auto written =
        std::to_chars(plain.data(), plain.data() + plain.size(), number, std::chars_format::fixed);
    decimal.text.assign(plain.data(), written.ptr);
  }
  const std::size_t point = std::min(decimal.text.find('.'), decimal.text.size());
  std::size_t last = decimal.text.find_last_not_of("0.");
  if (last == std::string::npos || decimal.text[last] == '-') return decimal;  // zero
  if (point < decimal.text.size()) {
    decimal.decimals = decimal.text.find_last_not_of('0') - point;
  }
  for (std::size_t i = decimal.text.find_first_not_of("-0."); i <= last; ++i) {
    if (i != point) ++decimal.significant;
  }
  return decimal;
}

// A number as a column of whole numbers keeps it.
bool WholeValue(const Decimal& decimal, std::int32_t ado_type, Value* value) {
  const std::string digits =
      decimal.text.substr(0, std::min(decimal.text.find('.'), decimal.text.size()));
  if (ado_type >= 19 && ado_type <= 21) {  // wider than automation's integers
    *value = Value(digits);
    return true;
  }
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) return false;
  *value = Value(number);
  return true;
}

template <typename Number>
bool RealValue(const Decimal& decimal, std::string_view text, std::size_t digits, Value* value) {
  Number number = 0;
  const char* end = decimal.text.data() + decimal.text.size();
  if (std::from_chars(decimal.text.data(), end, number).ptr != end) return false;
  if (decimal.significant > digits) {
    // More digits are kept when they are those that the number shows.
    std::array<char, 64> shown;
    const auto written = std::to_chars(shown.data(), shown.data() + shown.size(), number);
    if (text !=
        std::string_view(shown.data(), static_cast<std::size_t>(written.ptr - shown.data()))) {
      return false;
    }
  }
  *value = Value(static_cast<double>(number));
  return true;
}

std::optional<std::string> BytesOfDigits(std::string_view digits) {
  if (digits.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    unsigned byte = 0;
    const char* end = digits.data() + i + 2;
    if (std::from_chars(digits.data() + i, end, byte, 16).ptr != end) return std::nullopt;
    bytes.push_back(static_cast<char>(byte));
  }
  return bytes;
}

// A moment, a day, or a time of day with perhaps a fraction of a second.
std::optional<double> ReadDate(std::string_view text, bool time_only) {
  double fraction = 0;
  if (const std::size_t point = text.rfind('.'); point != text.npos && point >= 8) {
    const std::string digits = "0" + std::string(text.substr(point));
    const char* end = digits.data() + digits.size();
    if (std::from_chars(digits.data(), end, fraction).ptr != end) return std::nullopt;
    text = text.substr(0, point);
  }
  const std::string whole = time_only ? "1899-12-30T" + std::string(text) : std::string(text);
  const auto moment = ReadMoment(whole, kYmd);
  if (!moment || moment->date.year < 100) return std::nullopt;
  const double days = AutomationFromDateTime(*moment);
  constexpr double kSeconds = 86'400;
  return days < 0 ? days - fraction / kSeconds : days + fraction / kSeconds;
}

class Writer {
 public:
  Writer(const Cell& cell, const TargetColumn& column, Value* value, std::string* reason)
      : cell_(cell), column_(column), value_(value), reason_(reason) {}

  bool Write() {
    if (cell_.kind == CellKind::kNone) {
      *value_ = Value::Null();
      return true;
    }
    switch (column_.type) {
      case 2:
      case 3:
      case 16:
      case 17:
      case 18:
      case 19:
      case 20:
      case 21:
      case 4:
      case 5:
      case 6:
      case 14:
      case 131:
        return IsBlank() || Number();
      case 11:
        return IsBlank() || Boolean();
      case 7:
      case 133:
      case 134:
      case 135:
        return IsBlank() || Date();
      case 128:
      case 204:
      case 205:
        return Bytes();
      default:
        return Text();
    }
  }

 private:
  bool Refuse(const std::string& why) {
    constexpr std::size_t kShown = 40;
    std::string shown = cell_.text.substr(0, kShown);
    if (shown.size() < cell_.text.size()) shown = ValidUtf8Prefix(shown) + "…";
    *reason_ = column_.name + ": \"" + shown + "\" " + why;
    return false;
  }

  // Without a character that was cut.
  static std::string ValidUtf8Prefix(std::string text) {
    while (!text.empty() && (text.back() & 0xC0) == 0x80) text.pop_back();
    if (!text.empty() && (text.back() & 0x80) != 0) text.pop_back();
    return text;
  }

  bool IsBlank() {
    if (cell_.kind != CellKind::kText || !TrimBlanks(cell_.text).empty()) return false;
    *value_ = Value::Null();
    return true;
  }

  bool Number() {
    if (cell_.kind == CellKind::kBoolean) {
      *value_ = Value(cell_.text == "true" ? 1 : 0);
      return true;
    }
    const auto decimal = ReadDecimal(cell_.text);
    if (!decimal) return Refuse("is no number");
    const bool exact = column_.type == 6 || column_.type == 14 || column_.type == 131;
    if (column_.type == 4 || column_.type == 5) {
      return (column_.type == 4 ? RealValue<float>(*decimal, cell_.text, kSingleDigits, value_)
                                : RealValue<double>(*decimal, cell_.text, kDoubleDigits, value_)) ||
             Refuse("has more digits than the column keeps");
    }
    if (!exact) {
      if (decimal->decimals > 0) return Refuse("is no whole number");
      return WholeValue(*decimal, column_.type, value_) || Refuse("is too large for the column");
    }
    // SQLite's columns keep what they are given, whatever was declared.
    const bool bounded = column_.type != 6 && column_.database != DatabaseKind::kSqlite;
    if (bounded && decimal->decimals > static_cast<std::size_t>(column_.scale)) {
      return Refuse("has more decimals than the column keeps (" + std::to_string(column_.scale) +
                    ")");
    }
    if (column_.database == DatabaseKind::kSqlite &&
        decimal->significant > (decimal->decimals > 0 ? kDoubleDigits : kInt64Digits)) {
      return Refuse("has more digits than the database keeps");
    }
    *value_ = Value(decimal->text);
    return true;
  }

  bool Boolean() {
    const auto yes = cell_.kind == CellKind::kBoolean ? std::optional(cell_.text == "true")
                                                      : ReadBoolean(TrimBlanks(cell_.text));
    if (!yes) return Refuse("is neither true nor false");
    *value_ = Value(*yes);
    return true;
  }

  bool Date() {
    const auto days = ReadDate(TrimBlanks(cell_.text), column_.type == 134);
    if (!days) return Refuse(column_.type == 134 ? "is no time of a day" : "is no date");
    if (column_.type == 133 && *days != std::trunc(*days)) {
      return Refuse("has a time of day, which the column does not keep");
    }
    if (column_.type == 135 && !KeepsFraction(*days)) {
      return Refuse("has a fraction of a second, which the column does not keep");
    }
    *value_ = Value(automation::Date{*days});
    return true;
  }

  // Moments have milliseconds at most; these databases' drivers tell how many digits a column has.
  bool KeepsFraction(double days) const {
    if (column_.database != DatabaseKind::kPostgreSql &&
        column_.database != DatabaseKind::kMariaDb) {
      return true;
    }
    const auto millis =
        static_cast<std::int64_t>(std::round(std::fabs(days - std::trunc(days)) * 86'400'000));
    const int step = column_.scale <= 0   ? 1000
                     : column_.scale == 1 ? 100
                     : column_.scale == 2 ? 10
                                          : 1;
    return millis % step == 0;
  }

  bool Bytes() {
    const auto bytes = BytesOfDigits(cell_.text);
    if (!bytes) return Refuse("is not the hexadecimal digits of bytes");
    *value_ = Value(automation::Bytes(bytes->begin(), bytes->end()));
    return true;
  }

  bool Text() {
    // Drivers take what is before it for the whole.
    if (cell_.text.find('\0') != std::string::npos) {
      *reason_ = column_.name + ": the text holds a zero character";
      return false;
    }
    *value_ = Value(cell_.text);
    return true;
  }

  const Cell& cell_;
  const TargetColumn& column_;
  Value* value_;
  std::string* reason_;
};

}  // namespace

std::string ColumnType(DatabaseKind database, const CursorField& field, bool indexed) {
  const TypeNames& names = NamesOf(database);
  const FieldShape& shape = field.shape;
  if (field.bytes) return names.bytes;
  switch (shape.type) {
    case 'C':
    case 'Z':
    case 'W':
    case 'M':
    case 'X': {
      const bool is_long = shape.type == 'M' || shape.type == 'X' || shape.length == 0;
      std::size_t length = shape.type == 'W' ? shape.length / 2 : shape.length;
      if (is_long && !indexed) return names.long_text;
      if (is_long) length = kIndexedLength;
      std::string type = std::string(names.text) + "(" + std::to_string(length) + ")";
      // Two addresses are one when they are spelled alike, not when they sound alike.
      if (indexed && database == DatabaseKind::kMariaDb) {
        type += " character set utf8mb4 collate utf8mb4_bin";
      }
      return type;
    }
    case 'N':
    case 'F':
      return DecimalType(database, shape);
    case 'I':
      return names.integer;
    case 'B':
      return names.real;
    case 'Y':
      return "decimal(19,4)";
    case 'D':
      return names.date;
    case 'T':
      return names.moment;
    case 'L':
      return names.boolean;
    default:
      return "";
  }
}

bool ValueForColumn(const Cell& cell, const TargetColumn& column, Value* value,
                    std::string* reason) {
  return Writer(cell, column, value, reason).Write();
}

}  // namespace pv::cli
