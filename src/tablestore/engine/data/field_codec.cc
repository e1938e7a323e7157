// Field values to bytes and back. Tested by field_codec_test.cc.
#include "tablestore/engine/data/field_codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "base/bytes.h"
#include "base/date.h"
#include "base/text.h"

namespace pv::engine {
namespace {

constexpr std::size_t kDateTimeTextLength = 16;

// Characters of a number, whatever the width of its field.
constexpr std::size_t kLongestNumber = 31;

std::string_view View(const std::uint8_t* p, std::size_t length) {
  return {reinterpret_cast<const char*>(p), length};
}

std::string_view Trimmed(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\0' || c == '\t'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

std::optional<double> ParseDouble(std::string_view text) {
  text = Trimmed(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

std::int32_t ClampToInt32(double v) {
  if (!(v > std::numeric_limits<std::int32_t>::min())) {
    return std::isnan(v) ? 0 : std::numeric_limits<std::int32_t>::min();
  }
  if (v >= std::numeric_limits<std::int32_t>::max())
    return std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(v);
}

std::optional<std::int64_t> CurrencyFromDouble(double v) {
  const double scaled = std::round(v * 10000.0);
  if (!(std::fabs(scaled) < 9.2233720368547e18)) return std::nullopt;
  return static_cast<std::int64_t>(scaled);
}

void PutRight(std::string_view text, std::size_t length, std::uint8_t* p) {
  std::fill_n(p, length - text.size(), std::uint8_t{' '});
  std::copy(text.begin(), text.end(), p + (length - text.size()));
}

// The same as FormatFixed for values that are whole in units of the last decimal, as most are; 0
// for any other. Up to fifteen digits a value has one shortest decimal text, so when whole units
// read back as the value they are that text.
std::size_t FormatUnits(double value, std::size_t decimals, std::size_t width, char* out) {
  constexpr std::array<double, 7> kUnits = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6};
  if (decimals >= kUnits.size()) return 0;
  const double size = std::fabs(value);
  const double scaled = size * kUnits[decimals];
  if (!(scaled < 1e15)) return 0;
  auto units = static_cast<std::uint64_t>(scaled + 0.5);
  if (static_cast<double>(units) / kUnits[decimals] != size) return 0;
  const bool minus = value < 0;  // then there is a unit at least
  std::array<char, 32> text;
  char* p = text.data() + text.size();
  for (std::size_t digits = 0; units != 0 || digits <= decimals; units /= 10) {
    if (digits++ == decimals && decimals > 0) *--p = '.';
    *--p = static_cast<char>('0' + units % 10);
  }
  if (minus) *--p = '-';
  const auto used = static_cast<std::size_t>(text.data() + text.size() - p);
  if (used > width) return 0;
  std::memcpy(out, p, used);
  return used;
}

// Writes `value` with `decimals` decimals into at most `width` characters (width <= 31); returns
// how many, 0 when they do not suffice. The shortest decimal text of the value is rounded half
// away from zero, so that 2.675 with two decimals is 2.68 as people expect, whatever its nearest
// double is.
std::size_t FormatFixed(double value, std::size_t decimals, std::size_t width, char* out) {
  if (!(std::fabs(value) < 1e20)) return 0;
  width = std::min(width, kLongestNumber);
  if (const std::size_t size = FormatUnits(value, decimals, width, out); size != 0) return size;
  // One leading zero takes a carry.
  std::array<char, 400> buffer;
  buffer[0] = '0';
  const auto [end, error] = std::to_chars(buffer.data() + 1, buffer.data() + buffer.size(),
                                          std::fabs(value), std::chars_format::fixed);
  if (error != std::errc()) return 0;
  char* const point = std::find(buffer.data(), end, '.');
  char* stop = end;
  if (point != end && static_cast<std::size_t>(end - point - 1) > decimals) {
    stop = point + 1 + decimals;
    if (*stop >= '5') {
      char* digit = stop - 1;
      for (;; --digit) {
        if (*digit == '.') continue;
        if (*digit != '9') break;
        *digit = '0';
      }
      ++*digit;
    }
    if (decimals == 0) stop = point;
  }
  const char* begin = buffer[0] == '0' ? buffer.data() + 1 : buffer.data();
  std::string_view digits(begin, static_cast<std::size_t>(stop - begin));
  const std::size_t have = stop > point ? static_cast<std::size_t>(stop - point - 1) : 0;
  const bool zero = digits.find_first_not_of("0.") == std::string_view::npos;
  const bool minus = value < 0 && !zero;
  const std::size_t size = (minus ? 1U : 0U) + digits.size() + (decimals - have) +
                           (have == 0 && decimals > 0 && stop <= point ? 1U : 0U);
  if (size > width) return 0;
  char* p = out;
  if (minus) *p++ = '-';
  p = std::copy(digits.begin(), digits.end(), p);
  if (have < decimals && stop <= point) *p++ = '.';
  std::fill_n(p, decimals - have, '0');
  return size;
}

// Puts the text of a plain number of at most fifteen digits, which means what it means as a double
// too, right into a field. Nothing is done to any other text; `fits` says whether there was room.
bool PutPlainNumber(const FieldLayout& f, std::string_view text, std::uint8_t* p, bool* fits) {
  const bool minus = text.front() == '-';
  if (minus) text.remove_prefix(1);
  while (text.size() > 1 && text[0] == '0' && text[1] != '.') text.remove_prefix(1);
  const std::size_t point = std::min(text.find('.'), text.size());
  const std::string_view fraction = text.substr(std::min(point + 1, text.size()));
  if (point == 0 || text.size() > 16 || fraction.size() > f.decimals ||
      (fraction.empty() && point < text.size())) {
    return false;
  }
  bool zero = true;
  for (const char c : text) {
    if (c == '.') continue;
    if (c < '0' || c > '9') return false;
    zero = zero && c == '0';
  }
  if (point + fraction.size() > 15 || text.find('.', point + 1) != text.npos) return false;
  const std::size_t sign = minus && !zero ? 1 : 0;
  const std::size_t decimals = f.decimals > 0 ? std::size_t{1} + f.decimals : 0;
  *fits = sign + point + decimals <= f.length && sign + point + decimals <= kLongestNumber;
  if (!*fits) return true;
  std::uint8_t* at = std::fill_n(p, f.length - sign - point - decimals, std::uint8_t{' '});
  if (sign != 0) *at++ = '-';
  at = std::copy_n(text.begin(), point, at);
  if (decimals == 0) return true;
  *at++ = '.';
  at = std::copy(fraction.begin(), fraction.end(), at);
  std::fill_n(at, f.decimals - fraction.size(), std::uint8_t{'0'});
  return true;
}

struct JulianMoment {
  std::int32_t julian = 0;
  std::int32_t milliseconds = 0;
};

std::optional<JulianMoment> ParseDateTime(std::string_view text) {
  text = Trimmed(text);
  if (text.empty()) return JulianMoment{};
  if (text.size() != 8 && text.size() != kDateTimeTextLength) return std::nullopt;
  const auto date = ParseDigits(text.substr(0, 8));
  if (!date) return std::nullopt;
  JulianMoment m{JulianFromDate(*date), 0};
  if (text.size() == 8) return m;
  const auto two = [&](std::size_t at) {
    const char a = text[at];
    const char b = text[at + 1];
    const bool digits = a >= '0' && a <= '9' && b >= '0' && b <= '9';
    return digits ? (a - '0') * 10 + (b - '0') : -1;
  };
  const int hour = two(8);
  const int minute = two(11);
  const int second = two(14);
  if (text[10] != ':' || text[13] != ':') return std::nullopt;
  if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
    return std::nullopt;
  }
  m.milliseconds = ((hour * 60 + minute) * 60 + second) * 1000;
  return m;
}

}  // namespace

double DecodeNumber(const std::uint8_t* p, std::size_t length) {
  return ParseDouble(View(p, length)).value_or(0);
}

double FieldAsDouble(const FieldLayout& f, const std::uint8_t* p) {
  switch (f.type) {
    case FieldLetter::kInteger:
      return static_cast<std::int32_t>(LoadLe32(p));
    case FieldLetter::kDouble: {
      const double v = std::bit_cast<double>(LoadLe64(p));
      return v;
    }
    case FieldLetter::kCurrency:
      return static_cast<double>(static_cast<std::int64_t>(LoadLe64(p))) / 10000.0;
    case FieldLetter::kDate: {
      const auto date = ParseDigits(View(p, f.length));
      return date ? JulianFromDate(*date) : 0;
    }
    case FieldLetter::kDateTime:
      return static_cast<std::int32_t>(LoadLe32(p)) +
             static_cast<std::int32_t>(LoadLe32(p + 4)) / double{kMillisecondsPerDay};
    case FieldLetter::kNumeric:
    case FieldLetter::kFloat:
    case FieldLetter::kCharacter:
    case FieldLetter::kCharacterBinary:
      return DecodeNumber(p, f.length);
    case FieldLetter::kLogical:
      return FieldAsTrue(f, p) ? 1 : 0;
    default:
      return 0;
  }
}

std::int32_t FieldAsLong(const FieldLayout& f, const std::uint8_t* p) {
  if (f.type == FieldLetter::kInteger) return static_cast<std::int32_t>(LoadLe32(p));
  return ClampToInt32(std::trunc(FieldAsDouble(f, p)));
}

std::int64_t FieldAsCurrency(const FieldLayout& f, const std::uint8_t* p) {
  if (f.type == FieldLetter::kCurrency) return static_cast<std::int64_t>(LoadLe64(p));
  if (f.type == FieldLetter::kNumeric || f.type == FieldLetter::kFloat) {
    return ParseCurrency(View(p, f.length)).value_or(0);
  }
  return CurrencyFromDouble(FieldAsDouble(f, p)).value_or(0);
}

bool FieldAsTrue(const FieldLayout& f, const std::uint8_t* p) {
  if (f.length < 1) return false;
  return *p == 'T' || *p == 't' || *p == 'Y' || *p == 'y';
}

std::string FieldAsDateTime(const FieldLayout& f, const std::uint8_t* p) {
  std::string blank(kDateTimeTextLength, ' ');
  std::int64_t julian = 0;
  std::int64_t seconds = 0;
  if (f.type == FieldLetter::kDate) {
    julian = FieldAsLong(f, p);
  } else if (f.type == FieldLetter::kDateTime) {
    julian = static_cast<std::int32_t>(LoadLe32(p));
    // Real tables hold times a millisecond short of the second that was meant.
    seconds = (std::int64_t{static_cast<std::int32_t>(LoadLe32(p + 4))} + 500) / 1000;
    if (seconds == 86400) {
      seconds = 0;
      ++julian;
    }
  }
  const auto date = DateFromJulian(julian);
  if (!date || seconds < 0 || seconds > 86399) return blank;
  std::string out = FormatDigits(*date);
  const auto two = [&out](std::int64_t v) {
    out.push_back(static_cast<char>('0' + v / 10));
    out.push_back(static_cast<char>('0' + v % 10));
  };
  two(seconds / 3600);
  out.push_back(':');
  two(seconds / 60 % 60);
  out.push_back(':');
  two(seconds % 60);
  return out;
}

std::optional<std::uint32_t> DecodeMemoBlock(const FieldLayout& f, const std::uint8_t* p) {
  if (f.length == 4) return LoadLe32(p);
  const std::string_view digits = Trimmed(View(p, f.length));
  if (digits.empty()) return 0;
  std::uint32_t block = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), block);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return block;
}

