// Recognises and decodes character encodings. Tested by encoding_test.cc.
#include "cli/import/encoding.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/text.h"
#include "platform/system.h"

namespace pv::cli {
namespace {

constexpr int kLatin1 = 28591;
constexpr int kPages[] = {437,  737,  850,  852,  857,  861,  865,  866,  874,
                          1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, 1258};

std::shared_ptr<const CodePage> Latin1() {
  std::array<char32_t, 256> table;
  for (std::size_t b = 0; b < 256; ++b) table[b] = static_cast<char32_t>(b);
  return std::make_shared<const CodePage>(kLatin1, table,
                                          std::unordered_map<std::uint16_t, char32_t>{});
}

Encoding Windows1252() {
  return {EncodingKind::kSingleByte, "windows-1252", CodePage::Windows1252()};
}

// Length that a character's first byte promises; 1 for a byte that begins none.
std::size_t PromisedLength(char first) {
  const auto b = static_cast<unsigned char>(first);
  if (b >= 0xC2 && b < 0xE0) return 2;
  if (b >= 0xE0 && b < 0xF0) return 3;
  if (b >= 0xF0 && b < 0xF5) return 4;
  return 1;
}

// Which byte order the zero bytes of mostly Latin text show; kUtf8 when they show none.
EncodingKind FromZeros(std::string_view sample) {
  std::size_t zeros[2] = {0, 0};
  for (std::size_t i = 0; i < sample.size(); ++i) {
    if (sample[i] == 0) ++zeros[i % 2];
  }
  const std::size_t units = sample.size() / 2;
  if (units < 4) return EncodingKind::kUtf8;
  if (zeros[1] > units / 2 && zeros[0] <= units / 10) return EncodingKind::kUtf16Le;
  if (zeros[0] > units / 2 && zeros[1] <= units / 10) return EncodingKind::kUtf16Be;
  return EncodingKind::kUtf8;
}

}  // namespace

Result<Encoding> EncodingByName(std::string_view name) {
  const std::string lower = ToLower(name);
  if (lower == "utf-8" || lower == "utf8") return Encoding{};
  if (lower == "utf-16" || lower == "utf-16le" || lower == "utf16") {
    return Encoding{EncodingKind::kUtf16Le, "utf-16le", nullptr};
  }
  if (lower == "utf-16be") return Encoding{EncodingKind::kUtf16Be, lower, nullptr};
  if (lower == "latin1" || lower == "latin-1" || lower == "iso-8859-1") {
    return Encoding{EncodingKind::kSingleByte, "latin1", Latin1()};
  }
  std::string_view digits = lower;
  for (const std::string_view prefix : {"windows-", "cp", "ibm"}) {
    if (digits.substr(0, prefix.size()) == prefix) {
      digits.remove_prefix(prefix.size());
      break;
    }
  }
  for (const int number : kPages) {
    if (digits != std::to_string(number)) continue;
    if (number == 1252) return Windows1252();
    PV_ASSIGN_OR_RETURN(auto page, platform::CurrentSystem().code_pages->Load(number));
    return Encoding{EncodingKind::kSingleByte,
                    (number >= 1250 ? "windows-" : "cp") + std::to_string(number), std::move(page)};
  }
  return Status::Invalid("the encoding \"" + std::string(name) + "\" is not known");
}

void Utf8Census::Add(std::string_view bytes) {
  while (!held_.empty() && !bytes.empty()) {
    held_.push_back(bytes.front());
    bytes.remove_prefix(1);
    const std::string character = std::move(held_);
    held_.clear();
    Count(character, false);
  }
  Count(bytes, false);
}

void Utf8Census::End() {
  const std::string rest = std::move(held_);
  held_.clear();
  Count(rest, true);
}

void Utf8Census::Count(std::string_view bytes, bool last) {
  for (std::size_t pos = 0; pos < bytes.size();) {
    std::uint64_t word;
    while (bytes.size() - pos >= sizeof word) {
      std::memcpy(&word, bytes.data() + pos, sizeof word);
      if ((word & 0x8080808080808080U) != 0) break;
      pos += sizeof word;
    }
    if (pos == bytes.size()) return;
    if (static_cast<unsigned char>(bytes[pos]) < 0x80) {
      ++pos;
      continue;
    }
    if (!last && bytes.size() - pos < PromisedLength(bytes[pos])) {
      // Held back only while what is there can still become a character.
      const std::string_view tail = bytes.substr(pos);
      const bool hopeful = std::all_of(tail.begin() + 1, tail.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
      });
      if (hopeful) {
        held_ = tail;
        return;
      }
    }
    const std::size_t start = pos;
    const char32_t c = DecodeUtf8(bytes, &pos);
    if (c == kReplacementCharacter && pos - start == 1) {
      ++invalid_;
    } else {
      ++characters_;
    }
  }
}

