// UTF-8, UTF-16 and letter case. Tested by text_test.cc.
#include "base/text.h"

#include <algorithm>

#include "base/bytes.h"

namespace pv {
namespace {

// Ranges in which upper and lower case letters alternate (upper first) or stand at a distance.
struct CaseRange {
  char32_t first_upper;
  char32_t last_upper;
  std::int32_t distance;  // to the lower case letter; 1 means the two alternate
};

// Simple mappings of the Unicode character database, version 15, for the scripts named in text.h.
constexpr CaseRange kRanges[] = {
    {0x0041, 0x005A, 32}, {0x00C0, 0x00D6, 32}, {0x00D8, 0x00DE, 32}, {0x0100, 0x012E, 1},
    {0x0132, 0x0136, 1},  {0x0139, 0x0147, 1},  {0x014A, 0x0176, 1},  {0x0178, 0x0178, -121},
    {0x0179, 0x017D, 1},  {0x01CD, 0x01DB, 1},  {0x01DE, 0x01EE, 1},  {0x01F8, 0x021E, 1},
    {0x0222, 0x0232, 1},  {0x0386, 0x0386, 38}, {0x0388, 0x038A, 37}, {0x038C, 0x038C, 64},
    {0x038E, 0x038F, 63}, {0x0391, 0x03A1, 32}, {0x03A3, 0x03AB, 32}, {0x03D8, 0x03EE, 1},
    {0x0400, 0x040F, 80}, {0x0410, 0x042F, 32}, {0x0460, 0x0480, 1},  {0x048A, 0x04BE, 1},
    {0x04C1, 0x04CD, 1},  {0x04D0, 0x052E, 1},  {0x0531, 0x0556, 48}, {0x1E00, 0x1E94, 1},
    {0x1EA0, 0x1EFE, 1},  {0xFF21, 0xFF3A, 32},
};

// True when `c` is the upper letter of its pair in an alternating range.
bool InPhase(const CaseRange& r, char32_t c) { return (c - r.first_upper) % 2 == 0; }

}  // namespace

char32_t DecodeUtf8(std::string_view text, std::size_t* pos) {
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const std::size_t i = *pos;
  const unsigned char lead = at(i);
  *pos = i + 1;
  if (lead < 0x80) return lead;
  std::size_t length = 0;
  char32_t c = 0;
  char32_t least = 0;
  if ((lead & 0xE0) == 0xC0) {
    length = 2, c = lead & 0x1FU, least = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, c = lead & 0x0FU, least = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, c = lead & 0x07U, least = 0x10000;
  } else {
    return kReplacementCharacter;
  }
  if (text.size() - i < length) return kReplacementCharacter;
  for (std::size_t k = 1; k < length; ++k) {
    if ((at(i + k) & 0xC0) != 0x80) return kReplacementCharacter;
    c = (c << 6) | (at(i + k) & 0x3FU);
  }
  if (c < least || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return kReplacementCharacter;
  *pos = i + length;
  return c;
}

void AppendUtf8(std::string* out, char32_t c) {
  if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = kReplacementCharacter;
  const auto put = [out](char32_t byte) { out->push_back(static_cast<char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | (c >> 6));
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | (c >> 12));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | (c >> 18));
    put(0x80 | ((c >> 12) & 0x3F));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

bool IsAscii(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  const char* const p = text.data();
  const std::size_t size = text.size();
  std::uint64_t seen = 0;
  if (size >= sizeof seen) {
    for (std::size_t i = 0; i + sizeof seen < size; i += sizeof seen) seen |= LoadLe64(p + i);
    seen |= LoadLe64(p + size - sizeof seen);  // the end, some of it for the second time
  } else {
    for (const char c : text) seen |= static_cast<unsigned char>(c);
  }
  return (seen & kHighBits) == 0;
}

bool IsValidUtf8(std::string_view text) {
  if (IsAscii(text)) return true;
  for (std::size_t pos = 0; pos < text.size();) {
    const std::size_t start = pos;
    // A real U+FFFD is three bytes long; the decoder's own moves one.
    if (DecodeUtf8(text, &pos) == kReplacementCharacter && pos - start != 3) return false;
  }
  return true;
}

std::u16string Utf16FromUtf8(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (std::size_t pos = 0; pos < text.size();) {
    const char32_t c = DecodeUtf8(text, &pos);
    if (c >= 0x10000) {
      out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
  }
  return out;
}

std::string Utf8FromUtf16(std::u16string_view text) {
  std::size_t ascii = 0;
  while (ascii < text.size() && text[ascii] < 0x80) ++ascii;
  std::string out(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(ascii));
  if (ascii == text.size()) return out;
  out.reserve(text.size() + (text.size() - ascii) / 2);
  for (std::size_t i = ascii; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00U);
    }
    AppendUtf8(&out, c);
  }
  return out;
}

std::size_t Utf16Length(std::string_view utf8) {
  std::size_t length = 0;
  for (std::size_t pos = 0; pos < utf8.size();) {
    length += DecodeUtf8(utf8, &pos) >= 0x10000 ? 2 : 1;
  }
  return length;
}

char32_t ToLower(char32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + 32 : c;
  for (const CaseRange& r : kRanges) {
    if (c < r.first_upper) break;
    if (c > r.last_upper) continue;
    if (r.distance == 1) return InPhase(r, c) ? c + 1 : c;
    return static_cast<char32_t>(static_cast<std::int32_t>(c) + r.distance);
  }
  return c;
}

char32_t ToUpper(char32_t c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? c - 32 : c;
  if (c == 0x03C2) return 0x03A3;  // final sigma
  for (const CaseRange& r : kRanges) {
    const auto upper = static_cast<char32_t>(static_cast<std::int32_t>(c) - r.distance);
    if (upper < r.first_upper || upper > r.last_upper) continue;
    if (r.distance == 1 && !InPhase(r, upper)) continue;
    return upper;
  }
  return c;
}

namespace {
template <char32_t (*Map)(char32_t)>
std::string MapText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t pos = 0; pos < text.size();) AppendUtf8(&out, Map(DecodeUtf8(text, &pos)));
  return out;
}
}  // namespace

