// Numbers as decimal text. Tested by number_text_test.cc.
//
// Rounding works on the shortest decimal digits that name the double, not on its exact binary
// value: 1.005 rounds to 1.01, as the person who typed it expects and as programs of this family
// do, although the nearest double lies just below 1.005.
#include "tablestore/engine/expression/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "base/text.h"

namespace pv::engine::expr {
namespace {

// Powers of ten that a double holds exactly.
constexpr std::array<double, 23> kPowersOfTen = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                 1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// Below this every whole number is a double, and its quotient by an exact power is correctly
// rounded.
constexpr int kExactDigits = 15;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The value of digits and point at [first, last), which may end in an exponent.
double ParseSlow(const char* first, const char* last) {
  double value = 0;
  const auto result = std::from_chars(first, last, value);
  if (result.ec != std::errc::result_out_of_range) return value;
  // Out of range at which end? Compare the place of the first significant digit.
  std::int64_t place = 0;
  bool point = false;
  bool significant = false;
  const char* p = first;
  for (; p < last && (IsDigit(*p) || *p == '.'); ++p) {
    if (*p == '.') {
      point = true;
    } else if (significant || *p != '0') {
      significant = true;
      if (!point) ++place;
    } else if (point) {
      --place;
    }
  }
  std::int64_t exponent = 0;
  if (p < last && (*p == 'e' || *p == 'E')) {
    const bool negative = ++p < last && *p == '-';
    if (p < last && !IsDigit(*p)) ++p;
    for (; p < last && IsDigit(*p); ++p) {
      exponent = std::min<std::int64_t>(exponent * 10 + (*p - '0'), 1'000'000'000);
    }
    if (negative) exponent = -exponent;
  }
  return place + exponent > 0 ? std::numeric_limits<double>::infinity() : 0.0;
}

// 0.d1d2d3... x 10^exponent
struct Decimal {
  std::array<char, 20> digits{};
  int count = 0;
  int exponent = 0;
  bool negative = false;
};

Decimal ShortestDecimal(double value) {
  Decimal d;
  d.negative = std::signbit(value);
  std::array<char, 40> text;
  const auto result = std::to_chars(text.data(), text.data() + text.size(), std::fabs(value),
                                    std::chars_format::scientific);
  const char* p = text.data();
  for (; *p != 'e'; ++p) {
    if (*p != '.') d.digits[static_cast<std::size_t>(d.count++)] = *p;
  }
  ++p;
  if (*p == '+') ++p;
  std::from_chars(p, result.ptr, d.exponent);
  ++d.exponent;
  if (d.digits[0] == '0') d.count = 0;
  return d;
}

// Keeps `decimals` decimals, halves away from zero. A value that rounds to zero has no digits.
void Round(Decimal* d, int decimals) {
  const int kept = d->exponent + decimals;
  if (kept >= d->count) return;
  if (kept < 0) {
    d->count = 0;
    return;
  }
  const bool up = d->digits[static_cast<std::size_t>(kept)] >= '5';
  d->count = kept;
  if (!up) {
    return;
  }
  int i = kept - 1;
  while (i >= 0 && d->digits[static_cast<std::size_t>(i)] == '9') --i;
  if (i < 0) {
    d->digits[0] = '1';
    d->count = 1;
    ++d->exponent;
    return;
  }
  ++d->digits[static_cast<std::size_t>(i)];
  d->count = i + 1;
}

}  // namespace

double ParseLeadingNumber(std::string_view text) {
  const char* p = text.data();
  const char* const end = p + text.size();
  while (p < end && *p == ' ') ++p;
  bool negative = false;
  if (p < end && (*p == '-' || *p == '+')) negative = *p++ == '-';
  const char* const first = p;
  std::uint64_t mantissa = 0;
  int significant = 0;
  int decimals = 0;
  bool any = false;
  bool point = false;
  for (; p < end; ++p) {
    if (IsDigit(*p)) {
      any = true;
      if (mantissa != 0 || *p != '0') ++significant;
      if (significant <= kExactDigits) {
        mantissa = mantissa * 10 + static_cast<std::uint64_t>(*p - '0');
      }
      if (point) ++decimals;
    } else if (*p == '.' && !point) {
      point = true;
    } else {
      break;
    }
  }
  if (!any) return 0;
  const bool may_have_exponent = p < end && (*p == 'e' || *p == 'E');
  double value;
  if (significant <= kExactDigits && !may_have_exponent &&
      decimals < static_cast<int>(kPowersOfTen.size())) {
    value = static_cast<double>(mantissa) / kPowersOfTen[static_cast<std::size_t>(decimals)];
  } else {
    value = ParseSlow(first, end);
  }
  return negative ? -value : value;
}

std::optional<double> ParseWholeNumber(std::string_view text) {
  text = TrimBlanks(text);
  std::string_view body = text;
  if (!body.empty() && (body.front() == '-' || body.front() == '+')) body.remove_prefix(1);
  bool any = false;
  bool point = false;
  for (const char c : body) {
    if (IsDigit(c)) {
      any = true;
    } else if (c == '.' && !point) {
      point = true;
    } else {
      return std::nullopt;
    }
  }
  if (!any) return std::nullopt;
  const double value = ParseLeadingNumber(text);
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<std::int64_t> ParseWholeScaled(std::string_view text, int decimals) {
  if (!ParseWholeNumber(text)) return std::nullopt;
  text = TrimBlanks(text);
  const bool negative = text.front() == '-';
  // Counted below zero, where there is room for the smallest value.
  constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
  std::int64_t value = 0;
  const auto add = [&value](char digit) {
    const int d = digit - '0';
    if (value < kSmallest / 10 || value * 10 < kSmallest + d) return false;
    value = value * 10 - d;
    return true;
  };
  bool point = false;
  for (const char c : text) {
    if (c == '.') point = true;
    if (!IsDigit(c)) continue;
    if (point && decimals == 0) {
      if (c != '0') return std::nullopt;
      continue;
    }
    if (!add(c)) return std::nullopt;
    if (point) --decimals;
  }
  for (; decimals > 0; --decimals) {
    if (!add('0')) return std::nullopt;
  }
  if (negative) return value;
  if (value == kSmallest) return std::nullopt;
  return -value;
}

void FormatNumber(double value, int decimals, char* out, std::size_t size) {
  // Whole numbers without decimals are what STR mostly gets in keys.
  if (decimals <= 0 && value == std::trunc(value) && std::fabs(value) < kPowersOfTen[15]) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                   static_cast<std::int64_t>(value))
                         .ptr;
    const auto used = static_cast<std::size_t>(end - digits.data());
    if (used <= size) {
      std::memset(out, ' ', size - used);
      std::memcpy(out + (size - used), digits.data(), used);
      return;
    }
  }
  const Decimal exact = ShortestDecimal(value);
  const int room = static_cast<int>(size);
  decimals = std::clamp(decimals, 0, room);
  while (true) {
    Decimal d = exact;
    Round(&d, decimals);
    const bool minus = d.negative && d.count > 0;
    const int whole = d.count > 0 ? std::max(1, d.exponent) : 1;
    const int used = (minus ? 1 : 0) + whole + (decimals > 0 ? decimals + 1 : 0);
    if (used > room) {
      if (decimals == 0) {
        std::memset(out, '*', size);
        return;
      }
      // With fewer decimals the value may lose its sign, and with it one byte.
      decimals = std::clamp(decimals - (used - room) + 1, 0, decimals - 1);
      continue;
    }
    char* p = out;
    std::memset(p, ' ', size - static_cast<std::size_t>(used));
    p += room - used;
    if (minus) *p++ = '-';
    // Digit number `i` stands for 10^(exponent - 1 - i).
    const auto digit = [&d](int i) {
      return i >= 0 && i < d.count ? d.digits[static_cast<std::size_t>(i)] : '0';
    };
    const int exponent = d.count > 0 ? d.exponent : 0;
    for (int i = 0; i < whole; ++i) *p++ = digit(exponent - whole + i);
    if (decimals > 0) {
      *p++ = '.';
      for (int i = 0; i < decimals; ++i) *p++ = digit(exponent + i);
    }
    return;
  }
}

double RoundDecimals(double value, int decimals) {
  Decimal d = ShortestDecimal(value);
  if (d.count == 0 || d.exponent + static_cast<std::int64_t>(decimals) >= d.count) return value;
  if (d.exponent + static_cast<std::int64_t>(decimals) < 0) return 0;
  Round(&d, decimals);
  if (d.count == 0) return 0;
  std::array<char, 48> text;
  char* p = text.data();
  if (d.negative) *p++ = '-';
  p = std::copy_n(d.digits.data(), d.count, p);
  *p++ = 'e';
  p = std::to_chars(p, text.data() + text.size(), d.exponent - d.count).ptr;
  double rounded = 0;
  const auto result = std::from_chars(text.data(), p, rounded);
  if (result.ec == std::errc::result_out_of_range) {
    return d.exponent > 0 ? std::numeric_limits<double>::infinity() : 0.0;
  }
  return rounded;
}

}  // namespace pv::engine::expr
