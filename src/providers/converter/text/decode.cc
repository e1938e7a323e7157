// Foreign bytes to UTF-8. Tested by decode_test.cc.
#include "providers/converter/text/decode.h"

#include <array>
#include <charconv>
#include <memory>

#include "base/text.h"
#include "platform/system.h"

namespace pv::converter {
namespace {

constexpr std::string_view kSpace = " \t\r\n";

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char low = LowerAscii(c);
  return low >= 'a' && low <= 'f' ? low - 'a' + 10 : -1;
}

std::string DecodeQuoted(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '_') {
      bytes += ' ';
    } else if (text[i] == '=' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 &&
               HexDigit(text[i + 2]) >= 0) {
      bytes += static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2]));
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

// The bytes as text of a character set that mail names; nothing when it is not known.
std::optional<std::string> FromCharset(std::string_view charset, const std::string& bytes) {
  if (const auto language = charset.find('*'); language != std::string_view::npos) {
    charset = charset.substr(0, language);
  }
  const std::string name = ToLower(charset);
  if (name == "utf-8" || name == "utf8" || name == "us-ascii") return Utf8OrAnsi(bytes);
  struct Known {
    std::string_view name;
    int page;
  };
  static constexpr std::array<Known, 12> kKnown = {{{"iso-8859-1", 1252},
                                                    {"iso-8859-2", 28592},
                                                    {"iso-8859-5", 28595},
                                                    {"iso-8859-7", 28597},
                                                    {"iso-8859-9", 28599},
                                                    {"iso-8859-15", 28605},
                                                    {"koi8-r", 20866},
                                                    {"koi8-u", 21866},
                                                    {"shift_jis", 932},
                                                    {"gb2312", 936},
                                                    {"euc-kr", 949},
                                                    {"big5", 950}}};
  int page = 0;
  for (const Known& known : kKnown) {
    if (known.name == name) page = known.page;
  }
  for (const std::string_view prefix : {"windows-", "cp"}) {
    if (page == 0 && name.starts_with(prefix)) {
      const auto number = ParseDecimal(std::string_view(name).substr(prefix.size()));
      if (number && *number < 65'536) page = static_cast<int>(*number);
    }
  }
  if (page == 0) return std::nullopt;
  const auto loaded = platform::CurrentSystem().code_pages->Load(page);
  if (!loaded.ok()) return std::nullopt;
  return (*loaded)->Decode(bytes);
}

// The word that begins at text[at] ("=?"), decoded; its length in `length`. Nothing when it is
// none.
std::optional<std::string> DecodeWord(std::string_view text, std::size_t at, std::size_t* length) {
  const std::size_t charset_end = text.find('?', at + 2);
  if (charset_end == std::string_view::npos || charset_end + 2 >= text.size() ||
      text[charset_end + 2] != '?') {
    return std::nullopt;
  }
  const std::size_t end = text.find("?=", charset_end + 3);
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view charset = text.substr(at + 2, charset_end - at - 2);
  const std::string_view content = text.substr(charset_end + 3, end - charset_end - 3);
  const char encoding = LowerAscii(text[charset_end + 1]);
  *length = end + 2 - at;
  if (encoding == 'q') return FromCharset(charset, DecodeQuoted(content));
  if (encoding != 'b') return std::nullopt;
  const auto bytes = DecodeBase64(content);
  return bytes ? FromCharset(charset, *bytes) : std::nullopt;
}

}  // namespace

std::string_view TrimSpace(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

std::string Utf8OrAnsi(std::string_view bytes) {
  if (IsAscii(bytes) || IsValidUtf8(bytes)) return std::string(bytes);
  static const std::shared_ptr<const CodePage> ansi = CodePage::Windows1252();
  return ansi->Decode(bytes);
}

std::string FromUtf16Le(std::string_view bytes) {
  std::u16string units;
  units.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto unit = static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                            static_cast<unsigned char>(bytes[i + 1]) << 8);
    if (unit == 0) break;
    units += unit;
  }
  return Utf8FromUtf16(units);
}

