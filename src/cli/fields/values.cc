// Reads numbers, dates and yes/no words. Tested by values_test.cc.
#include "cli/fields/values.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace pv::cli {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Takes up to `most` digits; -1 when there is none.
std::int32_t TakeDigits(std::string_view* text, std::size_t most, std::size_t* count) {
  std::int32_t value = 0;
  *count = 0;
  while (*count < most && *count < text->size() && IsDigit((*text)[*count])) {
    value = value * 10 + ((*text)[*count] - '0');
    ++*count;
  }
  text->remove_prefix(*count);
  return *count == 0 ? -1 : value;
}

bool TakeChar(std::string_view* text, char c) {
  if (text->empty() || text->front() != c) return false;
  text->remove_prefix(1);
  return true;
}

// Reads hh:mm[:ss[.fff]] to its end.
bool ReadTime(std::string_view text, CivilDateTime* moment) {
  std::size_t count = 0;
  moment->hour = TakeDigits(&text, 2, &count);
  if (count == 0 || !TakeChar(&text, ':')) return false;
  moment->minute = TakeDigits(&text, 2, &count);
  if (count != 2) return false;
  if (TakeChar(&text, ':')) {
    moment->second = TakeDigits(&text, 2, &count);
    if (count != 2) return false;
    // No field holds parts of a second, so only zeros may stand there.
    if (TakeChar(&text, '.') && TakeDigits(&text, 9, &count) != 0) return false;
  }
  return text.empty() && moment->hour < 24 && moment->minute < 60 && moment->second < 60;
}

struct DateParts {
  std::int32_t a = 0, b = 0, c = 0;
  bool year_first = false;
  char separator = 0;
  bool has_time = false;
  CivilDateTime time;
};

bool ReadParts(std::string_view text, DateParts* parts) {
  if (text.size() < 8 || !IsDigit(text.front())) return false;
  std::size_t first = 0, second = 0, third = 0;
  parts->a = TakeDigits(&text, 4, &first);
  if (text.empty()) return false;
  parts->separator = text.front();
  if (parts->separator != '-' && parts->separator != '/' && parts->separator != '.') return false;
  text.remove_prefix(1);
  parts->b = TakeDigits(&text, 2, &second);
  if (second == 0 || !TakeChar(&text, parts->separator)) return false;
  parts->c = TakeDigits(&text, 4, &third);
  parts->year_first = first == 4;
  const bool shaped = parts->year_first ? third == 1 || third == 2 : first <= 2 && third == 4;
  if (!shaped) return false;
  if (text.empty()) return true;
  parts->has_time = true;
  if (!TakeChar(&text, 'T') && !TakeChar(&text, ' ')) return false;
  return ReadTime(text, &parts->time);
}

CivilDate InOrder(const DateParts& p, DateOrder order) {
  if (order == kYmd) return {p.a, p.b, p.c};
  if (order == kDmy) return {p.c, p.b, p.a};
  return {p.c, p.a, p.b};
}

struct WordPair {
  std::string_view yes, no;
};
constexpr std::array<WordPair, 15> kWordPairs = {{
    {"true", "false"},
    {"yes", "no"},
    {"y", "n"},
    {"t", "f"},
    {"ja", "nein"},
    {"j", "n"},
    {"oui", "non"},
    {"o", "n"},
    {"si", "no"},
    {"s\xC3\xAD", "no"},
    {"s\xC3\xAC", "no"},
    {"wahr", "falsch"},
    {"vrai", "faux"},
    {"on", "off"},
    {"ja", "nej"},
}};

// A word of up to eight bytes in lower case (ASCII) as one number, which compares fast.
constexpr std::uint64_t Packed(std::string_view word) {
  std::uint64_t packed = 0;
  for (const char c : word) {
    const auto lower = c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
    packed = packed << 8 | static_cast<unsigned char>(lower);
  }
  return packed;
}

