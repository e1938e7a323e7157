// What each store type reads as, and how each is written. Tested by field_values_test.cc.
#include <algorithm>
#include <cmath>
#include <exception>

#include "base/date.h"
#include "base/text.h"
#include "pvgroupman/automation/error.h"
#include "tablestore/field_access.h"
#include "tablestore/resource_strings.h"
#include "tablestore/table_record_view.h"

namespace pv::tablestore {
namespace {

using automation::Currency;
using automation::Date;
using automation::Value;

std::int32_t Digits(std::string_view text, std::size_t at, std::size_t count) {
  std::int32_t number = 0;
  for (const char c : text.substr(at, count)) number = number * 10 + (c - '0');
  return number;
}

// "" for a field that holds no date; our own choice for a date-time, as dates have it.
Value ReadDate(engine::Handle field) {
  const std::int32_t julian = engine::f4long(field);
  if (julian == 0) return Value(std::string());
  const auto date = ParseDigits(DateText(julian));
  if (!date) return Value(std::string());
  return Date{AutomationFromDateTime({*date, 0, 0, 0})};
}

Value ReadDateTime(engine::Handle field) {
  const std::string text = FieldDateTime(field);
  if (text.size() < 16) return Value(std::string());
  const auto date = ParseDigits(std::string_view(text).substr(0, 8));
  if (!date) return Value(std::string());
  return Date{AutomationFromDateTime(
      {*date, Digits(text, 8, 2), Digits(text, 11, 2), Digits(text, 14, 2)})};
}

// A memo that cannot be read is an error, not an empty text.
Value ReadMemo(engine::Handle session, engine::Handle field, const CodePage& page) {
  engine::code4errorCode(session, 0);
  std::string text = MemoText(field, page);
  if (text.empty()) {
    const std::int32_t code = engine::code4errorCode(session, 0);
    if (code < 0) throw automation::Error(code, "ReadRecordBuffer", EngineErrorText(session, code));
  }
  return Value(std::move(text));
}

// Empty, Null and "" write what an empty field holds.
bool IsNothing(const Value& value) {
  const auto* text = value.TryGet<std::string>();
  return value.IsEmpty() || value.IsNull() || (text != nullptr && text->empty());
}

// The value as text, without a copy where it is text already.
std::string_view TextOf(const Value& value, std::string* buffer) {
  if (const auto* text = value.TryGet<std::string>()) return *text;
  if (value.IsNull()) return {};
  *buffer = value.ToText();
  return *buffer;
}

// A date as text by a pattern; text that is no date is passed on as it is, so that the store's own
// digits are understood.
std::string DateDigits(const Value& value, std::string_view pattern) {
  Date date;
  if (const auto* text = value.TryGet<std::string>()) {
    return ParseDate(*text, &date) ? FormatDate(date, pattern) : *text;
  }
  return FormatDate(value.ToDate(), pattern);
}

std::int32_t JulianOf(const Value& value) {
  // A whole day needs no calendar: day 0 is 1899-12-30.
  constexpr std::int32_t kJulianOfDay0 = 2'415'019;
  constexpr double kLastDay = 2'958'465;  // 9999-12-31
  if (const auto* date = value.TryGet<Date>()) {
    const double day = date->days;
    if (day >= 0 && day <= kLastDay && day == std::floor(day)) {
      return kJulianOfDay0 + static_cast<std::int32_t>(day);
    }
  }
  const std::int32_t julian = engine::date4long(DateDigits(value, "yyyymmdd"));
  if (julian < 0) automation::Raise(automation::kErrTypeMismatch);
  return julian;
}

}  // namespace

bool IsKnownLetter(char letter) {
  return std::string_view("CWZYDTBFGILMXN").find(letter) != std::string_view::npos && letter != 0;
}

void RaiseUnknownLetter(char letter) {
  throw automation::Error(kErrUnknownType, "ReadRecordBuffer",
                          Text(kTextUnknownType, std::string_view(&letter, 1)));
}

void ReadField(engine::Handle session, const TableRecordView::Column& column, const CodePage& page,
               Value* value) {
  const engine::Handle field = column.field;
  if (column.nullable && engine::f4null(field) != 0) {
    *value = Value::Null();
    return;
  }
  switch (column.letter) {
    case 'C': {
      const std::string_view bytes = FieldBytesTrimmed(field, column.width);
      if (IsAscii(bytes)) {
        value->AssignText(bytes);
      } else {
        *value = page.Decode(bytes);
      }
      break;
    }
    case 'W':
      *value = FieldUnicode(field);
      break;
    case 'N':
    case 'B':
    case 'F':
      *value = engine::f4double(field);
      break;
    case 'I':
      *value = engine::f4long(field);
      break;
    case 'Y':
      *value = Currency{engine::f4currency(field)};
      break;
    case 'L':
      *value = engine::f4true(field) != 0;
      break;
    case 'D':
      *value = ReadDate(field);
      break;
    case 'T':
      *value = ReadDateTime(field);
      break;
    case 'M':
    case 'X':
      *value = ReadMemo(session, field, page);
      break;
    case 'Z':
    case 'G':
      *value = FieldText(field, page);
      break;
    default:
      RaiseUnknownLetter(column.letter);
  }
}

void StoreField(const TableRecordView::Column& column, const Value& value, const CodePage& page) {
  const engine::Handle field = column.field;
  if (value.IsNull()) {
    engine::f4assignNull(field);
    if (engine::f4null(field) != 0) return;
  }
  std::string buffer;
  switch (column.letter) {
    case 'C':
    case 'B':
    case 'Z':
    case 'G':
      AssignText(field, TextOf(value, &buffer), page);
      break;
    case 'W':
      AssignUnicode(field, TextOf(value, &buffer));
      break;
    case 'N':
    case 'F':
      engine::f4assignDouble(field, IsNothing(value) ? 0 : value.ToR8());
      break;
    case 'I':
      engine::f4assignLong(field, IsNothing(value) ? 0 : value.ToI4());
      break;
    case 'D':
      engine::f4assignLong(field, IsNothing(value) ? 0 : JulianOf(value));
      break;
    case 'T':
      engine::f4assignDateTime(field,
                               IsNothing(value) ? "" : DateDigits(value, "yyyymmddhh:mm:ss"));
      break;
    case 'L':
      engine::f4assignCharVB(field, !IsNothing(value) && value.ToBoolean() ? "T" : "F");
      break;
    case 'Y':
      engine::f4assignCurrency(field, IsNothing(value) ? "0" : TextOf(value, &buffer));
      break;
    case 'M':
    case 'X': {
      const std::string_view text = TextOf(value, &buffer);
      engine::f4memoAssign(field, IsAscii(text) ? std::string(text) : page.Encode(text));
      break;
    }
    default:
      throw automation::Error(
          kErrUnknownType, "Update",
          std::string("Unhandled type : ") + column.letter + " in Update method.");
  }
}

}  // namespace pv::tablestore
