// Runs the programs of expressions. Tested by expression_value_test.cc and
// expression_twin_test.cc.
//
// Invariants:
//   1. Numbers on the stack are finite. What has no finite value (a division by zero, a date
//      beyond the year 9999) is null.
//   2. A text made by an instruction is never longer than the buffer that the builder gave it.
//   3. A null operand makes the result null, except where an instruction says otherwise.
#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "base/bytes.h"
#include "base/date.h"
#include "tablestore/engine/expression/number_text.h"
#include "tablestore/engine/expression/program.h"
#include "tablestore/engine/expression/token.h"
#include "tablestore/engine/record_layout.h"

namespace pv::engine::expr {
namespace {

constexpr double kSecondsPerDay = 86400;
constexpr double kFirstJulian = 1'721'426;  // 0001-01-01
constexpr double kLastJulian = 5'373'484;   // 9999-12-31

// Whole numbers below this are doubles.
constexpr std::int64_t kExactWhole = std::int64_t{1} << 53;

void SetNull(Value* v) {
  v->null = true;
  v->number = 0;
  v->data = "";
  v->size = 0;
}

void SetNumber(Value* v, double number) {
  if (std::isfinite(number)) {
    v->number = number;
  } else {
    SetNull(v);
  }
}

void SetLogical(Value* v, bool truth) { v->number = truth ? 1 : 0; }

void SetText(Value* v, const char* data, std::size_t size) {
  v->data = data;
  v->size = static_cast<std::uint32_t>(size);
}

// A count that a function was given, as a whole number in [low, high].
std::int64_t Count(const Value& v, std::int64_t low, std::int64_t high) {
  return static_cast<std::int64_t>(
      std::trunc(std::clamp(v.number, static_cast<double>(low), static_cast<double>(high))));
}

double JulianFromDigits(std::string_view text) {
  const auto date = ParseDigits(text);
  return date ? JulianFromDate(*date) : 0;
}

double CurrencyValue(std::int64_t units) {
  if (units > -kExactWhole && units < kExactWhole) return static_cast<double>(units) / 10000.0;
  // Beyond 53 bits a division would round twice.
  char text[40];
  char* end = std::to_chars(text, text + sizeof text - 3, units).ptr;
  std::memcpy(end, "e-4", 3);
  double value = 0;
  std::from_chars(text, end + 3, value);
  return value;
}

double DateTimeValue(const std::uint8_t* stored) {
  const auto julian = static_cast<double>(static_cast<std::int32_t>(LoadLe32(stored)));
  const std::uint32_t milliseconds = LoadLe32(stored + 4);
  if (julian < kFirstJulian || julian > kLastJulian || milliseconds >= kMillisecondsPerDay) {
    return 0;
  }
  return julian * kSecondsPerDay + (milliseconds + 500) / 1000;
}

// The empty date stays empty; a date outside the calendar is none.
void MoveDate(Value* v, double by, double units_per_day) {
  if (v->number == 0) return;
  const double moved = v->number + std::trunc(by);
  if (moved >= kFirstJulian * units_per_day && moved < (kLastJulian + 1) * units_per_day) {
    v->number = moved;
  } else {
    SetNull(v);
  }
}

bool Holds(Relation relation, int order) {
  switch (relation) {
    case Relation::kEqual:
      return order == 0;
    case Relation::kNotEqual:
      return order != 0;
    case Relation::kLess:
      return order < 0;
    case Relation::kLessEqual:
      return order <= 0;
    case Relation::kGreater:
      return order > 0;
    default:
      return order >= 0;
  }
}

// Only as many bytes count as the right text has; a shorter left text that agrees comes before.
int CompareTexts(std::string_view left, std::string_view right) {
  const std::size_t common = std::min(left.size(), right.size());
  const int order = common == 0 ? 0 : std::memcmp(left.data(), right.data(), common);
  if (order != 0) return order;
  return left.size() < right.size() ? -1 : 0;
}

bool EqualPadded(std::string_view a, std::string_view b) {
  if (a.size() < b.size()) std::swap(a, b);
  return a.substr(0, b.size()) == b && a.find_first_not_of(' ', b.size()) == a.npos;
}

std::size_t SizeWithoutBlanks(const char* data, std::size_t size) {
  while (size > 0 && data[size - 1] == ' ') --size;
  return size;
}

void Join(const Instruction& i, Value* left, const Value& right, char* scratch) {
  char* const buffer = scratch + i.offset;
  if (!i.left_in_place) std::memcpy(buffer, left->data, left->size);
  std::size_t blanks = 0;
  if (i.op == Op::kJoinTrimmed) blanks = left->size - SizeWithoutBlanks(buffer, left->size);
  char* const end = buffer + left->size - blanks;
  std::memcpy(end, right.data, right.size);
  std::memset(end + right.size, ' ', blanks);
  SetText(left, buffer, left->size + right.size);
}

void Pad(const Instruction& i, Value* text, const Value& count, const Value* fill_text,
         char* scratch) {
  const auto size = static_cast<std::size_t>(Count(count, 0, i.size));
  const char fill = fill_text != nullptr && fill_text->size > 0 ? fill_text->data[0] : ' ';
  const std::size_t kept = std::min<std::size_t>(size, text->size);
  char* const buffer = scratch + i.offset;
  const std::size_t at = i.op == Op::kPadLeft ? size - kept : 0;
  std::memset(buffer, fill, size);
  std::memcpy(buffer + at, text->data, kept);
  SetText(text, buffer, size);
}

void Substr(Value* text, const Value& start, const Value* count) {
  const std::int64_t size = text->size;
  const std::int64_t from = Count(start, 0, size + 1);
  if (from == 0) {
    SetText(text, text->data, 0);
    return;
  }
  const std::int64_t rest = size - (from - 1);
  const std::int64_t taken = count != nullptr ? Count(*count, 0, rest) : rest;
  SetText(text, text->data + (from - 1), static_cast<std::size_t>(taken));
}

void PutDigits(char* out, int value, int digits) {
  for (int i = digits; i-- > 0; value /= 10) out[i] = static_cast<char>('0' + value % 10);
}

void FormatDate(const Instruction& i, Value* v, char* scratch) {
  char* const out = scratch + i.offset;
  const auto date = DateFromJulian(static_cast<std::int64_t>(v->number));
  if (i.op == Op::kDtos) {
    std::memset(out, ' ', i.size);
    if (date) PutDigits(out, date->year * 10000 + date->month * 100 + date->day, 8);
  } else {
    std::memcpy(out, "  /  /    ", i.size);
    if (date) {
      PutDigits(out, date->month, 2);
      PutDigits(out + 3, date->day, 2);
      PutDigits(out + 6, date->year, 4);
    }
  }
  SetText(v, out, i.size);
}

int DatePart(Op part, double julian) {
  const auto date = DateFromJulian(static_cast<std::int64_t>(julian));
  if (!date) return 0;
  if (part == Op::kYear) return date->year;
  return part == Op::kMonth ? date->month : date->day;
}

// Big-endian with the sign bit turned, so that bytes order as the numbers do.
void BinToC(const Instruction& i, Value* v, char* scratch) {
  const double limit = std::ldexp(1.0, static_cast<int>(i.size) * 8 - 1);
  const double whole = std::trunc(v->number);
  if (whole < -limit || whole >= limit) {
    SetNull(v);
    return;
  }
  char bytes[4];
  StoreBe32(bytes, static_cast<std::uint32_t>(static_cast<std::int64_t>(whole + limit)));
  char* const out = scratch + i.offset;
  std::memcpy(out, bytes + sizeof bytes - i.size, i.size);
  SetText(v, out, i.size);
}

void TrimLeft(Value* v) {
  while (v->size > 0 && *v->data == ' ') {
    ++v->data;
    --v->size;
  }
}

bool IsBlankText(std::string_view text) {
  return text.find_first_not_of(std::string_view(" \t\r\n\0", 5)) == text.npos;
}

// Eight bytes at a time while they are ASCII; others by the table.
void MapBytes(const char* in, std::size_t size, char* out, const std::array<char, 256>& map,
              bool words, char first_letter) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kOnes;
  const std::uint64_t below = (0x80 - static_cast<std::uint64_t>(first_letter)) * kOnes;
  std::size_t i = 0;
  if (words) {
    for (; i + 8 <= size; i += 8) {
      const std::uint64_t word = LoadLe64(in + i);
      if ((word & kHighBits) != 0) {
        for (std::size_t k = i; k < i + 8; ++k) out[k] = map[static_cast<unsigned char>(in[k])];
        continue;
      }
      // The high bit of each byte says whether it is one of the 26 letters.
      const std::uint64_t not_below = word + below;
      const std::uint64_t above = word + below - 26 * kOnes;
      const std::uint64_t letters = (not_below & ~above) & kHighBits;
      StoreLe64(out + i, word ^ (letters >> 2));
    }
  }
  for (; i < size; ++i) out[i] = map[static_cast<unsigned char>(in[i])];
}

// `left` and left[1] are the operands, neither null; the result goes to `left`.
void RunOperator(const Instruction& i, Value* left, char* scratch) {
  const Value& right = left[1];
  switch (i.op) {
    case Op::kAdd:
      SetNumber(left, left->number + right.number);
      break;
    case Op::kSubtract:
      SetNumber(left, left->number - right.number);
      break;
    case Op::kMultiply:
      SetNumber(left, left->number * right.number);
      break;
    case Op::kDivide:
      if (right.number == 0) {
        SetNull(left);
      } else {
        SetNumber(left, left->number / right.number);
      }
      break;
    case Op::kPower:
      SetNumber(left, std::pow(left->number, right.number));
      break;
    case Op::kAddToDate:
      MoveDate(left, right.number, 1);
      break;
    case Op::kSubtractFromDate:
      MoveDate(left, -right.number, 1);
      break;
    case Op::kAddToDateTime:
      MoveDate(left, right.number, kSecondsPerDay);
      break;
    case Op::kSubtractFromDateTime:
      MoveDate(left, -right.number, kSecondsPerDay);
      break;
    case Op::kJoin:
    case Op::kJoinTrimmed:
      Join(i, left, right, scratch);
      break;
    case Op::kCompareNumbers:
      SetLogical(left, Holds(i.relation, (left->number > right.number ? 1 : 0) -
                                             (left->number < right.number ? 1 : 0)));
      break;
    case Op::kCompareTexts:
      SetLogical(left, Holds(i.relation, CompareTexts(left->text(), right.text())));
      break;
    case Op::kEqualTexts:
      SetLogical(left, EqualPadded(left->text(), right.text()));
      break;
    default:  // kContainedIn
      SetLogical(left, right.text().find(left->text()) != std::string_view::npos);
      break;
  }
}

// `v` and the values after it are the operand or arguments; the result goes to `v`.
void RunFunction(const Instruction& i, Value* v, const Program& program, char* scratch) {
  for (int k = 0; k < i.arguments; ++k) {
    if (v[k].null) {
      SetNull(v);
      return;
    }
  }
  char* const out = scratch + i.offset;
  switch (i.op) {
    case Op::kNegate:
      v->number = 0 - v->number;
      break;
    case Op::kNot:
      SetLogical(v, v->number == 0);
      break;
    case Op::kDateTimeFromDate:
      v->number *= kSecondsPerDay;
      break;
    case Op::kDateFromDateTime:
      v->number = std::floor(v->number / kSecondsPerDay);
      break;
    case Op::kUpper:
      program.case_map->Upper(v->data, v->size, out);
      v->data = out;
      break;
    case Op::kLower:
      program.case_map->Lower(v->data, v->size, out);
      v->data = out;
      break;
    case Op::kTrimLeft:
      TrimLeft(v);
      break;
    case Op::kTrimBoth:
      TrimLeft(v);
      [[fallthrough]];
    case Op::kTrimRight:
      SetText(v, v->data, SizeWithoutBlanks(v->data, v->size));
      break;
    case Op::kLeft:
      SetText(v, v->data, static_cast<std::size_t>(Count(v[1], 0, v->size)));
      break;
    case Op::kRight: {
      const auto kept = static_cast<std::size_t>(Count(v[1], 0, v->size));
      SetText(v, v->data + (v->size - kept), kept);
      break;
    }
    case Op::kSubstr:
      Substr(v, v[1], i.arguments == 3 ? &v[2] : nullptr);
      break;
    case Op::kPadLeft:
    case Op::kPadRight:
      Pad(i, v, v[1], i.arguments == 3 ? &v[2] : nullptr, scratch);
      break;
    case Op::kSpace: {
      const auto size = static_cast<std::size_t>(Count(*v, 0, i.size));
      std::memset(out, ' ', size);
      SetText(v, out, size);
      break;
    }
    case Op::kStr: {
      const auto size = i.arguments > 1 ? static_cast<std::size_t>(Count(v[1], 0, i.size)) : i.size;
      const int decimals = i.arguments > 2 ? static_cast<int>(Count(v[2], 0, i.size)) : 0;
      FormatNumber(v->number, decimals, out, size);
      SetText(v, out, size);
      break;
    }
    case Op::kVal:
      SetNumber(v, ParseLeadingNumber(v->text()));
      break;
    case Op::kInt:
      v->number = std::trunc(v->number);
      break;
    case Op::kAbs:
      v->number = std::fabs(v->number);
      break;
    case Op::kRound:
      SetNumber(v, RoundDecimals(v->number, static_cast<int>(Count(v[1], -400, 400))));
      break;
    case Op::kChr: {
      const double code = std::trunc(v->number);
      if (code < 0 || code > 255) {
        SetNull(v);
      } else {
        *out = static_cast<char>(static_cast<unsigned char>(code));
        SetText(v, out, 1);
      }
      break;
    }
    case Op::kAsc:
      v->number = v->size > 0 ? static_cast<unsigned char>(v->data[0]) : 0;
      break;
    case Op::kLen:
      v->number = v->size;
      break;
    case Op::kAt: {
      const std::size_t at = v->size > 0 ? v[1].text().find(v->text()) : std::string_view::npos;
      v->number = at == std::string_view::npos ? 0 : static_cast<double>(at + 1);
      break;
    }
    case Op::kDtos:
    case Op::kDtoc:
      FormatDate(i, v, scratch);
      break;
    case Op::kCtod:
      v->number = std::max(0.0, JulianFromDateText(v->text()));
      break;
    case Op::kStod:
      v->number = JulianFromDigits(v->text());
      break;
    case Op::kYear:
    case Op::kMonth:
    case Op::kDay:
      v->number = DatePart(i.op, v->number);
      break;
    default:  // kBinToC
      BinToC(i, v, scratch);
      break;
  }
}

}  // namespace