constexpr auto kPackedPairs = [] {
  std::array<std::array<std::uint64_t, 2>, kWordPairs.size()> packed{};
  for (std::size_t i = 0; i < packed.size(); ++i) {
    packed[i] = {Packed(kWordPairs[i].yes), Packed(kWordPairs[i].no)};
  }
  return packed;
}();

// What each word says, found by a hash of it.
struct KnownWord {
  std::uint64_t packed = 0;
  std::uint32_t true_of = 0, false_of = 0;
};
constexpr std::size_t kWordSlots = 64;

constexpr std::size_t WordSlot(std::uint64_t packed) {
  return static_cast<std::size_t>(packed * 0x9FB21C651E98DF25U >> 58);
}

constexpr auto kKnownWords = [] {
  std::array<KnownWord, kWordSlots> table{};
  for (std::size_t i = 0; i < kPackedPairs.size(); ++i) {
    for (std::size_t side = 0; side < 2; ++side) {
      const std::uint64_t packed = kPackedPairs[i][side];
      std::size_t slot = WordSlot(packed);
      while (table[slot].packed != 0 && table[slot].packed != packed) {
        slot = (slot + 1) % kWordSlots;
      }
      table[slot].packed = packed;
      (side == 0 ? table[slot].true_of : table[slot].false_of) |= 1U << i;
    }
  }
  return table;
}();

}  // namespace

bool ReadNumber(std::string_view text, char decimal, NumberShape* shape) {
  *shape = {};
  std::size_t i = 0;
  if (!text.empty() && text[0] == '-') {
    shape->negative = true;
    i = 1;
  }
  const std::size_t start = i;
  while (i < text.size() && IsDigit(text[i])) ++i;
  shape->whole = static_cast<std::uint32_t>(i - start);
  if (shape->whole == 0) return false;
  shape->leading_zero = shape->whole > 1 && text[start] == '0';
  if (i == text.size()) return true;
  if (text[i] != decimal) return false;
  const std::size_t point = i++;
  while (i < text.size() && IsDigit(text[i])) ++i;
  shape->decimals = static_cast<std::uint32_t>(i - point - 1);
  return i == text.size() && shape->decimals > 0;
}

DateShape ReadDateShape(std::string_view text) {
  DateParts parts;
  if (!ReadParts(text, &parts)) return {};
  DateShape shape;
  shape.has_time = parts.has_time;
  shape.dotted = parts.separator == '.';
  if (parts.year_first) {
    if (IsValidDate(InOrder(parts, kYmd))) shape.orders = kYmd;
    return shape;
  }
  for (const DateOrder order : {kDmy, kMdy}) {
    if (IsValidDate(InOrder(parts, order))) shape.orders |= order;
  }
  return shape;
}

std::optional<CivilDateTime> ReadMoment(std::string_view text, DateOrder order) {
  DateParts parts;
  if (!ReadParts(text, &parts) || parts.year_first != (order == kYmd)) return std::nullopt;
  parts.time.date = InOrder(parts, order);
  if (!IsValidDate(parts.time.date)) return std::nullopt;
  return parts.time;
}

BooleanWords ReadBooleanWords(std::string_view text) {
  BooleanWords words;
  if (text.empty() || text.size() > 6) return words;
  const std::uint64_t word = Packed(text);
  for (std::size_t slot = WordSlot(word);; slot = (slot + 1) % kWordSlots) {
    const KnownWord& known = kKnownWords[slot];
    if (known.packed == 0) return words;
    if (known.packed != word) continue;
    words.true_of = known.true_of;
    words.false_of = known.false_of;
    return words;
  }
}

std::optional<bool> ReadBoolean(std::string_view text) {
  if (text == "1") return true;
  if (text == "0") return false;
  const BooleanWords words = ReadBooleanWords(text);
  if (words.true_of != 0) return true;
  if (words.false_of != 0) return false;
  return std::nullopt;
}

}  // namespace pv::cli
