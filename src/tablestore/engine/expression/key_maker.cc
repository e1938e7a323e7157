// Turns the values of expressions into the key bytes of tags. Tested by key_maker_test.cc and
// real_tables_test.cc.
//
//   text       as it is, blank-padded to the width
//   number     IEEE double, big-endian; the sign bit turned, and every bit of a negative one, so
//              that bytes order as the numbers do
//   date       its Julian day as a number; a date-time has the time as the fraction of the day
//   logical    'T' or 'F'
//
// Before them a byte 0x80 when the expression can be null; the key of null is all zero bytes.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "base/bytes.h"
#include "base/date.h"
#include "base/text.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/expression/compiled_expression.h"
#include "tablestore/engine/expression/number_text.h"

namespace pv::engine {
namespace {

using expr::CompiledExpression;
using expr::Op;
using expr::Shape;
using expr::Value;

constexpr std::uint8_t kPresent = 0x80;
constexpr std::size_t kNumberKey = 8;
constexpr std::size_t kIntegerKey = 4;
constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;
constexpr double kSecondsPerDay = 86400;

// Expression lets nobody but CompiledExpression derive from it.
const CompiledExpression& Compiled(const std::shared_ptr<const Expression>& expression) {
  return static_cast<const CompiledExpression&>(*expression);
}

void StoreNumber(std::uint8_t* key, double number) {
  const double sum = number + 0.0;  // turns -0 into 0
  const auto bits = std::bit_cast<std::uint64_t>(sum);
  StoreBe64(key, (bits & kSignBit) != 0 ? ~bits : bits | kSignBit);
}

void StoreInteger(std::uint8_t* key, std::int32_t number) {
  StoreBe32(key, static_cast<std::uint32_t>(number) ^ 0x80000000u);
}

void StoreCurrency(std::uint8_t* key, std::int64_t units) {
  StoreBe64(key, static_cast<std::uint64_t>(units) ^ kSignBit);
}

// Days and the fraction of the day, from seconds.
void StoreDateTime(std::uint8_t* key, double seconds) {
  const double days = std::floor(seconds / kSecondsPerDay);
  StoreNumber(key, days + (seconds - days * kSecondsPerDay) / kSecondsPerDay);
}

void StoreText(std::uint8_t* key, std::size_t length, const char* data, std::size_t size) {
  const std::size_t kept = std::min(size, length);
  std::memcpy(key, data, kept);
  std::memset(key + kept, ' ', length - kept);
}

// A value of kind kNumeric, kDate, kDateTime, kLogical or kCharacter; a null as the empty value.
void StoreValue(KeyKind kind, const Value& v, std::uint8_t* key, std::size_t length) {
  switch (kind) {
    case KeyKind::kCharacter:
      StoreText(key, length, v.data, v.size);
      break;
    case KeyKind::kDateTime:
      StoreDateTime(key, v.number);
      break;
    case KeyKind::kLogical:
      *key = v.number != 0 ? 'T' : 'F';
      break;
    default:
      StoreNumber(key, v.number);
      break;
  }
}

// The empty value: blanks, zero, the empty date, false.
void StoreEmpty(KeyKind kind, std::uint8_t* key, std::size_t length) {
  switch (kind) {
    case KeyKind::kInteger:
      StoreInteger(key, 0);
      break;
    case KeyKind::kCurrency:
      StoreCurrency(key, 0);
      break;
    default:
      StoreValue(kind, Value{0, "", 0, false}, key, length);
      break;
  }
}

// Hours, minutes and seconds "HH:MM:SS" as seconds; -1 for anything else.
int SecondsFromText(std::string_view text) {
  if (text.size() != 8 || text[2] != ':' || text[5] != ':') return -1;
  constexpr int kLimits[] = {24, 60, 60};
  int seconds = 0;
  for (std::size_t part = 0; part < 3; ++part) {
    const char tens = text[part * 3];
    const char ones = text[part * 3 + 1];
    if (tens < '0' || tens > '9' || ones < '0' || ones > '9') return -1;
    const int value = (tens - '0') * 10 + (ones - '0');
    if (value >= kLimits[part]) return -1;
    seconds = seconds * 60 + value;
  }
  return seconds;
}

// "YYYYMMDD", for a date-time "HH:MM:SS" after it; blank text is the empty date.
bool DateFromText(std::string_view text, bool with_time, double* seconds) {
  constexpr std::size_t kDateDigits = 8;
  text = TrimBlanks(text);
  *seconds = 0;
  if (text.empty()) return true;
  const auto date = ParseDigits(text.substr(0, kDateDigits));
  if (!date) return false;
  int time = 0;
  if (text.size() > kDateDigits) {
    time = with_time ? SecondsFromText(text.substr(kDateDigits)) : -1;
    if (time < 0) return false;
  }
  *seconds = JulianFromDate(*date) * kSecondsPerDay + time;
  return true;
}

bool LogicalFromText(std::string_view text, bool* truth) {
  text = TrimBlanks(text);
  if (text.size() == 3 && text.front() == '.' && text.back() == '.') text = text.substr(1, 1);
  if (text.size() != 1) return false;
  *truth = std::string_view("TtYy").find(text[0]) != std::string_view::npos;
  return *truth || std::string_view("FfNn").find(text[0]) != std::string_view::npos;
}

// The key of `text` on a tag of this kind, without null byte; false when it is no such value.
bool StoreFromText(KeyKind kind, std::string_view text, std::uint8_t* key) {
  switch (kind) {
    case KeyKind::kInteger: {
      const auto n = expr::ParseWholeScaled(text, 0);
      if (!n || *n < std::numeric_limits<std::int32_t>::min() ||
          *n > std::numeric_limits<std::int32_t>::max()) {
        return false;
      }
      StoreInteger(key, static_cast<std::int32_t>(*n));
      return true;
    }
    case KeyKind::kCurrency: {
      const auto n = expr::ParseWholeScaled(text, 4);
      if (n) StoreCurrency(key, *n);
      return n.has_value();
    }
    case KeyKind::kDate:
    case KeyKind::kDateTime: {
      double seconds = 0;
      if (!DateFromText(text, kind == KeyKind::kDateTime, &seconds)) return false;
      StoreDateTime(key, seconds);
      return true;
    }
    case KeyKind::kLogical: {
      bool truth = false;
      if (!LogicalFromText(text, &truth)) return false;
      *key = truth ? 'T' : 'F';
      return true;
    }
    default: {
      const auto n = expr::ParseWholeNumber(text);
      if (n) StoreNumber(key, *n);
      return n.has_value();
    }
  }
}

}  // namespace

Result<KeyMaker> KeyMaker::Create(std::unique_ptr<Expression> expression,
                                  std::size_t stored_length) {
  KeyMaker maker;
  maker.expression_ = std::move(expression);
  const CompiledExpression& e = Compiled(maker.expression_);
  const bool is_field = e.facts().shape == Shape::kField;
  const Op first = e.program().code.front().op;

  // The lengths that the value can have without the null byte, the usual one first.
  std::size_t usual = kNumberKey;
  std::size_t other = 0;
  switch (e.type()) {
    case ValueType::kCharacter:
      maker.kind_ = KeyKind::kCharacter;
      usual = e.width();
      break;
    case ValueType::kNumeric:
      maker.kind_ = KeyKind::kNumeric;
      if (is_field && first == Op::kCurrencyField) maker.kind_ = KeyKind::kCurrency;
      if (is_field && first == Op::kIntegerField) {
        maker.kind_ = KeyKind::kInteger;
        usual = kIntegerKey;
        other = kNumberKey;
      }
      break;
    case ValueType::kDate:
      maker.kind_ = KeyKind::kDate;
      break;
    case ValueType::kDateTime:
      maker.kind_ = KeyKind::kDateTime;
      break;
    case ValueType::kLogical:
      maker.kind_ = KeyKind::kLogical;
      usual = 1;
      break;
  }

  std::size_t length = usual;
  maker.nullable_ = e.can_be_null();
  if (stored_length != 0) {
    const auto fits = [&](std::size_t n) {
      // The width of a text with computed counts is this program's own guess: another one may
      // have made another.
      if (maker.kind_ == KeyKind::kCharacter && e.facts().computed_width) return n > 0;
      return n == usual || (other != 0 && n == other);
    };
    if (maker.nullable_ && fits(stored_length - 1)) {
      length = stored_length - 1;
    } else if (fits(stored_length)) {
      // Programs that keep no null byte give null the key of the empty value.
      length = stored_length;
      maker.nullable_ = false;
    } else {
      return e.Failure(StatusCode::kCorrupt,
                       "its keys have " + std::to_string(usual + (maker.nullable_ ? 1 : 0)) +
                           " bytes, but those of the tag " + std::to_string(stored_length),
                       kErrIndexDamaged);
    }
  }
  if (maker.kind_ == KeyKind::kInteger && length == kNumberKey) maker.kind_ = KeyKind::kNumeric;
  if (length == 0) {
    return e.Failure(StatusCode::kInvalid, "its text is always empty, so it cannot be a key",
                     kErrExpression);
  }
  maker.key_length_ = length + (maker.nullable_ ? 1 : 0);
  if (maker.key_length_ > kMaxKeyLength) {
    return e.Failure(StatusCode::kLimit,
                     "its keys have " + std::to_string(maker.key_length_) +
                         " bytes, but a key has at most " + std::to_string(kMaxKeyLength),
                     kErrTagLimit);
  }
  return maker;
}

Status KeyMaker::MakeKey(const std::uint8_t* record, std::uint32_t record_number,
                         std::uint8_t* key) const {
  const CompiledExpression& e = Compiled(expression_);
  const expr::Instruction& first = e.program().code.front();
  const Shape shape = e.facts().shape;
  const std::size_t length = key_length_ - (nullable_ ? 1 : 0);
  std::uint8_t* const body = nullable_ ? key + 1 : key;
  if (nullable_) *key = kPresent;

  const bool is_text = first.op == Op::kTextField && kind_ == KeyKind::kCharacter;
  if (is_text && (shape == Shape::kField || shape == Shape::kUpperField)) {
    if (first.null_mask != 0 && IsFieldNull(first, record)) {
      std::memset(body, nullable_ ? 0 : ' ', length);
      if (nullable_) *key = 0;
      return Status::Ok();
    }
    // `length` is the field's: the width of both shapes is fixed.
    const char* const bytes = reinterpret_cast<const char*>(record) + first.offset;
    if (shape == Shape::kField) {
      std::memcpy(body, bytes, length);
    } else {
      e.program().case_map->Upper(bytes, length, reinterpret_cast<char*>(body));
    }
    return Status::Ok();
  }

  const auto store = [&](const Value& v) {
    if (!v.null || !nullable_) {
      StoreValue(kind_, v, body, length);
    } else {
      std::memset(key, 0, key_length_);
    }
  };
  if (shape != Shape::kField) {
    e.Evaluate(record, record_number, store);
  } else if (kind_ == KeyKind::kInteger || kind_ == KeyKind::kCurrency) {
    // Straight from the stored bytes: a double does not hold every currency value.
    const bool null = IsFieldNull(first, record);
    const std::uint8_t* const bytes = record + first.offset;
    if (null && nullable_) {
      std::memset(key, 0, key_length_);
    } else if (kind_ == KeyKind::kInteger) {
      StoreInteger(body, null ? 0 : static_cast<std::int32_t>(LoadLe32(bytes)));
    } else {
      StoreCurrency(body, null ? 0 : static_cast<std::int64_t>(LoadLe64(bytes)));
    }
  } else {
    store(LoadField(first, record));
  }
  return Status::Ok();
}

bool KeyMaker::KeyFromText(std::string_view text, std::uint8_t* key,
                           std::size_t* exact_length) const {
  const CompiledExpression& e = Compiled(expression_);
  const std::size_t prefix = nullable_ ? 1 : 0;
  const std::size_t length = key_length_ - prefix;
  std::uint8_t* const body = key + prefix;
  if (nullable_) *key = kPresent;
  *exact_length = key_length_;

  if (kind_ == KeyKind::kCharacter) {
    std::string stored;
    if (e.facts().utf16) {
      // Unicode fields end in zeros, not blanks.
      for (const char16_t unit : Utf16FromUtf8(e.page().Decode(text))) {
        stored.push_back(static_cast<char>(unit & 0xFF));
        stored.push_back(static_cast<char>(unit >> 8));
      }
      text = stored;
    }
    const std::size_t kept = std::min(text.size(), length);
    *exact_length = prefix + kept;
    if (kept > 0) std::memcpy(body, text.data(), kept);
    std::memset(body + kept, e.facts().utf16 ? 0 : ' ', length - kept);
    return true;
  }
  if (StoreFromText(kind_, text, body)) return true;
  StoreEmpty(kind_, body, length);
  return false;
}

}  // namespace pv::engine
