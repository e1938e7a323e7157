// Writes arrays as text. Tested by array_literal_test.cc and recordset_edit_test.cc.
#include "providers/adodb/array_literal.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "providers/adodb/error_numbers.h"
#include "providers/adodb/moments.h"
#include "providers/adodb/parameters.h"

namespace pv::adodb {
namespace {

using automation::Value;

Status BadValue(const Column& column) {
  return Status(StatusCode::kInvalid, column.name + ": the value does not fit the column",
                kErrConversion);
}

void AppendQuoted(std::string_view text, std::string* array) {
  array->push_back('"');
  for (const char c : text) {
    if (c == '"' || c == '\\') array->push_back('\\');
    array->push_back(c);
  }
  array->push_back('"');
}

Status AppendMoment(const Column& column, const Value& value, std::string* array) {
  const auto moment = OdbcFromDate(value.ToDate());
  if (!moment) return BadValue(column);
  std::array<char, 64> text;
  int size = 0;
  if (column.kind != Kind::kTime) {
    size = std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", moment->year, moment->month,
                         moment->day);
  }
  if (column.kind != Kind::kDate) {
    const auto at = static_cast<std::size_t>(size);
    size += std::snprintf(text.data() + at, text.size() - at, "%s%02u:%02u:%02u",
                          column.kind == Kind::kTime ? "" : " ", moment->hour, moment->minute,
                          moment->second);
  }
  if (column.kind == Kind::kDateTime && moment->fraction != 0) {
    const auto at = static_cast<std::size_t>(size);
    size += std::snprintf(text.data() + at, text.size() - at, ".%06u",
                          static_cast<unsigned>(moment->fraction / 1000));
  }
  AppendQuoted({text.data(), static_cast<std::size_t>(size)}, array);
  return Status::Ok();
}

}  // namespace

std::string ArrayTypeOf(const Column& column) {
  struct Entry {
    const char* told;
    const char* type;
  };
  constexpr Entry kTypes[] = {
      {"int2", "int2"},
      {"int4", "int4"},
      {"int8", "int8"},
      {"serial", "int4"},
      {"bigserial", "int8"},
      {"float4", "float4"},
      {"float8", "float8"},
      {"numeric", "numeric"},
      {"bool", "bool"},
      {"date", "date"},
      {"time", "time"},
      {"timestamp", "timestamp"},
      {"varchar", "varchar"},
      {"text", "text"},
      {"bytea", "bytea"},
      {"uuid", "uuid"},
      {"timestamptz", "timestamptz"},
  };
  for (const Entry& entry : kTypes) {
    if (column.type_name == entry.told) return entry.type;
  }
  return {};
}

Status AppendElement(const Column& column, const Value& value, std::string* array) {
  array->push_back(array->empty() ? '{' : ',');
  if (value.IsNull() || value.IsEmpty()) {
    array->append("NULL");
    return Status::Ok();
  }
  switch (column.kind) {
    case Kind::kInteger: {
      std::int64_t number = 0;
      if (!WholeNumber(value, &number)) return BadValue(column);
      array->append(std::to_string(number));
      return Status::Ok();
    }
    case Kind::kDouble: {
      std::array<char, 64> text;
      const double number = value.ToR8();
      const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
      array->append(text.data(), end);  // also inf and nan
      return Status::Ok();
    }
    case Kind::kBoolean:
      array->push_back(value.ToBoolean() ? 't' : 'f');
      return Status::Ok();
    case Kind::kDate:
    case Kind::kTime:
    case Kind::kDateTime:
      return AppendMoment(column, value, array);
    case Kind::kDecimal:
      AppendQuoted(value.ToText(), array);
      return Status::Ok();
    case Kind::kText: {
      const auto* text = value.TryGet<std::string>();
      // The driver would take what is before it for the whole.
      if (text == nullptr || text->find('\0') != std::string::npos) return BadValue(column);
      AppendQuoted(*text, array);
      return Status::Ok();
    }
    case Kind::kBytes: {
      const auto* bytes = value.TryGet<automation::Bytes>();
      if (bytes == nullptr) return BadValue(column);
      constexpr char kDigits[] = "0123456789abcdef";
      array->append("\"\\\\x");
      for (const std::uint8_t byte : *bytes) {
        array->push_back(kDigits[byte >> 4]);
        array->push_back(kDigits[byte & 15]);
      }
      array->push_back('"');
      return Status::Ok();
    }
  }
  return BadValue(column);
}

}  // namespace pv::adodb
