// Numbers as text. Tested by number_text_test.cc.
#include "automation/number_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "base/text.h"

namespace pv::automation {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// A decimal number taken apart: (-1)^negative * 0.digits * 10^point.
struct Decimal {
  bool negative = false;
  std::string_view whole;
  std::string_view fraction;
  std::int64_t exponent = 0;
};

// Takes [sign] digits [. digits] [E or D [sign] digits] apart; false for anything else.
bool Split(std::string_view text, Decimal* out) {
  std::size_t i = 0;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) out->negative = text[i++] == '-';
  const std::size_t whole = i;
  while (i < text.size() && IsDigit(text[i])) ++i;
  out->whole = text.substr(whole, i - whole);
  if (i < text.size() && text[i] == '.') {
    const std::size_t fraction = ++i;
    while (i < text.size() && IsDigit(text[i])) ++i;
    out->fraction = text.substr(fraction, i - fraction);
  }
  if (out->whole.empty() && out->fraction.empty()) return false;
  if (i == text.size()) return true;
  if (std::string_view("EeDd").find(text[i]) == std::string_view::npos) return false;
  ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  if (i == text.size()) return false;
  for (; i < text.size(); ++i) {
    if (!IsDigit(text[i])) return false;
    if (out->exponent < 100'000) out->exponent = out->exponent * 10 + (text[i] - '0');
  }
  if (negative) out->exponent = -out->exponent;
  return true;
}

// "&H1F" and "&O17": 32 bits, the highest of which is the sign.
bool ReadPrefixed(std::string_view text, ReadNumber* result, double* value) {
  if (text.size() < 2 || text[0] != '&') return false;
  const char letter = text[1];
  const int base = letter == 'H' || letter == 'h' ? 16 : letter == 'O' || letter == 'o' ? 8 : 0;
  text.remove_prefix(2);
  std::uint64_t bits = 0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), bits, base == 0 ? 10 : base);
  if (base == 0 || text.empty() || end != text.data() + text.size()) {
    *result = ReadNumber::kNoNumber;
  } else if (error != std::errc() || bits > 0xFFFFFFFFU) {
    *result = ReadNumber::kTooLarge;
  } else {
    *value = static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
    *result = ReadNumber::kOk;
  }
  return true;
}

}  // namespace

ReadNumber DoubleFromText(std::string_view text, double* value) {
  text = TrimBlanks(text);
  ReadNumber prefixed = ReadNumber::kOk;
  if (ReadPrefixed(text, &prefixed, value)) return prefixed;
  Decimal parts;
  if (!Split(text, &parts)) return ReadNumber::kNoNumber;
  std::string plain(text[0] == '+' ? text.substr(1) : text);
  for (char& c : plain) {
    if (c == 'D' || c == 'd') c = 'E';
  }
  const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), *value);
  if (error == std::errc::result_out_of_range) {
    if (parts.exponent > 0 || parts.whole.size() > 300) return ReadNumber::kTooLarge;
    *value = 0;
    return ReadNumber::kOk;
  }
  if (error != std::errc() || end != plain.data() + plain.size()) return ReadNumber::kNoNumber;
  return ReadNumber::kOk;
}

ReadNumber CurrencyFromText(std::string_view text, std::int64_t* units) {
  text = TrimBlanks(text);
  double prefixed = 0;
  ReadNumber result = ReadNumber::kOk;
  if (ReadPrefixed(text, &result, &prefixed)) {
    *units = static_cast<std::int64_t>(prefixed) * 10'000;
    return result;
  }
  Decimal parts;
  if (!Split(text, &parts)) return ReadNumber::kNoNumber;
  const std::string digits = std::string(parts.whole) + std::string(parts.fraction);
  // The first `keep` digits make the units; the one behind them decides the rounding.
  const std::int64_t keep = static_cast<std::int64_t>(parts.whole.size()) + parts.exponent + 4;
  const auto digit = [&](std::int64_t i) {
    return i >= 0 && i < static_cast<std::int64_t>(digits.size())
               ? static_cast<std::uint64_t>(digits[static_cast<std::size_t>(i)] - '0')
               : 0U;
  };
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  std::uint64_t total = 0;
  const bool zero = digits.find_first_not_of('0') == std::string::npos;
  for (std::int64_t i = 0; !zero && i < keep; ++i) {
    if (total > kMost / 10) return ReadNumber::kTooLarge;
    total = total * 10 + digit(i);
    if (total > kMost + 1) return ReadNumber::kTooLarge;
  }
  if (keep >= 0) {
    const bool rest =
        keep + 1 < static_cast<std::int64_t>(digits.size()) &&
        digits.find_first_not_of('0', static_cast<std::size_t>(keep) + 1) != std::string::npos;
    const std::uint64_t next = digit(keep);
    if (next > 5 || (next == 5 && (rest || total % 2 == 1))) ++total;
  }
  if (total > kMost + (parts.negative ? 1 : 0)) return ReadNumber::kTooLarge;
  *units = static_cast<std::int64_t>(parts.negative ? 0 - total : total);
  return ReadNumber::kOk;
}

std::string TextFromDouble(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0 ? "-Infinity" : "Infinity";
  if (value == 0) return "0";
  std::array<char, 64> buffer;
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                          std::chars_format::scientific);
  std::string_view text(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
  std::string out;
  if (text[0] == '-') {
    out = "-";
    text.remove_prefix(1);
  }
  const std::size_t e = text.find('e');
  int exponent = 0;
  const std::size_t sign = text[e + 1] == '+' ? 2 : 1;
  std::from_chars(text.data() + e + sign, text.data() + text.size(), exponent);
  std::string digits(1, text[0]);
  if (e > 1) digits += text.substr(2, e - 2);
  const int count = static_cast<int>(digits.size());
  if (exponent >= 15 || count - 1 - exponent > 17 || exponent < -15) {
    out += digits[0];
    if (count > 1) out += "." + digits.substr(1);
    out += exponent < 0 ? "E-" : "E+";
    if (std::abs(exponent) < 10) out += '0';
    return out + std::to_string(std::abs(exponent));
  }
  if (exponent < 0)
    return out + "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  if (count <= exponent + 1) {
    return out + digits + std::string(static_cast<std::size_t>(exponent + 1 - count), '0');
  }
  const auto point = static_cast<std::size_t>(exponent) + 1;
  return out + digits.substr(0, point) + "." + digits.substr(point);
}

std::string TextFromCurrency(std::int64_t units) {
  const bool negative = units < 0;
  const std::uint64_t size =
      negative ? 0 - static_cast<std::uint64_t>(units) : static_cast<std::uint64_t>(units);
  std::string out = (negative ? "-" : "") + std::to_string(size / 10'000);
  if (size % 10'000 != 0) {
    std::string fraction = std::to_string(10'000 + size % 10'000).substr(1);
    while (fraction.back() == '0') fraction.pop_back();
    out += "." + fraction;
  }
  return out;
}

}  // namespace pv::automation
