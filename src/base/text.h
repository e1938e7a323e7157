// Text: UTF-8 inside, UTF-16 where a width is counted or a Unicode field is stored, letter case
// by simple (one to one) mapping. No locale and no system call is involved.
#ifndef PV_BASE_TEXT_H_
#define PV_BASE_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace pv {

constexpr char32_t kReplacementCharacter = 0xFFFD;

// Decodes one character at `*pos` (which must be < text.size()) and moves `*pos` past it. A byte
// sequence that is not UTF-8 yields kReplacementCharacter and moves one byte.
char32_t DecodeUtf8(std::string_view text, std::size_t* pos);

// Appends `c` as UTF-8; a surrogate or a value above U+10FFFF as kReplacementCharacter.
void AppendUtf8(std::string* out, char32_t c);

bool IsValidUtf8(std::string_view text);

bool IsAscii(std::string_view text);

// Invalid UTF-8 becomes U+FFFD.
std::u16string Utf16FromUtf8(std::string_view text);

// A lone surrogate becomes U+FFFD.
std::string Utf8FromUtf16(std::u16string_view text);

// Length in UTF-16 code units, the unit in which the interface counts characters.
std::size_t Utf16Length(std::string_view utf8);

// Simple case mapping of one character: Latin, Greek, Cyrillic, Armenian and fullwidth letters;
// others are returned as they are.
char32_t ToUpper(char32_t c);
char32_t ToLower(char32_t c);

std::string ToUpper(std::string_view utf8);
std::string ToLower(std::string_view utf8);

// True when the two are equal without regard to letter case.
bool EqualsIgnoreCase(std::string_view a, std::string_view b);

// First letter of each word upper case, the rest lower case; a word ends at a character that is
// neither letter nor digit nor apostrophe.
std::string ProperCase(std::string_view utf8);

// Views without the blanks (U+0020 only) at the ends, as the automation Trim functions count them.
std::string_view TrimBlanks(std::string_view text);
std::string_view TrimRight(std::string_view text);

}  // namespace pv

#endif  // PV_BASE_TEXT_H_
