// From the bytes of foreign files to UTF-8.
#ifndef PV_PROVIDERS_CONVERTER_TEXT_DECODE_H_
#define PV_PROVIDERS_CONVERTER_TEXT_DECODE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/code_page.h"
#include "base/date.h"

namespace pv::converter {

// The bytes themselves when they are UTF-8, else as Windows-1252.
std::string Utf8OrAnsi(std::string_view bytes);

// UTF-16, little-endian, up to its first zero; an odd last byte is left out.
std::string FromUtf16Le(std::string_view bytes);

// The decoded bytes; nothing when the text is not base64. Blanks inside are passed over, and
// padding may be missing.
std::optional<std::string> DecodeBase64(std::string_view text);
// The same; false when it is none, and then anything may be in `bytes`.
bool DecodeBase64(std::string_view text, std::string* bytes);

// Header text with its =?charset?Q?...?= words decoded; words in an unknown character set or with
// damaged content stay as they are. The rest is taken as by Utf8OrAnsi.
std::string DecodeHeaderWords(std::string_view text);

// Decimal digits alone; nothing when there are none, others, or too many.
std::optional<std::int64_t> ParseDecimal(std::string_view text);
// The same with hexadecimal digits.
std::optional<std::uint32_t> ParseHex(std::string_view text);

// An ASCII letter in lower case, any other byte as it is.
inline char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// Without blanks, tabs and line ends at both ends.
std::string_view TrimSpace(std::string_view text);

// "Ann Lee <a@b>", "\"Lee, Ann\" <a@b>", "<a@b>", "a@b (Ann Lee)" or "a@b" taken apart.
struct Mailbox {
  std::string name;
  std::string address;
};
Mailbox ParseMailbox(std::string_view text);

// Calls `take` with each item of a list, split at commas outside quotes, "()" and "<>"; blanks
// around items are taken off and empty items left out.
template <typename Take>
void SplitAddresses(std::string_view text, Take take) {
  int round = 0;
  int angle = 0;
  bool quoted = false;
  std::size_t start = 0;
  const auto end_item = [&](std::size_t end) {
    const std::string_view item = TrimSpace(text.substr(start, end - start));
    if (!item.empty()) take(item);
    start = end + 1;
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\' && quoted) {
      ++i;
    } else if (c == '"') {
      quoted = !quoted;
    } else if (quoted) {
      continue;
    } else if (c == '(') {
      ++round;
    } else if (c == ')' && round > 0) {
      --round;
    } else if (c == '<') {
      ++angle;
    } else if (c == '>' && angle > 0) {
      --angle;
    } else if (c == ',' && round == 0 && angle == 0) {
      end_item(i);
    }
  }
  if (start <= text.size()) end_item(text.size());
}

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_TEXT_DECODE_H_
