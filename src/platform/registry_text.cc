// Reads and writes a registry's text form. Tested by registry_text_test.cc.
#include "platform/registry_text.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "base/bytes.h"
#include "base/text.h"

namespace pv::platform {
namespace {

constexpr std::string_view kHeading = "pvgroup registry 1";
constexpr std::string_view kHexDigits = "0123456789ABCDEF";

bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7F;
}

bool HasControl(std::string_view text) { return std::any_of(text.begin(), text.end(), IsControl); }

std::optional<unsigned> HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  return std::nullopt;
}

// Reads one line from left to right. What fails leaves the reason in `fault`.
class LineReader {
 public:
  explicit LineReader(std::string_view line) : rest_(line) {}

  const char* fault = nullptr;

  bool AtEnd() const { return rest_.empty(); }

  void SkipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size())); }

  bool Take(std::string_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
  }

  std::optional<std::string> Quoted() {
    if (!Take("\"")) return Fail("a text in quotes is missing");
    std::string text;
    while (!rest_.empty()) {
      const char c = Next();
      if (c == '"') return text;
      if (IsControl(c)) return Fail("a control character stands in a text");
      if (c != '\\') {
        text += c;
        continue;
      }
      const char escaped = rest_.empty() ? '\0' : Next();
      switch (escaped) {
        case '\\':
        case '"':
          text += escaped;
          break;
        case 'n':
          text += '\n';
          break;
        case 'r':
          text += '\r';
          break;
        case 't':
          text += '\t';
          break;
        case 'x': {
          const std::optional<unsigned> byte = Byte();
          if (!byte || !IsControl(static_cast<char>(*byte)) || *byte == 0) {
            return Fail("\"\\x\" is not followed by the number of a control character");
          }
          text += static_cast<char>(*byte);
          break;
        }
        default:
          return Fail("an unknown character follows \"\\\"");
      }
    }
    return Fail("a text has no closing quote");
  }

  std::optional<std::uint32_t> Number() {
    std::uint32_t number = 0;
    const char* const end = rest_.data() + rest_.size();
    const auto [stop, error] = std::from_chars(rest_.data(), end, number);
    if (error != std::errc()) {
      fault = "a number from 0 to 4294967295 is missing";
      return std::nullopt;
    }
    rest_.remove_prefix(static_cast<std::size_t>(stop - rest_.data()));
    return number;
  }

  // Pairs of hexadecimal digits with blanks between them, to the end of the line.
  std::optional<std::string> Bytes() {
    std::string bytes;
    for (SkipBlanks(); !AtEnd(); SkipBlanks()) {
      const std::optional<unsigned> byte = Byte();
      if (!byte) return Fail("bytes are not written as pairs of hexadecimal digits");
      bytes += static_cast<char>(*byte);
      if (!AtEnd() && rest_.front() != ' ' && rest_.front() != '\t') {
        return Fail("bytes are not parted by blanks");
      }
    }
    return bytes;
  }

  std::nullopt_t Fail(const char* why) {
    fault = why;
    return std::nullopt;
  }

 private:
  char Next() {
    const char c = rest_.front();
    rest_.remove_prefix(1);
    return c;
  }

  std::optional<unsigned> Byte() {
    if (rest_.size() < 2) return std::nullopt;
    const auto high = HexDigit(rest_[0]);
    const auto low = HexDigit(rest_[1]);
    if (!high || !low) return std::nullopt;
    rest_.remove_prefix(2);
    return *high << 4 | *low;
  }

  std::string_view rest_;
};

