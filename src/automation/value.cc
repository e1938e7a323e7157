// Subtypes and the conversions between them. Tested by value_test.cc.
#include "pvgroupman/automation/value.h"

#include <array>
#include <cmath>
#include <limits>

#include "automation/number_text.h"
#include "base/date.h"
#include "base/text.h"
#include "pvgroupman/automation/error.h"

namespace pv::automation {
namespace {

// Years 100 to 9999 as days since 1899-12-30.
constexpr double kFirstDay = -657434;
constexpr double kAfterLastDay = 2958466;

[[noreturn]] void RaiseMismatch(const Value& v) {
  Raise(v.IsNull() ? kErrInvalidNull : kErrTypeMismatch);
}

void Check(ReadNumber read) {
  if (read == ReadNumber::kNoNumber) Raise(kErrTypeMismatch);
  if (read == ReadNumber::kTooLarge) Raise(kErrOverflow);
}

// Rounds half to even and checks the range.
template <typename T>
T RoundTo(double v) {
  const double whole = std::nearbyint(v);
  if (!(whole >= std::numeric_limits<T>::min() && whole <= std::numeric_limits<T>::max())) {
    Raise(kErrOverflow);
  }
  return static_cast<T>(whole);
}

std::int64_t RoundCurrency(Currency v) {
  std::int64_t whole = v.units / 10'000;
  const std::int64_t rest = v.units % 10'000;
  const bool odd = whole % 2 != 0;
  if (rest > 5'000 || (rest == 5'000 && odd)) ++whole;
  if (rest < -5'000 || (rest == -5'000 && odd)) --whole;
  return whole;
}

}  // namespace

Value Value::Null() noexcept {
  Value v;
  v.data_ = NullTag();
  return v;
}

Value Value::Missing() noexcept {
  Value v;
  v.data_ = MissingTag();
  return v;
}

ValueType Value::type() const noexcept {
  constexpr std::array kTypes = {ValueType::kEmpty,   ValueType::kNull,    ValueType::kI2,
                                 ValueType::kI4,      ValueType::kR8,      ValueType::kCurrency,
                                 ValueType::kDate,    ValueType::kText,    ValueType::kObject,
                                 ValueType::kMissing, ValueType::kBoolean, ValueType::kTextArray,
                                 ValueType::kBytes,   ValueType::kRecords};
  static_assert(kTypes.size() == std::variant_size_v<Data>);
  return kTypes[data_.index()];
}

bool Value::IsNumeric() const noexcept {
  switch (type()) {
    case ValueType::kI2:
    case ValueType::kI4:
    case ValueType::kR8:
    case ValueType::kCurrency:
    case ValueType::kBoolean:
      return true;
    default:
      return false;
  }
}

void Value::AssignText(std::string_view text) {
  if (auto* held = std::get_if<std::string>(&data_)) {
    held->assign(text);
  } else {
    data_.emplace<std::string>(text);
  }
}

std::int16_t Value::ToI2() const {
  if (const auto* v = TryGet<std::int16_t>()) return *v;
  return RoundTo<std::int16_t>(ToI4());
}

std::int32_t Value::ToI4() const {
  if (const auto* v = TryGet<std::int32_t>()) return *v;
  if (const auto* v = TryGet<std::int16_t>()) return *v;
  if (const auto* v = TryGet<Currency>()) {
    return RoundTo<std::int32_t>(static_cast<double>(RoundCurrency(*v)));
  }
  return RoundTo<std::int32_t>(ToR8());
}

double Value::ToR8() const {
  switch (type()) {
    case ValueType::kEmpty:
      return 0;
    case ValueType::kI2:
      return *TryGet<std::int16_t>();
    case ValueType::kI4:
      return *TryGet<std::int32_t>();
    case ValueType::kR8:
      return *TryGet<double>();
    case ValueType::kCurrency:
      return static_cast<double>(TryGet<Currency>()->units) / 10'000.0;
    case ValueType::kDate:
      return TryGet<Date>()->days;
    case ValueType::kBoolean:
      return *TryGet<bool>() ? -1 : 0;
    case ValueType::kText: {
      double v = 0;
      Check(DoubleFromText(*TryGet<std::string>(), &v));
      return v;
    }
    default:
      RaiseMismatch(*this);
  }
}

