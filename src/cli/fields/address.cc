// Checks and compares addresses. Tested by address_test.cc.
#include "cli/fields/address.h"

#include <algorithm>
#include <array>

#include "base/bytes.h"
#include "base/text.h"

namespace pv::cli {

namespace {

// What a byte means to an address.
enum ByteClass : unsigned char { kPlain = 0, kAt = 1, kBlank = 2, kComma = 4, kControl = 8 };

constexpr std::array<unsigned char, 256> kClasses = [] {
  std::array<unsigned char, 256> classes{};
  for (std::size_t b = 0; b < 0x20; ++b) classes[b] = kControl;
  classes[0x7F] = kControl;
  classes['@'] = kAt;
  classes[' '] = kBlank;
  classes[','] = kComma;
  return classes;
}();

constexpr std::uint64_t kOnes = 0x0101010101010101U;
constexpr std::uint64_t kHigh = 0x8080808080808080U;

// Whether none of eight bytes means anything to an address. (It may say no to some that do not.)
bool AllPlain(std::uint64_t bytes) {
  const auto has = [bytes](char c) {
    const std::uint64_t differing = bytes ^ kOnes * static_cast<unsigned char>(c);
    return (differing - kOnes) & ~differing;
  };
  const std::uint64_t blanks_and_controls = (bytes - kOnes * 0x21) & ~bytes;
  return ((has('@') | has(',') | has('\x7F') | blanks_and_controls) & kHigh) == 0;
}

}  // namespace

const char* AddressFault(std::string_view text) {
  if (text.empty()) return "there is no address";
  unsigned met = 0;
  std::size_t signs = 0;
  for (std::string_view rest = text; !rest.empty();) {
    // Eight plain bytes at once.
    if (rest.size() >= 8 && AllPlain(LoadLe64(rest.data()))) {
      rest.remove_prefix(8);
      continue;
    }
    for (const char c : rest.substr(0, 8)) {
      const unsigned char byte_class = kClasses[static_cast<unsigned char>(c)];
      met |= byte_class;
      signs += byte_class & kAt;
    }
    rest.remove_prefix(std::min<std::size_t>(rest.size(), 8));
  }
  if ((met & kBlank) != 0) return "the address holds a blank";
  if ((met & kComma) != 0) return "the address holds a comma";
  if ((met & kControl) != 0) return "the address holds a control character";
  if (signs == 0) return "the address has no @";
  if (signs > 1) return "the address has more than one @";
  if (text.front() == '@') return "the address has nothing before the @";
  if (text.back() == '@') return "the address has nothing after the @";
  return nullptr;
}

std::string_view LowerAddress(std::string_view address, char* buffer, std::size_t buffer_size,
                              std::string* scratch) {
  if (address.size() <= buffer_size) {
    unsigned char high = 0;
    std::size_t i = 0;
    for (; i + 8 <= address.size(); i += 8) {
      const std::uint64_t bytes = LoadLe64(address.data() + i);
      if ((bytes & kHigh) != 0) break;  // the loop below sees it
      // Of bytes below 128 these sums have the high bit when the byte is not below A, or above Z.
      const std::uint64_t capital =
          (bytes + kOnes * (0x80 - 'A')) & ~(bytes + kOnes * (0x7F - 'Z'));
      StoreLe64(buffer + i, bytes | (capital & kHigh) >> 2);
    }
    for (; i < address.size(); ++i) {
      const char c = address[i];
      high |= static_cast<unsigned char>(c);
      buffer[i] = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }
    if (high < 0x80) return {buffer, address.size()};
  }
  *scratch = ToLower(address);
  return *scratch;
}

}  // namespace pv::cli