void EncodeMemoBlock(const FieldLayout& f, std::uint32_t block, std::uint8_t* p) {
  if (f.length == 4) {
    StoreLe32(p, block);
  } else if (block == 0) {
    std::fill_n(p, f.length, std::uint8_t{' '});
  } else {
    PutRight(std::to_string(block), f.length, p);
  }
}

bool EncodeDouble(const FieldLayout& f, double value, std::uint8_t* p) {
  if (!std::isfinite(value)) return false;
  switch (f.type) {
    case FieldLetter::kNumeric:
    case FieldLetter::kFloat: {
      std::array<char, 32> text;
      const std::size_t size = FormatFixed(value, f.decimals, f.length, text.data());
      if (size == 0) return false;
      PutRight({text.data(), size}, f.length, p);
      return true;
    }
    case FieldLetter::kInteger: {
      const double whole = std::nearbyint(value);
      if (whole < -2147483648.0 || whole > 2147483647.0) return false;
      StoreLe32(p, static_cast<std::uint32_t>(static_cast<std::int32_t>(whole)));
      return true;
    }
    case FieldLetter::kDouble:
      StoreLe64(p, std::bit_cast<std::uint64_t>(value));
      return true;
    case FieldLetter::kCurrency: {
      const auto scaled = CurrencyFromDouble(value);
      if (!scaled) return false;
      StoreLe64(p, static_cast<std::uint64_t>(*scaled));
      return true;
    }
    case FieldLetter::kDate:
    case FieldLetter::kDateTime:
      return EncodeLong(f, ClampToInt32(value), p);
    case FieldLetter::kCharacter:
    case FieldLetter::kCharacterBinary: {
      std::array<char, 64> text;
      const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
      const auto size = static_cast<std::size_t>(end - text.data());
      if (error != std::errc() || size > f.length) return false;
      PutRight({text.data(), size}, f.length, p);
      return true;
    }
    default:
      return false;
  }
}

