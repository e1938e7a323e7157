// Code page tables and conversion. Tested by code_page_test.cc.
#include "base/code_page.h"

#include "base/text.h"

namespace pv {
namespace {

// Bytes 0x80 to 0x9F of Windows-1252, as the vendor's published mapping has them.
constexpr char16_t k1252High[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

struct Mark {
  std::uint8_t mark;
  int code_page;
};

// On disk: never change.
constexpr Mark kMarks[] = {
    {0x01, 437},  {0x02, 850},  {0x03, 1252}, {0x64, 852},  {0x65, 866},  {0x66, 865},
    {0x67, 861},  {0x6A, 737},  {0x6B, 857},  {0x78, 950},  {0x79, 949},  {0x7A, 936},
    {0x7B, 932},  {0x7C, 874},  {0x7D, 1255}, {0x7E, 1256}, {0xC8, 1250}, {0xC9, 1251},
    {0xCA, 1254}, {0xCB, 1253}, {0xCC, 1257},
};

// The vendor's rows of 932 and two pairs of 950 that repeat characters which stand elsewhere too.
bool IsDecodingOnly(int page, std::uint16_t pair) {
  if (page == 932) return pair >= 0xED40 && pair <= 0xEEFC;
  return page == 950 && (pair == 0xA2CC || pair == 0xA2CE);
}

}  // namespace

CodePage::CodePage(int number, const std::array<char32_t, 256>& single,
                   std::unordered_map<std::uint16_t, char32_t> pairs)
    : number_(number), single_(single), pairs_(std::move(pairs)) {
  for (std::size_t b = 0; b < 256; ++b) {
    if (single_[b] < kLeadByte) encode_.emplace(single_[b], static_cast<std::uint16_t>(b));
  }
  // Some characters have two pairs. The lower one is meant, save for those that a page has for
  // decoding only.
  for (const auto& [bytes, c] : pairs_) {
    if (IsDecodingOnly(number_, bytes)) continue;
    const auto [it, added] = encode_.emplace(c, bytes);
    if (!added && it->second >= 256 && bytes < it->second) it->second = bytes;
  }
  for (const auto& [bytes, c] : pairs_) encode_.emplace(c, bytes);
  const auto same_page = [this](std::size_t b, char32_t mapped) {
    const auto it = encode_.find(mapped);
    const bool fits = it != encode_.end() && it->second < 256;
    return static_cast<unsigned char>(fits ? it->second : b);
  };
  for (std::size_t b = 0; b < 256; ++b) {
    const char32_t c = single_[b];
    upper_[b] = c < kLeadByte ? same_page(b, ToUpper(c)) : static_cast<unsigned char>(b);
    lower_[b] = c < kLeadByte ? same_page(b, ToLower(c)) : static_cast<unsigned char>(b);
  }
}

std::shared_ptr<const CodePage> CodePage::Windows1252() {
  static const std::shared_ptr<const CodePage> page = [] {
    std::array<char32_t, 256> table;
    for (std::size_t b = 0; b < 256; ++b) {
      table[b] = b >= 0x80 && b < 0xA0 ? k1252High[b - 0x80] : static_cast<char32_t>(b);
    }
    return std::make_shared<const CodePage>(1252, table,
                                            std::unordered_map<std::uint16_t, char32_t>{});
  }();
  return page;
}

std::string CodePage::Decode(std::string_view bytes) const {
  std::string out;
  out.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto b = static_cast<unsigned char>(bytes[i]);
    char32_t c = single_[b];
    if (c == kLeadByte) {
      c = kReplacementCharacter;
      if (i + 1 < bytes.size()) {
        const auto pair =
            static_cast<std::uint16_t>(b << 8 | static_cast<unsigned char>(bytes[i + 1]));
        if (const auto it = pairs_.find(pair); it != pairs_.end()) {
          c = it->second;
          ++i;
        }
      }
    }
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else {
      AppendUtf8(&out, c);
    }
  }
  return out;
}

std::string CodePage::Encode(std::string_view utf8, bool* lossy) const {
  std::string out;
  out.reserve(utf8.size());
  for (std::size_t pos = 0; pos < utf8.size();) {
    // Characters that stand for themselves, as most do, go over at once.
    std::size_t start = pos;
    for (; pos < utf8.size(); ++pos) {
      const auto byte = static_cast<unsigned char>(utf8[pos]);
      if (byte >= 0x80 || single_[byte] != byte) break;
    }
    out.append(utf8, start, pos - start);
    if (pos == utf8.size()) break;
    start = pos;
    const char32_t c = DecodeUtf8(utf8, &pos);
    const bool malformed = c == kReplacementCharacter && pos - start == 1;
    const auto it = encode_.find(c);
    if (malformed || it == encode_.end()) {
      out.push_back('?');
      if (lossy != nullptr) *lossy = true;
    } else if (it->second < 256) {
      out.push_back(static_cast<char>(it->second));
    } else {
      out.push_back(static_cast<char>(it->second >> 8));
      out.push_back(static_cast<char>(it->second & 0xFF));
    }
  }
  return out;
}

bool CodePage::CanEncode(std::string_view utf8) const {
  for (std::size_t pos = 0; pos < utf8.size();) {
    const std::size_t start = pos;
    const char32_t c = DecodeUtf8(utf8, &pos);
    if (c == kReplacementCharacter && pos - start == 1) return false;
    if (encode_.find(c) == encode_.end()) return false;
  }
  return true;
}

void CodePage::MapCase(char* bytes, std::size_t size,
                       const std::array<unsigned char, 256>& map) const {
  for (std::size_t i = 0; i < size; ++i) {
    const auto b = static_cast<unsigned char>(bytes[i]);
    if (single_[b] == kLeadByte) {
      ++i;
      continue;
    }
    bytes[i] = static_cast<char>(map[b]);
  }
}

void CodePage::UpperBytes(char* bytes, std::size_t size) const { MapCase(bytes, size, upper_); }
void CodePage::LowerBytes(char* bytes, std::size_t size) const { MapCase(bytes, size, lower_); }

std::uint8_t MarkFromCodePage(int code_page) {
  for (const Mark& m : kMarks) {
    if (m.code_page == code_page) return m.mark;
  }
  return 0;
}

int CodePageFromMark(std::uint8_t mark) {
  for (const Mark& m : kMarks) {
    if (m.mark == mark) return m.code_page;
  }
  return 0;
}

}  // namespace pv
