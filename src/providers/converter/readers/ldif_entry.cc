// Attributes and distinguished names. Tested by ldif_book_test.cc.
#include "providers/converter/readers/ldif_entry.h"

#include "base/text.h"
#include "providers/converter/text/decode.h"

namespace pv::converter {

bool SplitLdifLine(std::string_view line, std::string_view* name, char* mark,
                   std::string_view* value) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos || colon == 0) return false;
  *name = line.substr(0, colon);
  std::string_view rest = line.substr(colon + 1);
  *mark = ' ';
  if (!rest.empty() && (rest.front() == ':' || rest.front() == '<')) {
    *mark = rest.front();
    rest.remove_prefix(1);
  }
  while (!rest.empty() && rest.front() == ' ') rest.remove_prefix(1);
  *value = rest;
  return true;
}

void LdifAttribute::Decode() {
  if (!base64 || !usable) return;
  base64 = false;
  auto bytes = DecodeBase64(value);
  usable = bytes.has_value();
  if (bytes) value = std::move(*bytes);
}

Result<bool> LdifEntryReader::Next(LdifAttribute* attribute) {
  LineReader::Line line;
  while (true) {
    if (!lines_->TryNext(&line)) {
      PV_ASSIGN_OR_RETURN(const bool more, lines_->Next(&line));
      if (!more) return false;
    }
    if (line.text.empty()) return false;
    std::string_view name;
    std::string_view value;
    char mark = ' ';
    // A continuation here belongs to a comment or to junk.
    if (line.text.front() == '#' || line.text.front() == ' ' ||
        !SplitLdifLine(line.text, &name, &mark, &value)) {
      continue;
    }
    const std::size_t option = name.find(';');
    attribute->options = option != std::string_view::npos;
    if (attribute->options) name = name.substr(0, option);
    char lower[64];
    if (name.size() > sizeof lower) continue;  // no attribute that anybody knows
    for (std::size_t i = 0; i < name.size(); ++i) lower[i] = LowerAscii(name[i]);
    name = {lower, name.size()};
    if (name == "dn") {
      if (had_dn_) {
        lines_->Seek(line.offset);
        return false;
      }
      had_dn_ = true;
    }
    attribute->meaning = MeaningOf(name, profile_);
    // The lines that continue it are passed over like those of a comment.
    const bool known = attribute->meaning.use != LdifUse::kNone && !attribute->options;
    if (which_ == Which::kMeaningful && !known) continue;
    attribute->name.assign(name);
    attribute->usable = mark != '<' && !line.cut;
    attribute->value.assign(value);
    while (true) {
      int first = lines_->TryPeek();
      if (first < 0) {
        PV_ASSIGN_OR_RETURN(first, lines_->Peek());
      }
      if (first != ' ') break;
      PV_RETURN_IF_ERROR(lines_->Next(&line).status());
      if (line.cut || attribute->value.size() + line.text.size() > LineReader::kLongest) {
        attribute->usable = false;
      }
      if (attribute->usable) attribute->value.append(line.text.substr(1));
    }
    attribute->base64 = mark == ':';
    return true;
  }
}

namespace {

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char low = LowerAscii(c);
  return low >= 'a' && low <= 'f' ? low - 'a' + 10 : -1;
}

}  // namespace

Dn ParseDn(std::string_view text) {
  Dn dn;
  std::size_t i = 0;
  while (i < text.size()) {
    std::string name;
    std::string value;
    while (i < text.size() && text[i] != '=' && text[i] != ',' && text[i] != ';') {
      name += LowerAscii(text[i++]);
    }
    std::size_t kept = 0;  // up to here blanks at the end belong to the value
    if (i < text.size() && text[i] == '=') {
      ++i;
      while (i < text.size() && text[i] == ' ') ++i;
      bool quoted = false;
      for (; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\\' && i + 1 < text.size()) {
          const int high = HexValue(text[i + 1]);
          const int low = i + 2 < text.size() ? HexValue(text[i + 2]) : -1;
          if (high >= 0 && low >= 0) {
            value += static_cast<char>(high * 16 + low);
            i += 2;
          } else {
            value += text[++i];
          }
          kept = value.size();
        } else if (c == '"' && (quoted || value.empty())) {
          quoted = !quoted;
          kept = value.size();
        } else if (!quoted && (c == ',' || c == ';' || c == '+')) {
          break;
        } else {
          value += c;
          if (c != ' ' || quoted) kept = value.size();
        }
      }
      value.resize(kept);
    }
    if (i < text.size()) ++i;  // the separator
    const std::string_view trimmed = TrimSpace(name);
    if (!trimmed.empty()) dn.emplace_back(trimmed, std::move(value));
  }
  return dn;
}

std::string_view DnPart(const Dn& dn, std::string_view attribute) {
  for (const auto& [name, value] : dn) {
    if (name == attribute) return value;
  }
  return {};
}

std::string NormalDn(std::string_view text) {
  std::string result;
  for (const auto& [name, value] : ParseDn(text)) {
    // What a name cannot hold parts them, so that two different names never look alike.
    result.append(name).append("\x01").append(ToLower(value)).append("\x02");
  }
  return result;
}

}  // namespace pv::converter
