// Attributes and distinguished names. Tested by ldif_book_test.cc.
#include "providers/converter/readers/ldif_entry.h"

#include "base/text.h"
#include "providers/converter/text/decode.h"

namespace pv::converter {

void LdifAttribute::Decode() {
  if (!base64 || !usable) return;
  base64 = false;
  std::string bytes;
  usable = DecodeBase64(value, &bytes);
  memory = std::move(bytes);
  if (usable) value = memory;
}

Result<bool> LdifEntryReader::Next(LdifAttribute* attribute) {
  LineReader::Line line;
  while (true) {
    const auto wanted = [this](std::string_view text) {
      return filter_ == nullptr || text.empty() || filter_->MayBegin(text);
    };
    if (!lines_->TryNext(&line, wanted)) {
      PV_ASSIGN_OR_RETURN(const bool more, lines_->Next(&line));
      if (!more) return false;
    }
    if (line.text.empty()) return false;
    std::string_view name;
    std::string_view value;
    char mark = ' ';
    // A continuation here belongs to a comment or to junk.
    if (line.text.front() == '#' || line.text.front() == ' ' ||
        !SplitLdifLine(line.text, &name, &attribute->options, &mark, &value)) {
      continue;
    }
    if (IsNamed(name, "dn")) {
      if (had_dn_) {
        lines_->Seek(line.offset);
        return false;
      }
      had_dn_ = true;
      if (filter_ != nullptr) continue;
    }
    attribute->meaning = MeaningOf(name, profile_);
    // The lines that continue it are passed over like those of a comment.
    if (filter_ != nullptr) {
      const bool known = attribute->meaning.use != LdifUse::kNone && !attribute->options;
      if (!known || !filter_->wanted().Has(attribute->meaning.tag)) continue;
    }
    attribute->name = name;
    attribute->value = value;
    attribute->base64 = mark == ':';
    attribute->usable = mark != '<' && !line.cut;
    const int first = lines_->TryPeek();
    if (first < 0 || first == ' ') PV_RETURN_IF_ERROR(Unfold(attribute));
    return true;
  }
}

// Joins the value and the lines that continue it, if any do: that cannot be seen at the end of what
// the line reader holds.
Status LdifEntryReader::Unfold(LdifAttribute* attribute) {
  folded_name_.assign(attribute->name);
  attribute->memory.assign(attribute->value);
  while (true) {
    PV_ASSIGN_OR_RETURN(const int first, lines_->Peek());
    if (first != ' ') break;
    LineReader::Line line;
    PV_RETURN_IF_ERROR(lines_->Next(&line).status());
    if (line.cut || attribute->memory.size() + line.text.size() > LineReader::kLongest) {
      attribute->usable = false;
    }
    if (attribute->usable) attribute->memory.append(line.text.substr(1));
  }
  attribute->name = folded_name_;
  attribute->value = attribute->memory;
  return Status::Ok();
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
