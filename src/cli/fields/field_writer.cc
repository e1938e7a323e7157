// Writes values into the record buffer. Tested by record_test.cc.
#include <array>
#include <charconv>

#include "base/text.h"
#include "cli/fields/record.h"

namespace pv::cli {
namespace {

// Digits as the table store reads them: with a point, without zeros that mean nothing.
std::string PlainDigits(std::string_view text, const NumberShape& shape) {
  std::string_view whole = text.substr(shape.negative ? 1 : 0, shape.whole);
  std::string_view fraction = shape.decimals > 0 ? text.substr(text.size() - shape.decimals) : "";
  while (whole.size() > 1 && whole.front() == '0') whole.remove_prefix(1);
  while (!fraction.empty() && fraction.back() == '0') fraction.remove_suffix(1);
  std::string digits = shape.negative && (whole != "0" || !fraction.empty()) ? "-" : "";
  digits += whole;
  if (!fraction.empty()) digits.append(".").append(fraction);
  return digits;
}

// The number that a field shows, without the zeros that fill its decimals.
std::string_view StoredDigits(const RecordField& field) {
  const std::uint8_t* p = engine::f4ptr(field.handle);
  if (p == nullptr) return {};
  std::string_view text = TrimBlanks({reinterpret_cast<const char*>(p), field.shape.length});
  if (text.find('.') != text.npos) {
    while (text.back() == '0') text.remove_suffix(1);
    if (text.back() == '.') text.remove_suffix(1);
  }
  return text;
}

char* PutDigits(char* p, std::int32_t value, int count) {
  for (int i = count; i-- > 0; value /= 10) p[i] = static_cast<char>('0' + value % 10);
  return p + count;
}

}  // namespace

bool FieldWriter::CanWrite(char type) {
  return std::string_view("CZWNFIBYDTLMX").find(type) != std::string_view::npos;
}

bool FieldWriter::Refuse(std::string* reason, const std::string& why) const {
  *reason = field_.name + ": " + why;
  return false;
}

bool FieldWriter::Write(std::string_view text, std::string* reason) {
  const char type = field_.shape.type;
  switch (type) {
    case 'C':
    case 'Z':
      return WriteCharacters(text, reason);
    case 'W':
      return WriteUnicode(text, reason);
    case 'M':
    case 'X':
      return WriteMemo(text, reason);
    default:
      break;
  }
  text = TrimBlanks(text);
  if (text.empty()) {
    engine::f4assignNull(field_.handle);
    return true;
  }
  switch (type) {
    case 'D':
    case 'T':
      return WriteMoment(text, reason);
    case 'L': {
      const std::optional<bool> value = ReadBoolean(text);
      if (!value) return Refuse(reason, "not a yes or no value");
      engine::f4assignCharVB(field_.handle, *value ? "T" : "F");
      return true;
    }
    default:
      return WriteNumber(text, reason);
  }
}

bool FieldWriter::WriteCharacters(std::string_view text, std::string* reason) {
  text = TrimRight(text);
  std::string_view bytes;
  if (!encoder_->Encode(text, &scratch_, &bytes)) {
    return Refuse(reason,
                  "a character is not in code page " + std::to_string(encoder_->page().number()));
  }
  if (bytes.size() > field_.shape.length) {
    return Refuse(reason, "the text has " + std::to_string(bytes.size()) + " bytes, the field " +
                              std::to_string(field_.shape.length));
  }
  engine::f4assignNVB(field_.handle, bytes, static_cast<std::int32_t>(bytes.size()));
  return true;
}

bool FieldWriter::WriteUnicode(std::string_view text, std::string* reason) {
  if (text.find('\0') != text.npos) return Refuse(reason, "the text holds a zero character");
  const std::u16string units = Utf16FromUtf8(text);
  if (units.size() * 2 > field_.shape.length) {
    return Refuse(reason, "the text has " + std::to_string(units.size()) +
                              " characters, the field " + std::to_string(field_.shape.length / 2));
  }
  engine::f4assignUnicode(field_.handle, units.c_str());
  return true;
}

bool FieldWriter::WriteMemo(std::string_view text, std::string* reason) {
  std::string_view bytes;
  if (!encoder_->Encode(text, &scratch_, &bytes)) {
    return Refuse(reason,
                  "a character is not in code page " + std::to_string(encoder_->page().number()));
  }
  engine::f4memoAssign(field_.handle, bytes);
  return true;
}

bool FieldWriter::WriteNumber(std::string_view text, std::string* reason) {
  NumberShape shape;
  if (ReadNumber(text, reading_.decimal, &shape)) return WriteDecimal(text, shape, reason);
  if (field_.shape.type == 'B') {
    // A double may be written with an exponent.
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size()) {
      engine::f4assignDouble(field_.handle, value);
      return true;
    }
  }
  return Refuse(reason, "not a number");
}