CaseMap::CaseMap(std::shared_ptr<const CodePage> code_page) : page(std::move(code_page)) {
  plain_ascii = true;
  for (std::size_t b = 0; b < 256; ++b) {
    upper[b] = lower[b] = static_cast<char>(b);
    page->UpperBytes(&upper[b], 1);
    page->LowerBytes(&lower[b], 1);
    if (b < 0x80) {
      const bool is_lower = b >= 'a' && b <= 'z';
      const bool is_upper = b >= 'A' && b <= 'Z';
      plain_ascii = plain_ascii && upper[b] == static_cast<char>(is_lower ? b ^ 0x20 : b) &&
                    lower[b] == static_cast<char>(is_upper ? b ^ 0x20 : b);
    }
  }
}

void CaseMap::Upper(const char* in, std::size_t size, char* out) const {
  if (page->is_double_byte()) {
    std::memcpy(out, in, size);
    page->UpperBytes(out, size);
  } else {
    MapBytes(in, size, out, upper, plain_ascii, 'a');
  }
}

void CaseMap::Lower(const char* in, std::size_t size, char* out) const {
  if (page->is_double_byte()) {
    std::memcpy(out, in, size);
    page->LowerBytes(out, size);
  } else {
    MapBytes(in, size, out, lower, plain_ascii, 'A');
  }
}