namespace {

// What a character of base64 stands for: 0 to 63, or one of these.
constexpr std::uint8_t kPadding = 64;
constexpr std::uint8_t kBlank = 65;
constexpr std::uint8_t kNotBase64 = 66;

constexpr std::array<std::uint8_t, 256> kBase64 = [] {
  std::array<std::uint8_t, 256> table{};
  table.fill(kNotBase64);
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t i = 0; i < kDigits.size(); ++i) {
    table[static_cast<unsigned char>(kDigits[i])] = static_cast<std::uint8_t>(i);
  }
  for (const char c : kSpace) table[static_cast<unsigned char>(c)] = kBlank;
  table[static_cast<unsigned char>('=')] = kPadding;
  return table;
}();

}  // namespace

bool DecodeBase64(std::string_view text, std::string* bytes) {
  bytes->clear();
  bytes->reserve(text.size() / 4 * 3 + 3);
  std::uint32_t bits = 0;
  int held = 0;
  bool padded = false;
  for (const char c : text) {
    const std::uint8_t value = kBase64[static_cast<unsigned char>(c)];
    if (value >= kPadding) {
      if (value == kNotBase64) return false;
      padded = padded || value == kPadding;
      continue;
    }
    if (padded) return false;
    bits = bits << 6 | value;
    held += 6;
    if (held >= 8) {
      held -= 8;
      *bytes += static_cast<char>(bits >> held & 0xFF);
    }
  }
  return held != 6;  // one letter alone holds no byte
}

std::optional<std::string> DecodeBase64(std::string_view text) {
  std::string bytes;
  if (!DecodeBase64(text, &bytes)) return std::nullopt;
  return bytes;
}

std::string DecodeHeaderWords(std::string_view text) {
  std::string result;
  std::size_t plain = 0;  // begin of text not yet taken
  bool after_word = false;
  for (std::size_t at = text.find("=?"); at != std::string_view::npos;) {
    std::size_t length = 0;
    const auto word = DecodeWord(text, at, &length);
    if (!word) {
      at = text.find("=?", at + 2);
      continue;
    }
    // Blanks between two words belong to neither.
    const std::string_view between = text.substr(plain, at - plain);
    if (!after_word || !TrimSpace(between).empty()) result += Utf8OrAnsi(between);
    result += *word;
    plain = at + length;
    after_word = true;
    at = text.find("=?", plain);
  }
  return result + Utf8OrAnsi(text.substr(plain));
}

std::optional<std::int64_t> ParseDecimal(std::string_view text) {
  std::int64_t value = 0;
  if (text.empty() || text.front() == '-') return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<std::uint32_t> ParseHex(std::string_view text) {
  std::uint32_t value = 0;
  if (text.empty()) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

namespace {

// Text without its enclosing quotes, "\" before a character taken off.
std::string Unquoted(std::string_view text) {
  text = TrimSpace(text);
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') return std::string(text);
  std::string result;
  text = text.substr(1, text.size() - 2);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    result += text[i];
  }
  return result;
}

// The first `wanted` outside quotes from `from` on, or npos.
std::size_t FindOutsideQuotes(std::string_view text, char wanted, std::size_t from) {
  bool quoted = false;
  for (std::size_t i = from; i < text.size(); ++i) {
    if (quoted && text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      quoted = !quoted;
    } else if (!quoted && text[i] == wanted) {
      return i;
    }
  }
  return std::string_view::npos;
}

}  // namespace

Mailbox ParseMailbox(std::string_view text) {
  text = TrimSpace(text);
  constexpr std::size_t npos = std::string_view::npos;
  if (const std::size_t open = FindOutsideQuotes(text, '<', 0); open != npos) {
    const std::size_t close = text.find('>', open);
    const std::string_view address = text.substr(open + 1, close == npos ? npos : close - open - 1);
    return {Unquoted(text.substr(0, open)), std::string(TrimSpace(address))};
  }
  if (const std::size_t open = FindOutsideQuotes(text, '(', 0); open != npos) {
    const std::size_t close = text.rfind(')');
    const std::string_view name =
        text.substr(open + 1, close == npos || close < open ? npos : close - open - 1);
    return {Unquoted(name), std::string(TrimSpace(text.substr(0, open)))};
  }
  return {{}, std::string(text)};
}

}  // namespace pv::converter