bool EncodeLong(const FieldLayout& f, std::int32_t value, std::uint8_t* p) {
  switch (f.type) {
    case FieldLetter::kInteger:
      StoreLe32(p, static_cast<std::uint32_t>(value));
      return true;
    case FieldLetter::kDate: {
      if (value == 0) {
        std::fill_n(p, f.length, std::uint8_t{' '});
        return true;
      }
      const auto date = DateFromJulian(value);
      if (!date) return false;
      const std::string digits = FormatDigits(*date);
      std::copy(digits.begin(), digits.end(), p);
      return true;
    }
    case FieldLetter::kDateTime:
      if (value != 0 && !DateFromJulian(value)) return false;
      StoreLe32(p, static_cast<std::uint32_t>(value));
      StoreLe32(p + 4, 0);
      return true;
    default:
      return EncodeDouble(f, value, p);
  }
}

bool EncodeCurrency(const FieldLayout& f, std::int64_t ten_thousandths, std::uint8_t* p) {
  if (f.type == FieldLetter::kCurrency) {
    StoreLe64(p, static_cast<std::uint64_t>(ten_thousandths));
    return true;
  }
  return EncodeDouble(f, static_cast<double>(ten_thousandths) / 10000.0, p);
}

bool EncodeDateTime(const FieldLayout& f, std::string_view text, std::uint8_t* p) {
  if (f.type == FieldLetter::kDate) {
    // The field holds a day as it is written.
    const std::string_view digits = Trimmed(text);
    if (ParseDigits(digits)) {
      std::copy(digits.begin(), digits.end(), p);
      return true;
    }
  }
  const auto moment = ParseDateTime(text);
  if (!moment) return false;
  if (f.type == FieldLetter::kDate) return EncodeLong(f, moment->julian, p);
  if (f.type != FieldLetter::kDateTime) return false;
  StoreLe32(p, static_cast<std::uint32_t>(moment->julian));
  StoreLe32(p + 4, static_cast<std::uint32_t>(moment->milliseconds));
  return true;
}

