// Packs values into parameter arrays. Tested by recordset_edit_test.cc and database_types_test.cc.
#include "providers/adodb/parameters.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "providers/adodb/error_numbers.h"
#include "providers/adodb/moments.h"

namespace pv::adodb {
namespace {

using automation::Value;

template <typename T>
std::vector<std::uint8_t> BytesOf(const T& value) {
  std::vector<std::uint8_t> bytes(sizeof(T));
  std::memcpy(bytes.data(), &value, sizeof(T));
  return bytes;
}

Status BadValue(const Column& column) {
  return Status(StatusCode::kInvalid, column.name + ": the value does not fit the column",
                kErrConversion);
}

Result<std::vector<std::uint8_t>> Packed(const Column& column, const Value& value) {
  switch (column.kind) {
    case Kind::kInteger: {
      std::int64_t number = 0;
      if (!WholeNumber(value, &number)) return BadValue(column);
      return BytesOf(number);
    }
    case Kind::kDouble:
      return BytesOf(value.ToR8());
    case Kind::kBoolean:
      return BytesOf(static_cast<std::uint8_t>(value.ToBoolean() ? 1 : 0));
    case Kind::kDate:
    case Kind::kTime:
    case Kind::kDateTime: {
      const auto moment = OdbcFromDate(value.ToDate());
      if (!moment) return BadValue(column);
      if (column.kind == Kind::kDateTime) return BytesOf(*moment);
      if (column.kind == Kind::kDate) {
        return BytesOf(SQL_DATE_STRUCT{moment->year, moment->month, moment->day});
      }
      return BytesOf(SQL_TIME_STRUCT{moment->hour, moment->minute, moment->second});
    }
    case Kind::kDecimal: {
      const std::string digits = value.ToText();
      return std::vector<std::uint8_t>(digits.begin(), digits.end());
    }
    case Kind::kText: {
      const auto* text = value.TryGet<std::string>();
      const std::u16string wide = Utf16FromUtf8(text != nullptr ? *text : value.ToText());
      std::vector<std::uint8_t> bytes(wide.size() * sizeof(char16_t));
      if (!bytes.empty()) std::memcpy(bytes.data(), wide.data(), bytes.size());
      return bytes;
    }
    case Kind::kBytes: {
      const auto* bytes = value.TryGet<automation::Bytes>();
      if (bytes == nullptr) return BadValue(column);
      return *bytes;
    }
  }
  return BadValue(column);
}

SQLSMALLINT CTypeOf(Kind kind) {
  switch (kind) {
    case Kind::kInteger:
      return SQL_C_SBIGINT;
    case Kind::kDouble:
      return SQL_C_DOUBLE;
    case Kind::kBoolean:
      return SQL_C_BIT;
    case Kind::kDate:
      return SQL_C_TYPE_DATE;
    case Kind::kTime:
      return SQL_C_TYPE_TIME;
    case Kind::kDateTime:
      return SQL_C_TYPE_TIMESTAMP;
    case Kind::kDecimal:
      return SQL_C_CHAR;
    case Kind::kText:
      return SQL_C_WCHAR;
    case Kind::kBytes:
      return SQL_C_BINARY;
  }
  return SQL_C_DEFAULT;
}

}  // namespace

bool WholeNumber(const Value& value, std::int64_t* number) {
  if (const auto* text = value.TryGet<std::string>()) {
    const std::string_view digits = TrimBlanks(*text);
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), *number);
    return error == std::errc() && end == digits.data() + digits.size();
  }
  if (const auto* currency = value.TryGet<automation::Currency>()) {
    *number = currency->units / 10'000;
    return currency->units % 10'000 == 0;
  }
  const double exact = value.ToR8();
  if (!(std::fabs(exact) < 9.2e18) || exact != std::trunc(exact)) return false;
  *number = static_cast<std::int64_t>(exact);
  return true;
}