std::string ToUpper(std::string_view utf8) { return MapText<&ToUpper>(utf8); }
std::string ToLower(std::string_view utf8) { return MapText<&ToLower>(utf8); }

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    const auto x = static_cast<unsigned char>(a[i]);
    const auto y = static_cast<unsigned char>(b[j]);
    if (x < 0x80 && y < 0x80) {
      // Letters differ in one bit from their other case.
      if (x != y && ((x ^ y) != 0x20 || (x | 0x20) < 'a' || (x | 0x20) > 'z')) return false;
      ++i, ++j;
    } else if (ToLower(DecodeUtf8(a, &i)) != ToLower(DecodeUtf8(b, &j))) {
      return false;
    }
  }
  return i == a.size() && j == b.size();
}

std::string ProperCase(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size());
  bool in_word = false;
  for (std::size_t pos = 0; pos < utf8.size();) {
    const char32_t c = DecodeUtf8(utf8, &pos);
    AppendUtf8(&out, in_word ? ToLower(c) : ToUpper(c));
    in_word = (c >= '0' && c <= '9') || c == '\'' || c >= 0x80 || ToUpper(c) != ToLower(c);
  }
  return out;
}

std::string_view TrimRight(std::string_view text) {
  constexpr std::uint64_t kBlanks = 0x2020202020202020;
  while (text.size() >= sizeof kBlanks &&
         LoadLe64(text.data() + text.size() - sizeof kBlanks) == kBlanks) {
    text.remove_suffix(sizeof kBlanks);
  }
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

std::string_view TrimBlanks(std::string_view text) {
  text = TrimRight(text);
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  return text;
}

}  // namespace pv