bool EncodeText(const FieldLayout& f, std::string_view text, const CodePage& page,
                std::uint8_t* p) {
  switch (f.type) {
    case FieldLetter::kCharacter:
    case FieldLetter::kCharacterBinary:
    case FieldLetter::kGeneral:
    case FieldLetter::kPicture: {
      const std::size_t n = std::min<std::size_t>(text.size(), f.length);
      if (n > 0) std::memcpy(p, text.data(), n);
      std::memset(p + n, ' ', f.length - n);
      return true;
    }
    case FieldLetter::kUnicode:
      return EncodeUtf16(f, Utf16FromUtf8(page.Decode(text)), page, p);
    case FieldLetter::kNumeric:
    case FieldLetter::kFloat:
    case FieldLetter::kInteger:
    case FieldLetter::kDouble: {
      const std::string_view number = Trimmed(text);
      if (number.empty()) {
        EncodeBlank(f, p);
        return true;
      }
      bool fits = false;
      if ((f.type == FieldLetter::kNumeric || f.type == FieldLetter::kFloat) &&
          PutPlainNumber(f, number, p, &fits)) {
        return fits;
      }
      const auto value = ParseDouble(number);
      return value && EncodeDouble(f, *value, p);
    }
    case FieldLetter::kCurrency: {
      const auto value = Trimmed(text).empty() ? 0 : ParseCurrency(text);
      return value && EncodeCurrency(f, *value, p);
    }
    case FieldLetter::kDate:
    case FieldLetter::kDateTime:
      return EncodeDateTime(f, text, p);
    case FieldLetter::kLogical:
      if (Trimmed(text).empty()) {
        *p = ' ';
        return true;
      }
      if (std::string_view("TtYyFfNn?").find(text.front()) == std::string_view::npos) return false;
      *p = static_cast<std::uint8_t>(text.front());
      return true;
    default:
      return false;
  }
}