std::size_t MarkSize(const Encoding& encoding, std::string_view bytes) {
  switch (encoding.kind) {
    case EncodingKind::kUtf8:
      return bytes.substr(0, 3) == "\xEF\xBB\xBF" ? 3 : 0;
    case EncodingKind::kUtf16Le:
      return bytes.substr(0, 2) == "\xFF\xFE" ? 2 : 0;
    case EncodingKind::kUtf16Be:
      return bytes.substr(0, 2) == "\xFE\xFF" ? 2 : 0;
    case EncodingKind::kSingleByte:
      break;
  }
  return 0;
}

Result<SniffedEncoding> SniffEncoding(ByteSource* source) {
  std::vector<char> block(1 << 20);
  PV_ASSIGN_OR_RETURN(std::size_t n, source->Read(block.data(), block.size()));
  const std::string_view start(block.data(), n);
  SniffedEncoding found;
  if (start.substr(0, 2) == "\xFF\xFE") {
    found.encoding = {EncodingKind::kUtf16Le, "utf-16le", nullptr};
  } else if (start.substr(0, 2) == "\xFE\xFF") {
    found.encoding = {EncodingKind::kUtf16Be, "utf-16be", nullptr};
  } else if (MarkSize(found.encoding, start) == 0) {
    const EncodingKind kind = FromZeros(start.substr(0, 4096));
    if (kind == EncodingKind::kUtf16Le) found.encoding = {kind, "utf-16le", nullptr};
    if (kind == EncodingKind::kUtf16Be) found.encoding = {kind, "utf-16be", nullptr};
  }
  found.mark_size = MarkSize(found.encoding, start);
  if (found.mark_size != 0 || found.encoding.is_utf16()) return found;

  Utf8Census census;
  while (n != 0) {
    census.Add({block.data(), n});
    PV_ASSIGN_OR_RETURN(n, source->Read(block.data(), block.size()));
  }
  census.End();
  if (census.invalid() != 0 && census.characters() <= census.invalid()) {
    found.encoding = Windows1252();
  }
  return found;
}

TextDecoder::TextDecoder(const Encoding& encoding)
    : utf8_(encoding.kind != EncodingKind::kSingleByte) {
  if (utf8_) return;
  for (std::size_t b = 0; b < 256; ++b) {
    const auto byte = static_cast<char>(b);
    const std::string text = encoding.page->Decode({&byte, 1});
    std::size_t pos = 0;
    table_[b] = DecodeUtf8(text, &pos);
  }
}

bool TextDecoder::Decode(std::string_view text, std::string* scratch, std::string_view* out) const {
  *out = text;
  if (IsAscii(text)) return true;
  if (utf8_) return IsValidUtf8(text);
  scratch->clear();
  bool valid = true;
  for (const char c : text) {
    const char32_t character = table_[static_cast<unsigned char>(c)];
    if (character < 0x80) {
      scratch->push_back(static_cast<char>(character));
      continue;
    }
    if (character == kReplacementCharacter) valid = false;
    AppendUtf8(scratch, character);
  }
  *out = *scratch;
  return valid;
}

}  // namespace pv::cli
