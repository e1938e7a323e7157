// Reads field definitions and column mappings. Tested by import_options_test.cc.
#include "cli/import/import_options.h"

#include <charconv>

#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/field_names.h"

namespace pv::cli {
namespace {

struct TypeWord {
  std::string_view word;
  char type;
};
constexpr TypeWord kTypeWords[] = {
    {"c", 'C'},       {"text", 'C'},    {"char", 'C'},       {"character", 'C'}, {"z", 'Z'},
    {"binary", 'Z'},  {"w", 'W'},       {"unicode", 'W'},    {"n", 'N'},         {"number", 'N'},
    {"numeric", 'N'}, {"f", 'F'},       {"float", 'F'},      {"i", 'I'},         {"integer", 'I'},
    {"int", 'I'},     {"b", 'B'},       {"double", 'B'},     {"y", 'Y'},         {"currency", 'Y'},
    {"money", 'Y'},   {"d", 'D'},       {"date", 'D'},       {"t", 'T'},         {"datetime", 'T'},
    {"l", 'L'},       {"logical", 'L'}, {"bool", 'L'},       {"boolean", 'L'},   {"m", 'M'},
    {"memo", 'M'},    {"x", 'X'},       {"memobinary", 'X'},
};

[[noreturn]] void BadField(const std::string& text, const std::string& why) {
  throw Failure(kUsage, "field \"" + text + "\": " + why);
}

std::size_t ParseSize(const std::string& text, std::string_view digits) {
  std::size_t value = 0;
  digits = TrimBlanks(digits);
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size()) {
    BadField(text, "\"" + std::string(digits) + "\" is no number");
  }
  return value;
}

// Lengths: characters for Unicode fields, bytes for others.
FieldShape ShapeFor(const std::string& text, char type, std::optional<std::size_t> length,
                    std::optional<std::size_t> decimals) {
  const auto within = [&](std::size_t value, std::size_t most) {
    if (value < 1 || value > most) {
      BadField(text, "the length must be from 1 to " + std::to_string(most));
    }
    return value;
  };
  switch (type) {
    case 'C':
    case 'Z':
      return {type, within(length.value_or(50), kMaxTextBytes), 0};
    case 'W':
      return {type, within(length.value_or(50), kMaxUnicodeUnits) * 2, 0};
    case 'N':
    case 'F': {
      const std::size_t width = within(length.value_or(10), kMaxNumberWidth);
      const std::size_t places = decimals.value_or(0);
      if (places > 0 && places + 2 > width) {
        BadField(text, std::to_string(places) + " decimals do not fit a length of " +
                           std::to_string(width));
      }
      return {type, width, places};
    }
    default:
      break;
  }
  if (length) BadField(text, "a field of this type has no length");
  const std::size_t fixed = type == 'L' ? 1 : type == 'I' || type == 'M' || type == 'X' ? 4 : 8;
  return {type, fixed, type == 'Y' ? std::size_t{4} : std::size_t{0}};
}

FieldShape ParseType(const std::string& text, std::string_view type) {
  std::optional<std::size_t> length, decimals;
  const std::size_t open = type.find('(');
  if (open != type.npos) {
    if (type.back() != ')') BadField(text, "the closing parenthesis is missing");
    const std::string_view inner = type.substr(open + 1, type.size() - open - 2);
    const std::size_t comma = inner.find_first_of(",.");
    length = ParseSize(text, inner.substr(0, comma));
    if (comma != inner.npos) decimals = ParseSize(text, inner.substr(comma + 1));
    type = type.substr(0, open);
  }
  const std::string word = ToLower(TrimBlanks(type));
  for (const TypeWord& known : kTypeWords) {
    if (known.word != word) continue;
    if (decimals && known.type != 'N' && known.type != 'F') {
      BadField(text, "a field of this type has no decimals");
    }
    return ShapeFor(text, known.type, length, decimals);
  }
  BadField(text, "the type \"" + std::string(type) + "\" is not known");
}

void CheckFieldName(const std::string& text, std::string_view name) {
  bool sound = !name.empty() && name.size() <= kFieldNameLimit;
  for (std::size_t i = 0; sound && i < name.size(); ++i) {
    const char32_t c = ToUpper(static_cast<char32_t>(static_cast<unsigned char>(name[i])));
    sound = (c >= 'A' && c <= 'Z') || (i > 0 && ((c >= '0' && c <= '9') || c == '_'));
  }
  if (!sound) {
    BadField(text,
             "a name begins with a letter and has at most ten letters, digits and underscores");
  }
}

}  // namespace

FieldDefinition ParseFieldDefinition(const std::string& text) {
  const std::size_t colon = text.find(':');
  FieldDefinition definition;
  definition.name = TrimBlanks(std::string_view(text).substr(0, colon));
  CheckFieldName(text, definition.name);
  definition.shape = colon == text.npos ? FieldShape{'C', 50, 0}
                                        : ParseType(text, std::string_view(text).substr(colon + 1));
  return definition;
}

ColumnMapping ParseMapping(const std::string& text) {
  // The last "=": a heading may hold one, a field's name cannot.
  const std::size_t equals = text.rfind('=');
  if (equals == text.npos || equals == 0) {
    throw Failure(kUsage, "--map \"" + text + "\": it must read COLUMN=FIELD");
  }
  ColumnMapping mapping;
  mapping.column = TrimBlanks(std::string_view(text).substr(0, equals));
  const std::string field(TrimBlanks(std::string_view(text).substr(equals + 1)));
  if (field.empty()) return mapping;
  const FieldDefinition definition = ParseFieldDefinition(field);
  mapping.field = definition.name;
  if (field.find(':') != field.npos) mapping.shape = definition.shape;
  return mapping;
}

}  // namespace pv::cli
