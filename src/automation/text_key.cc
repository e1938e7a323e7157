// Letter-case folding for keys. Tested by collection_test.cc.
#include "pvgroupman/automation/text_key.h"

#include <cstdint>

#include "base/text.h"

namespace pv::automation {

// FNV-1a over the lower-case characters; ASCII, which is nearly everything, without decoding.
std::size_t TextKeyHash::operator()(std::string_view text) const noexcept {
  std::uint64_t hash = 14695981039346656037ULL;
  for (std::size_t pos = 0; pos < text.size();) {
    const auto byte = static_cast<unsigned char>(text[pos]);
    char32_t c = byte;
    if (byte < 0x80) {
      if (byte >= 'A' && byte <= 'Z') c = byte + 32U;
      ++pos;
    } else {
      c = ToLower(DecodeUtf8(text, &pos));
    }
    hash = (hash ^ c) * 1099511628211ULL;
  }
  return static_cast<std::size_t>(hash);
}

bool TextKeyEqual::operator()(std::string_view a, std::string_view b) const noexcept {
  return a == b || EqualsIgnoreCase(a, b);
}

}  // namespace pv::automation