Value LoadField(const Instruction& field, const std::uint8_t* record) {
  Value v{0, "", 0, false};
  if (IsFieldNull(field, record)) {
    v.null = true;
    return v;
  }
  const std::uint8_t* const bytes = record + field.offset;
  const char* const text = reinterpret_cast<const char*>(bytes);
  switch (field.op) {
    case Op::kTextField:
      SetText(&v, text, field.size);
      break;
    case Op::kVarTextField: {
      std::size_t size = field.size;
      // A length beyond the field is damage: then the whole field but its last byte is the text.
      if (field.length_mask != 0 && (record[field.length_offset] & field.length_mask) != 0) {
        size = std::min<std::size_t>(bytes[field.size - 1], field.size - 1);
      }
      SetText(&v, text, size);
      break;
    }
    case Op::kDecimalField:
      SetNumber(&v, ParseLeadingNumber({text, field.size}));
      break;
    case Op::kIntegerField:
      v.number = static_cast<std::int32_t>(LoadLe32(bytes));
      break;
    case Op::kDoubleField:
      SetNumber(&v, std::bit_cast<double>(LoadLe64(bytes)));
      break;
    case Op::kCurrencyField:
      v.number = CurrencyValue(static_cast<std::int64_t>(LoadLe64(bytes)));
      break;
    case Op::kDateField:
      v.number = JulianFromDigits({text, field.size});
      break;
    case Op::kDateTimeField:
      v.number = DateTimeValue(bytes);
      break;
    default:  // kLogicalField
      SetLogical(&v, *text == 'T' || *text == 't' || *text == 'Y' || *text == 'y');
      break;
  }
  return v;
}

