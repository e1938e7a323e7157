// Walks recordsets. Tested by recordset_cursor_test.cc and tests/cli.
#include "cli/groups/recordset_cursor.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "base/date.h"
#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/field_names.h"
#include "cli/fields/values.h"
#include "groups/ado_group.h"
#include "pvgroupman/automation/call.h"

namespace pv::cli {

using automation::CallMember;
using automation::GetProperty;
using automation::Object;
using automation::Ref;
using automation::Value;
using automation::ValueType;

namespace {

constexpr std::int32_t kSingle = 4;
constexpr std::int32_t kGuid = 72;
constexpr std::int32_t kDbDate = 133;
constexpr std::int32_t kDbTime = 134;

template <typename Number>
void SetReal(Number number, Cell* cell) {
  std::array<char, 64> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  cell->Set(std::isfinite(number) ? CellKind::kNumber : CellKind::kText,
            {text.data(), static_cast<std::size_t>(end - text.data())});
}

// Whether a moment is finer than a millisecond, and not for what a double of days lacks in
// exactness.
bool IsFiner(automation::Date date) {
  const double millis = std::fabs(date.days - std::trunc(date.days)) * kMillisecondsPerDay;
  return std::fabs(millis - std::round(millis)) > 0.0005 + std::fabs(date.days) * 2e-8;
}

void SetMoment(automation::Date date, std::int32_t ado_type, Cell* cell) {
  // To milliseconds, as a table of ours keeps them.
  const double whole = std::floor(date.days);
  std::int64_t day = static_cast<std::int64_t>(whole);
  double part = date.days - whole;
  if (date.days < 0) {
    day = static_cast<std::int64_t>(std::ceil(date.days));
    part = std::ceil(date.days) - date.days;
  }
  std::int64_t time = std::llround(part * kMillisecondsPerDay);
  if (time == kMillisecondsPerDay) {
    time = 0;
    ++day;
  }
  const auto civil = DateFromJulian(day + kAutomationEpochJulian);
  if (!civil || !std::isfinite(date.days)) {
    cell->Set(CellKind::kText, Value(date).ToText());
    return;
  }
  std::array<char, 48> text;
  int size = 0;
  if (ado_type != kDbTime) {
    size = std::snprintf(text.data(), text.size(), "%04d-%02d-%02d", civil->year, civil->month,
                         civil->day);
  }
  if (ado_type != kDbDate || time != 0) {
    const auto put = [&](const char* format, auto... values) {
      size += std::snprintf(text.data() + size, text.size() - static_cast<std::size_t>(size),
                            format, values...);
    };
    if (ado_type != kDbTime) put("%s", "T");
    put("%02d:%02d:%02d", static_cast<int>(time / 3'600'000), static_cast<int>(time / 60'000 % 60),
        static_cast<int>(time / 1000 % 60));
    if (time % 1000 != 0) put(".%03d", static_cast<int>(time % 1000));
  }
  cell->Set(CellKind::kText, {text.data(), static_cast<std::size_t>(size)});
}

bool IsNumberType(std::int32_t ado_type) {
  const groups::PVGroupFieldType type = groups::TypeOfAdo(ado_type);
  return type == groups::PVGroupFieldType::kNumber || type == groups::PVGroupFieldType::kCurrency;
}

bool IsBytesType(std::int32_t ado_type) {
  return ado_type == 128 || ado_type == 204 || ado_type == 205;
}

// Calls a method or reads a property without arguments.
Value Reach(const Ref<Object>& object, std::int32_t id) {
  automation::Call call{automation::kCallMethodOrGet, {}, {}};
  return automation::Invoke(object, id, call);
}

void SetText(const std::string& text, std::int32_t ado_type, Cell* cell) {
  NumberShape shape;
  const bool number = IsNumberType(ado_type) && ReadNumber(text, '.', &shape) &&
                      !shape.leading_zero;  // as JSON writes numbers
  cell->Set(number ? CellKind::kNumber : CellKind::kText, text);
}

}  // namespace

void SetCell(const Value& value, std::int32_t ado_type, Cell* cell) {
  switch (value.type()) {
    case ValueType::kEmpty:
    case ValueType::kNull:
    case ValueType::kMissing:
      cell->Set(CellKind::kNone, {});
      return;
    case ValueType::kI2:
    case ValueType::kI4:
      cell->Set(CellKind::kNumber, value.ToText());
      return;
    case ValueType::kR8:
      if (ado_type == kSingle) {
        SetReal(static_cast<float>(value.ToR8()), cell);
      } else {
        SetReal(value.ToR8(), cell);
      }
      return;
    case ValueType::kCurrency:
      cell->Set(CellKind::kNumber, CurrencyText(value.ToCurrency().units));
      return;
    case ValueType::kDate:
      SetMoment(value.ToDate(), ado_type, cell);
      return;
    case ValueType::kBoolean:
      cell->Set(CellKind::kBoolean, value.ToBoolean() ? "true" : "false");
      return;
    case ValueType::kText:
      SetText(*value.TryGet<std::string>(), ado_type, cell);
      return;
    case ValueType::kBytes: {
      constexpr char kDigits[] = "0123456789abcdef";
      cell->kind = CellKind::kText;
      cell->text.clear();
      for (const std::uint8_t byte : *value.TryGet<automation::Bytes>()) {
        cell->text += kDigits[byte >> 4];
        cell->text += kDigits[byte & 15];
      }
      return;
    }
    case ValueType::kObject:
    case ValueType::kTextArray:
    case ValueType::kRecords:
      break;
  }
  throw Failure(kUnavailable, "the database gave a value that is none");
}

FieldShape ShapeOfAdo(std::int32_t ado_type, std::int32_t size, std::int32_t precision,
                      std::int32_t scale) {
  switch (ado_type) {
    case 2:
    case 3:
    case 16:
    case 17:
    case 18:
      return {'I', 4, 0};
    case 4:
    case 5:
      return {'B', 8, 0};
    case 6:
      return {'Y', 8, 0};
    case 11:
      return {'L', 1, 0};
    case kDbDate:
      return {'D', 8, 0};
    case 7:
    case 135:
      return {'T', 8, 0};
    case kDbTime:
      return {'C', 12, 0};  // with milliseconds
    case kGuid:
      return {'C', 38, 0};
    default:
      break;
  }
  if (IsNumberType(ado_type)) {
    const auto digits = static_cast<std::size_t>(std::max(precision, 0));
    const auto decimals = static_cast<std::size_t>(std::max(scale, 0));
    const std::size_t width = digits + 1 + (decimals > 0 ? 1 : 0);
    return {'N', digits > 0 && width <= kMaxNumberWidth ? width : 0, decimals};
  }
  if (size > 0 && static_cast<std::size_t>(size) <= kMaxTextBytes) {
    return {'C', static_cast<std::size_t>(size), 0};
  }
  return {'M', 0, 0};
}

RecordsetCursor::RecordsetCursor(const Ref<Object>& recordset)
    : recordset_(recordset),
      eof_id_(automation::GetIdOfName(recordset, "EOF")),
      move_next_id_(automation::GetIdOfName(recordset, "MoveNext")) {
  const Ref<Object> fields = GetProperty(recordset_, "Fields").ToObject();
  const std::int32_t count = GetProperty(fields, "Count").ToI4();
  for (std::int32_t i = 0; i < count; ++i) {
    const Ref<Object> field = CallMember(fields, "Item", {i}).ToObject();
    types_.push_back(GetProperty(field, "Type").ToI4());
    fields_.push_back({GetProperty(field, "Name").ToText(),
                       ShapeOfAdo(types_.back(), GetProperty(field, "DefinedSize").ToI4(),
                                  GetProperty(field, "Precision").ToI4(),
                                  GetProperty(field, "NumericScale").ToI4()),
                       IsBytesType(types_.back())});
    sources_.push_back({field, automation::GetIdOfName(field, "Value")});
  }
  rounded_.resize(fields_.size());
}

std::string RecordsetCursor::address_field() const {
  if (const auto field = Find("EMAIL")) return fields_[*field].name;
  std::string likely;
  for (const CursorField& field : fields_) {
    bool certain = false;
    if (!IsAddressHeading(field.name, &certain)) continue;
    if (certain) return field.name;
    if (likely.empty()) likely = field.name;
  }
  return likely;
}

bool RecordsetCursor::Next() {
  if (started_) Reach(recordset_, move_next_id_);
  started_ = true;
  return !Reach(recordset_, eof_id_).ToBoolean();
}

void RecordsetCursor::Read(std::size_t field, Cell* cell) {
  const Value value = Reach(sources_[field].field, sources_[field].value_id);
  if (value.type() == ValueType::kDate && !rounded_[field]) {
    rounded_[field] = IsFiner(value.ToDate());
  }
  SetCell(value, types_[field], cell);
}

std::vector<std::string> RecordsetCursor::rounded() const {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < rounded_.size(); ++i) {
    if (rounded_[i]) names.push_back(fields_[i].name);
  }
  return names;
}

}  // namespace pv::cli