bool FieldWriter::WriteDecimal(std::string_view text, const NumberShape& shape,
                               std::string* reason) {
  const std::string digits = PlainDigits(text, shape);
  const std::size_t point = std::min(digits.find('.'), digits.size());
  const std::size_t decimals = point < digits.size() ? digits.size() - point - 1 : 0;
  const char type = field_.shape.type;
  const std::size_t most_decimals = type == 'I' ? 0 : type == 'Y' ? 4 : field_.shape.decimals;
  if (type != 'B' && decimals > most_decimals) {
    return Refuse(reason, "the number has " + std::to_string(decimals) + " decimals, the field " +
                              std::to_string(most_decimals));
  }
  switch (type) {
    case 'I': {
      std::int32_t value = 0;
      const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
      if (result.ec != std::errc()) return Refuse(reason, "the number is out of range");
      engine::f4assignLong(field_.handle, value);
      return true;
    }
    case 'Y':
      // 18 digits in all is what a currency value always holds.
      if (point > 14) return Refuse(reason, "the number is out of range");
      engine::f4assignCurrency(field_.handle, digits);
      return true;
    case 'B': {
      double value = 0;
      std::from_chars(digits.data(), digits.data() + digits.size(), value);
      engine::f4assignDouble(field_.handle, value);
      return true;
    }
    default:
      break;
  }
  const std::size_t fraction = field_.shape.decimals > 0 ? field_.shape.decimals + 1 : 0;
  if (point + fraction > field_.shape.length) {
    return Refuse(reason,
                  "the number does not fit a width of " + std::to_string(field_.shape.length));
  }
  engine::f4assignNVB(field_.handle, digits, static_cast<std::int32_t>(digits.size()));
  // Beyond what a double holds the last digits would change.
  if (digits.size() > kMaxNumberDigits && StoredDigits(field_) != digits) {
    return Refuse(reason, "the number has more digits than can be kept");
  }
  return true;
}

bool FieldWriter::WriteMoment(std::string_view text, std::string* reason) {
  std::optional<CivilDateTime> moment = ReadMoment(text, kYmd);
  if (!moment && reading_.order != kNoOrder) moment = ReadMoment(text, reading_.order);
  if (!moment) return Refuse(reason, "not a date");
  const bool timed = moment->hour != 0 || moment->minute != 0 || moment->second != 0;
  if (field_.shape.type == 'D' && timed) {
    return Refuse(reason, "the field holds no time of day");
  }
  std::array<char, 16> digits;
  char* p = PutDigits(digits.data(), moment->date.year, 4);
  p = PutDigits(p, moment->date.month, 2);
  p = PutDigits(p, moment->date.day, 2);
  if (field_.shape.type == 'T') {
    p = PutDigits(p, moment->hour, 2);
    *p++ = ':';
    p = PutDigits(p, moment->minute, 2);
    *p++ = ':';
    p = PutDigits(p, moment->second, 2);
  }
  engine::f4assignDateTime(field_.handle,
                           {digits.data(), static_cast<std::size_t>(p - digits.data())});
  return true;
}

}  // namespace pv::cli