// The key that "[...]" names, made when missing; null with the reason in *fault. Each may be named
// once only.
RegistryNode* ReadKeyLine(std::string_view line, RegistryNode* root, const char** fault) {
  std::string_view path = line.substr(1, line.size() - 2);
  RegistryNode* node = root;
  std::size_t depth = 0;
  for (bool more = true; more; ++depth) {
    const std::size_t end = path.find('\\');
    more = end != std::string_view::npos;
    const std::string_view name = path.substr(0, end);
    path.remove_prefix(more ? end + 1 : path.size());
    if (depth == 0 && !IsStoredRoot(name)) {
      *fault = "the path begins with no predefined key";
      return nullptr;
    }
    if (!IsKeyName(name)) {
      *fault = "a key cannot have this name";
      return nullptr;
    }
    if (depth == kDeepestKey) {
      *fault = "the key lies too deep";
      return nullptr;
    }
    node = node->FindOrAddKey(name);
  }
  return node;
}

// Reads "NAME = TYPE DATA"; false with the reason in the reader.
bool ReadValueLine(LineReader* line, std::string* name, RegistryValue* value) {
  if (line->Take("@")) {
    name->clear();
  } else {
    const std::optional<std::string> quoted = line->Quoted();
    if (!quoted) return false;
    if (quoted->empty() || !IsValueName(*quoted)) {
      line->fault = "a value cannot have this name";
      return false;
    }
    *name = *quoted;
  }
  line->SkipBlanks();
  if (!line->Take("=")) {
    line->fault = "\"=\" is missing";
    return false;
  }
  line->SkipBlanks();
  if (line->Take("bytes(")) {
    const std::optional<std::uint32_t> type = line->Number();
    if (!type) return false;
    if (!line->Take(")")) {
      line->fault = "\")\" is missing";
      return false;
    }
    std::optional<std::string> bytes = line->Bytes();
    if (!bytes) return false;
    *value = {*type, *std::move(bytes)};
    return true;
  }
  const bool is_text = line->Take("text");
  if (is_text || line->Take("expand")) {
    line->SkipBlanks();
    const std::optional<std::string> text = line->Quoted();
    if (!text) return false;
    if (!IsValidUtf8(*text)) {
      line->fault = "a text is not UTF-8";
      return false;
    }
    *value = {is_text ? kRegistryText : kRegistryExpandable, *text + '\0'};
  } else if (line->Take("number")) {
    line->SkipBlanks();
    const std::optional<std::uint32_t> number = line->Number();
    if (!number) return false;
    *value = {kRegistryNumber, std::string(4, '\0')};
    StoreLe32(value->data.data(), *number);
  } else {
    line->fault = "the type is none of text, expand, number and bytes(TYPE)";
    return false;
  }
  line->SkipBlanks();
  if (!line->AtEnd()) line->fault = "more follows the value";
  return line->AtEnd();
}

void AppendQuoted(std::string* out, std::string_view text) {
  *out += '"';
  for (const char c : text) {
    switch (c) {
      case '\\':
      case '"':
        *out += '\\';
        *out += c;
        break;
      case '\n':
        *out += "\\n";
        break;
      case '\r':
        *out += "\\r";
        break;
      case '\t':
        *out += "\\t";
        break;
      default:
        if (IsControl(c)) {
          *out += "\\x";
          *out += kHexDigits[static_cast<unsigned char>(c) >> 4];
          *out += kHexDigits[static_cast<unsigned char>(c) & 15];
        } else {
          *out += c;
        }
    }
  }
  *out += '"';
}

// True for well-formed text whose only zero is its last byte.
bool IsPlainText(std::string_view data) {
  return !data.empty() && data.find('\0') == data.size() - 1 && IsValidUtf8(data);
}

void AppendValue(std::string* out, const RegistryValue& value) {
  const std::string_view data = value.data;
  if ((value.type == kRegistryText || value.type == kRegistryExpandable) && IsPlainText(data)) {
    *out += value.type == kRegistryText ? "text " : "expand ";
    AppendQuoted(out, data.substr(0, data.size() - 1));
  } else if (value.type == kRegistryNumber && data.size() == 4) {
    out->append("number ").append(std::to_string(LoadLe32(data.data())));
  } else {
    out->append("bytes(").append(std::to_string(value.type)).append(")");
    for (const char c : data) {
      *out += ' ';
      *out += kHexDigits[static_cast<unsigned char>(c) >> 4];
      *out += kHexDigits[static_cast<unsigned char>(c) & 15];
    }
  }
  *out += '\n';
}