Currency Value::ToCurrency() const {
  switch (type()) {
    case ValueType::kCurrency:
      return *TryGet<Currency>();
    case ValueType::kI2:
      return {std::int64_t{*TryGet<std::int16_t>()} * 10'000};
    case ValueType::kI4:
      return {std::int64_t{*TryGet<std::int32_t>()} * 10'000};
    case ValueType::kText: {
      std::int64_t units = 0;
      Check(CurrencyFromText(*TryGet<std::string>(), &units));
      return {units};
    }
    default: {
      const long double units = std::nearbyint(static_cast<long double>(ToR8()) * 10'000.0L);
      // 2^63 itself is one too many.
      if (!(units >= -9223372036854775808.0L && units < 9223372036854775808.0L)) {
        Raise(kErrOverflow);
      }
      return {static_cast<std::int64_t>(units)};
    }
  }
}

Date Value::ToDate() const {
  if (const auto* v = TryGet<Date>()) return *v;
  Date date;
  if (const auto* text = TryGet<std::string>(); text != nullptr && ParseDate(*text, &date)) {
    return date;
  }
  date.days = ToR8();
  if (!(date.days > kFirstDay - 1 && date.days < kAfterLastDay)) Raise(kErrOverflow);
  return date;
}

bool Value::ToBoolean() const {
  if (const auto* v = TryGet<bool>()) return *v;
  if (const auto* text = TryGet<std::string>()) {
    if (EqualsIgnoreCase(*text, "True")) return true;
    if (EqualsIgnoreCase(*text, "False")) return false;
  }
  return ToR8() != 0;
}

std::string Value::ToText() const {
  switch (type()) {
    case ValueType::kEmpty:
      return {};
    case ValueType::kText:
      return *TryGet<std::string>();
    case ValueType::kI2:
      return std::to_string(*TryGet<std::int16_t>());
    case ValueType::kI4:
      return std::to_string(*TryGet<std::int32_t>());
    case ValueType::kR8:
      return TextFromDouble(*TryGet<double>());
    case ValueType::kCurrency:
      return TextFromCurrency(TryGet<Currency>()->units);
    case ValueType::kBoolean:
      return *TryGet<bool>() ? "True" : "False";
    case ValueType::kDate: {
      const Date date = *TryGet<Date>();
      const std::optional<CivilDateTime> moment = DateTimeFromAutomation(date.days);
      if (!moment) Raise(kErrOverflow);
      const bool midnight = moment->hour == 0 && moment->minute == 0 && moment->second == 0;
      if (moment->date == CivilDate{1899, 12, 30}) return FormatDate(date, "hh:nn:ss");
      return FormatDate(date, midnight ? "yyyy-mm-dd" : "yyyy-mm-dd hh:nn:ss");
    }
    default:
      RaiseMismatch(*this);
  }
}

Ref<Object> Value::ToObject() const {
  if (const auto* v = TryGet<Ref<Object>>()) return *v;
  RaiseMismatch(*this);
}

bool Value::operator==(const Value& other) const { return data_ == other.data_; }

bool ValuesEqual(const Value& a, const Value& b) {
  if (a.IsNull() || b.IsNull() || a.IsMissing() || b.IsMissing()) return false;
  const auto number = [](const Value& v) { return v.IsNumeric() || v.type() == ValueType::kDate; };
  if (a.IsEmpty() && b.IsEmpty()) return true;
  if (a.IsEmpty() || b.IsEmpty()) {
    const Value& v = a.IsEmpty() ? b : a;
    if (v.IsText()) return v.TryGet<std::string>()->empty();
    return number(v) && v.ToR8() == 0;
  }
  if (number(a) && number(b)) {
    if (a.type() == ValueType::kCurrency && b.type() == ValueType::kCurrency) return a == b;
    return a.ToR8() == b.ToR8();
  }
  return a == b;
}

}  // namespace pv::automation
