// The character encodings of import sources: by name, by looking, and into UTF-8.
#ifndef PV_CLI_IMPORT_ENCODING_H_
#define PV_CLI_IMPORT_ENCODING_H_

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/code_page.h"
#include "base/status.h"
#include "cli/import/byte_source.h"

namespace pv::cli {

enum class EncodingKind : std::uint8_t { kUtf8, kUtf16Le, kUtf16Be, kSingleByte };

struct Encoding {
  EncodingKind kind = EncodingKind::kUtf8;
  std::string name = "utf-8";            // as --encoding takes it
  std::shared_ptr<const CodePage> page;  // of kSingleByte
  bool is_utf16() const { return kind == EncodingKind::kUtf16Le || kind == EncodingKind::kUtf16Be; }
};

// Encodings by name: utf-8, utf-16 (little-endian), utf-16le, utf-16be, latin1, and code pages as
// "windows-1252", "cp1252" or "1252" for 437, 737, 850, 852, 857, 861, 865, 866, 874 and 1250 to
// 1258. Letter case is ignored. kInvalid for any other name.
Result<Encoding> EncodingByName(std::string_view name);

// Counts what of a source is UTF-8 beyond ASCII. Bytes may come in any pieces.
class Utf8Census {
 public:
  void Add(std::string_view bytes);
  void End();                                               // after the last piece
  std::uint64_t characters() const { return characters_; }  // of two bytes and more
  std::uint64_t invalid() const { return invalid_; }        // bytes that are not UTF-8

 private:
  void Count(std::string_view bytes, bool last);

  std::uint64_t characters_ = 0;
  std::uint64_t invalid_ = 0;
  std::string held_;  // the beginning of a character whose rest has not come yet
};

struct SniffedEncoding {
  Encoding encoding;
  std::size_t mark_size = 0;  // of the byte-order mark at the start
};

// Looks at the whole source: its byte-order mark, else the zero bytes of UTF-16, else UTF-8 when
// there is more of that than of bytes that are not (so a few broken rows do not turn a UTF-8
// source into another), else Windows-1252.
Result<SniffedEncoding> SniffEncoding(ByteSource* source);

// Size of the mark that `bytes` begin with in this encoding; 0 when there is none.
std::size_t MarkSize(const Encoding& encoding, std::string_view bytes);

// Text of a source as UTF-8. UTF-16 must have gone through Utf16Source before.
class TextDecoder {
 public:
  explicit TextDecoder(const Encoding& encoding);

  // `text` itself where it needs no change, else *scratch. False when it is not valid text.
  bool Decode(std::string_view text, std::string* scratch, std::string_view* out) const;

 private:
  bool utf8_;
  std::array<char32_t, 256> table_{};
};

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_ENCODING_H_