void AppendKey(std::string* out, const RegistryNode& node, const std::string& path, bool is_root) {
  if (!node.values.empty() || (node.keys.empty() && !is_root)) {
    out->append("\n[").append(path).append("]\n");
    for (const auto& [name, value] : node.values) {
      if (name.empty()) {
        *out += '@';
      } else {
        AppendQuoted(out, name);
      }
      *out += " = ";
      AppendValue(out, value);
    }
  }
  for (const auto& [key, below] : node.keys) {
    AppendKey(out, *below, path + '\\' + below->name, false);
  }
}

}  // namespace

RegistryNode* RegistryNode::FindKey(std::string_view key) const {
  const auto it = keys.find(ToUpper(key));
  return it == keys.end() ? nullptr : it->second.get();
}

RegistryNode* RegistryNode::FindOrAddKey(std::string_view key) {
  std::unique_ptr<RegistryNode>& place = keys[ToUpper(key)];
  if (place == nullptr) {
    place = std::make_unique<RegistryNode>();
    place->name = key;
  }
  return place.get();
}

std::size_t RegistryNode::FindValue(std::string_view value) const {
  std::size_t i = 0;
  while (i < values.size() && !EqualsIgnoreCase(values[i].first, value)) ++i;
  return i;
}

bool IsKeyName(std::string_view name) {
  return !name.empty() && name.find('\\') == std::string_view::npos && !HasControl(name) &&
         IsValidUtf8(name) && Utf16Length(name) <= kLongestKeyName;
}

bool IsValueName(std::string_view name) {
  return name.find('\0') == std::string_view::npos && IsValidUtf8(name) &&
         Utf16Length(name) <= kLongestValueName;
}

bool IsStoredRoot(std::string_view name) {
  return name == "HKEY_CURRENT_CONFIG" || name == "HKEY_CURRENT_USER" ||
         name == "HKEY_LOCAL_MACHINE" || name == "HKEY_USERS";
}

Result<std::unique_ptr<RegistryNode>> ReadRegistryText(std::string_view text,
                                                       const std::string& file) {
  auto root = std::make_unique<RegistryNode>();
  if (text.empty()) return root;
  RegistryNode* key = nullptr;
  std::size_t number = 0;
  const auto damaged = [&](const std::string& why) {
    return Status(StatusCode::kCorrupt, file + ": line " + std::to_string(number) + ": " + why,
                  kRegistryDamaged);
  };
  while (!text.empty()) {
    ++number;
    const std::size_t end = text.find('\n');
    // Every line is closed, so that one cut short is noticed.
    if (end == std::string_view::npos) return damaged("the last line is cut short");
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t' || line.back() == '\r')) {
      line.remove_suffix(1);
    }
    if (number == 1) {
      if (line != kHeading) return damaged("the heading is not \"" + std::string(kHeading) + "\"");
      continue;
    }
    LineReader reader(line);
    reader.SkipBlanks();
    if (reader.AtEnd()) continue;
    if (line.front() == '[') {
      if (line.back() != ']') return damaged("\"]\" is missing");
      key = ReadKeyLine(line, root.get(), &reader.fault);
      if (key == nullptr) return damaged(reader.fault);
      if (!key->values.empty()) return damaged("the key is there already");
      continue;
    }
    if (key == nullptr) return damaged("a value stands before the first key");
    std::string name;
    RegistryValue value;
    if (!ReadValueLine(&reader, &name, &value)) return damaged(reader.fault);
    if (key->FindValue(name) != key->values.size()) return damaged("the value is there already");
    key->values.emplace_back(std::move(name), std::move(value));
  }
  return root;
}

std::string WriteRegistryText(const RegistryNode& root) {
  std::string text(kHeading);
  text += '\n';
  for (const auto& [name, key] : root.keys) AppendKey(&text, *key, key->name, true);
  return text;
}

}  // namespace pv::platform
