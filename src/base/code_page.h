// ANSI code pages: how the bytes of character fields become text. This class holds the tables;
// platform/code_pages.h makes those of every page but Windows-1252, which is built in.
#ifndef PV_BASE_CODE_PAGE_H_
#define PV_BASE_CODE_PAGE_H_

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace pv {

// An immutable single- or double-byte code page. Safe to share.
class CodePage {
 public:
  // `single[b]` is the character of byte b, kLeadByte for the first byte of a pair, or kUndefined.
  // `pairs` maps (first << 8 | second) to a character; empty for a single-byte page.
  static constexpr char32_t kUndefined = 0xFFFFFFFF;
  static constexpr char32_t kLeadByte = 0xFFFFFFFE;
  CodePage(int number, const std::array<char32_t, 256>& single,
           std::unordered_map<std::uint16_t, char32_t> pairs);

  // Windows-1252. Its five unassigned bytes map to the control characters of the same value, as
  // Windows does it, so that any byte survives a round trip.
  static std::shared_ptr<const CodePage> Windows1252();

  int number() const { return number_; }
  bool is_double_byte() const { return !pairs_.empty(); }

  // Bytes to UTF-8; an undefined byte becomes U+FFFD.
  std::string Decode(std::string_view bytes) const;

  // UTF-8 to bytes; a character that the page lacks becomes "?" and, when `lossy` is given, sets
  // it to true (it is never set to false).
  std::string Encode(std::string_view utf8, bool* lossy = nullptr) const;

  bool CanEncode(std::string_view utf8) const;

  // Letter case of bytes for the UPPER and LOWER functions of expressions: a byte whose mapped
  // letter is outside the page, or that belongs to a pair, stays as it is. In place.
  void UpperBytes(char* bytes, std::size_t size) const;
  void LowerBytes(char* bytes, std::size_t size) const;

 private:
  void MapCase(char* bytes, std::size_t size, const std::array<unsigned char, 256>& map) const;

  int number_;
  std::array<char32_t, 256> single_;
  std::unordered_map<std::uint16_t, char32_t> pairs_;
  std::unordered_map<char32_t, std::uint16_t> encode_;
  std::array<unsigned char, 256> upper_;
  std::array<unsigned char, 256> lower_;
};

// The mark that a data file's header carries for a code page, and back; 0 when there is none.
// 0x57 ("the system's ANSI page") and 0x00 have no number of their own: both give 0.
std::uint8_t MarkFromCodePage(int code_page);
int CodePageFromMark(std::uint8_t mark);

}  // namespace pv

#endif  // PV_BASE_CODE_PAGE_H_