Status Parameters::Add(const Column& column, const std::vector<const Value*>& values) {
  Array array;
  array.c_type = CTypeOf(column.kind);
  array.sql_type = column.sql_type;
  array.size = column.size;
  array.scale = column.scale;
  if (column.kind == Kind::kText && column.sql_type != SQL_GUID) {
    array.sql_type = column.is_long ? SQL_WLONGVARCHAR : SQL_WVARCHAR;
  }
  if (column.kind == Kind::kDateTime) array.scale = 6;
  std::vector<std::vector<std::uint8_t>> packed(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values[i]->IsNull() || values[i]->IsEmpty()) {
      array.sizes.push_back(SQL_NULL_DATA);
      continue;
    }
    PV_ASSIGN_OR_RETURN(packed[i], Packed(column, *values[i]));
    array.sizes.push_back(static_cast<SQLLEN>(packed[i].size()));
    array.width = std::max(array.width, packed[i].size());
  }
  // Values of fixed types follow each other closely; others have room for an end.
  if (array.c_type == SQL_C_CHAR || array.c_type == SQL_C_WCHAR || array.c_type == SQL_C_BINARY) {
    array.width = array.width / 8 * 8 + 8;
  } else if (array.width == 0) {
    array.width = sizeof(SQL_TIMESTAMP_STRUCT);  // nothing but nulls
  }
  array.data.resize(array.width * values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (packed[i].empty()) continue;
    std::memcpy(array.data.data() + array.width * i, packed[i].data(), packed[i].size());
  }
  if (column.kind == Kind::kText || column.kind == Kind::kBytes) {
    const std::size_t unit = column.kind == Kind::kText ? sizeof(SQLWCHAR) : 1;
    array.size = std::max<SQLULEN>(array.size, array.width / unit);
  } else if (column.kind == Kind::kDecimal && array.size == 0) {
    array.size = 28;
  }
  sets_ = values.size();
  arrays_.push_back(std::move(array));
  return Status::Ok();
}

void Parameters::AddText(const std::string& text) {
  const std::u16string wide = Utf16FromUtf8(text);
  Array array;
  array.c_type = SQL_C_WCHAR;
  array.sql_type = SQL_WLONGVARCHAR;
  array.size = std::max<SQLULEN>(wide.size(), 1);
  array.data.resize((wide.size() + 1) * sizeof(char16_t));
  std::memcpy(array.data.data(), wide.c_str(), array.data.size());
  array.width = array.data.size();
  array.sizes.push_back(static_cast<SQLLEN>(wide.size() * sizeof(char16_t)));
  sets_ = 1;
  arrays_.push_back(std::move(array));
}

Status Parameters::BindTo(Statement* statement) {
  status_.assign(sets_, SQL_PARAM_UNUSED);
  // The statement may have had other sets before.
  PV_RETURN_IF_ERROR(statement->SetAttribute(SQL_ATTR_PARAMSET_SIZE, AsPointer(sets_)));
  PV_RETURN_IF_ERROR(statement->SetAttribute(SQL_ATTR_PARAM_STATUS_PTR, status_.data()));
  PV_RETURN_IF_ERROR(statement->SetAttribute(SQL_ATTR_PARAMS_PROCESSED_PTR, &processed_));
  for (std::size_t i = 0; i < arrays_.size(); ++i) {
    Array& array = arrays_[i];
    PV_RETURN_IF_ERROR(statement->Check(
        ::SQLBindParameter(statement->handle(), static_cast<SQLUSMALLINT>(i + 1), SQL_PARAM_INPUT,
                           array.c_type, array.sql_type, array.size, array.scale, array.data.data(),
                           static_cast<SQLLEN>(array.width), array.sizes.data())));
  }
  return Status::Ok();
}

std::int64_t Parameters::FirstFailure() const {
  for (std::size_t i = 0; i < status_.size(); ++i) {
    if (status_[i] == SQL_PARAM_ERROR) return static_cast<std::int64_t>(i);
  }
  return -1;
}

}  // namespace pv::adodb