bool EncodeUtf16(const FieldLayout& f, std::u16string_view text, const CodePage& page,
                 std::uint8_t* p) {
  if (f.type != FieldLetter::kUnicode) {
    return EncodeText(f, page.Encode(Utf8FromUtf16(text)), page, p);
  }
  std::size_t units = std::min<std::size_t>(text.size(), f.length / 2U);
  // A pair that would be cut in half is left out whole.
  if (units < text.size() && units > 0 && text[units - 1] >= 0xD800 && text[units - 1] <= 0xDBFF) {
    --units;
  }
  std::fill_n(p, f.length, std::uint8_t{0});
  for (std::size_t i = 0; i < units; ++i) StoreLe16(p + 2 * i, text[i]);
  return true;
}

void EncodeBlank(const FieldLayout& f, std::uint8_t* p) {
  switch (f.type) {
    case FieldLetter::kInteger:
    case FieldLetter::kDouble:
    case FieldLetter::kCurrency:
    case FieldLetter::kDateTime:
    case FieldLetter::kUnicode:
    case FieldLetter::kVarchar:
    case FieldLetter::kVarbinary:
      std::fill_n(p, f.length, std::uint8_t{0});
      break;
    case FieldLetter::kMemo:
    case FieldLetter::kMemoBinary:
    case FieldLetter::kGeneral:
    case FieldLetter::kPicture:
      std::fill_n(p, f.length, f.length == 4 ? std::uint8_t{0} : std::uint8_t{' '});
      break;
    default:
      std::fill_n(p, f.length, std::uint8_t{' '});
      break;
  }
}

std::optional<std::int64_t> ParseCurrency(std::string_view text) {
  text = Trimmed(text);
  bool negative = false;
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  // Digits are gathered below zero, where the range reaches one further.
  std::int64_t value = 0;
  int decimals = -1;
  bool any = false;
  bool round_up = false;
  for (const char c : text) {
    if (c == '.' && decimals < 0) {
      decimals = 0;
      continue;
    }
    if (c < '0' || c > '9') return std::nullopt;
    any = true;
    if (decimals == 4) {
      round_up = c >= '5';
      decimals = 5;
    }
    if (decimals >= 5) continue;
    if (decimals >= 0) ++decimals;
    if (__builtin_mul_overflow(value, std::int64_t{10}, &value) ||
        __builtin_sub_overflow(value, std::int64_t{c - '0'}, &value)) {
      return std::nullopt;
    }
  }
  if (!any) return std::nullopt;
  for (int d = std::max(decimals, 0); d < 4; ++d) {
    if (__builtin_mul_overflow(value, std::int64_t{10}, &value)) return std::nullopt;
  }
  if (round_up && __builtin_sub_overflow(value, std::int64_t{1}, &value)) return std::nullopt;
  if (!negative && __builtin_sub_overflow(std::int64_t{0}, value, &value)) return std::nullopt;
  return value;
}

}  // namespace pv::engine