Value Run(const Program& program, const std::uint8_t* record, std::uint32_t record_number,
          Value* stack, char* scratch) {
  Value* free = stack;  // the first unused value; the one below it is the top
  const Instruction* const begin = program.code.data();
  const Instruction* const end = begin + program.code.size();
  for (const Instruction* i = begin; i < end; ++i) {
    switch (i->op) {
      case Op::kNumber:
        *free++ = {program.numbers[i->index], "", 0, false};
        break;
      case Op::kText: {
        const std::string& text = program.texts[i->index];
        *free++ = {0, text.data(), static_cast<std::uint32_t>(text.size()), false};
        break;
      }
      case Op::kTextField:
      case Op::kVarTextField:
      case Op::kDecimalField:
      case Op::kIntegerField:
      case Op::kDoubleField:
      case Op::kCurrencyField:
      case Op::kDateField:
      case Op::kDateTimeField:
      case Op::kLogicalField:
        *free++ = LoadField(*i, record);
        break;
      case Op::kRecno:
        *free++ = {static_cast<double>(record_number), "", 0, false};
        break;
      case Op::kDeleted:
        *free++ = {record[0] == kDeletedMark ? 1.0 : 0.0, "", 0, false};
        break;

      case Op::kJump:
        i = begin + i->index - 1;
        break;
      case Op::kJumpUnlessTrue:
        --free;
        if (free->null || free->number == 0) i = begin + i->index - 1;
        break;
      case Op::kJumpIfFalse:
        if (!free[-1].null && free[-1].number == 0) i = begin + i->index - 1;
        break;
      case Op::kJumpIfTrue:
        if (!free[-1].null && free[-1].number != 0) i = begin + i->index - 1;
        break;

      // The left operand did not decide (a jump would have left): it is null or the neutral one.
      case Op::kAnd:
      case Op::kOr: {
        --free;
        const bool decides = !free->null && (free->number != 0) == (i->op == Op::kOr);
        if (decides || !free[-1].null) free[-1] = *free;
        break;
      }
      case Op::kIsNull:
        SetLogical(free - 1, free[-1].null);
        free[-1].null = false;
        break;
      case Op::kEmptyText:
        SetLogical(free - 1, !free[-1].null && IsBlankText(free[-1].text()));
        free[-1].null = false;
        break;
      case Op::kEmptyNumber:
        SetLogical(free - 1, !free[-1].null && free[-1].number == 0);
        free[-1].null = false;
        break;

      default:
        if (i->op >= Op::kAdd && i->op <= Op::kContainedIn) {
          --free;
          if (free[-1].null || free->null) {
            SetNull(free - 1);
          } else {
            RunOperator(*i, free - 1, scratch);
          }
          break;
        }
        free -= i->arguments - 1;
        RunFunction(*i, free - 1, program, scratch);
        break;
    }
  }
  return free[-1];
}

}  // namespace pv::engine::expr
