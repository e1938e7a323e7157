// Checks and remembers addresses. Tested by address_test.cc.
#include "cli/address.h"

#include <array>
#include <cstring>

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

}  // namespace

const char* AddressFault(std::string_view text) {
  if (text.empty()) return "there is no address";
  unsigned met = 0;
  std::size_t signs = 0;
  for (const char c : text) {
    const unsigned char byte_class = kClasses[static_cast<unsigned char>(c)];
    met |= byte_class;
    signs += byte_class & kAt;
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
    for (std::size_t i = 0; i < address.size(); ++i) {
      const char c = address[i];
      high |= static_cast<unsigned char>(c);
      buffer[i] = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }
    if (high < 0x80) return {buffer, address.size()};
  }
  *scratch = ToLower(address);
  return *scratch;
}

// Multiplies eight bytes at a time into the state and folds the halves of the product.
std::uint64_t HashOf(std::string_view text) {
  constexpr std::uint64_t kFactor = 0x9FB21C651E98DF25U;
  std::uint64_t state = 0x2D358DCCAA6C78A5U ^ text.size();
  const auto mix = [&state](std::uint64_t word) {
    __extension__ using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(state ^ word) * kFactor;
    state = static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64) ^
            (state << 7 | state >> 57);
  };
  while (text.size() >= 8) {
    std::uint64_t word;
    std::memcpy(&word, text.data(), 8);
    mix(word);
    text.remove_prefix(8);
  }
  std::uint64_t tail = 0;
  std::memcpy(&tail, text.data(), text.size());
  mix(tail);
  mix(0x8BB84B93962EACC9U);
  return state;
}

void AddressSet::Reserve(std::uint64_t records) {
  std::size_t slots = slots_.size();
  while (slots < records * 2) slots *= 2;
  if (slots > slots_.size()) Grow(slots);
}

void AddressSet::Add(std::uint64_t hash, std::uint32_t record) {
  if ((used_ + 1) * 2 > slots_.size()) Grow(slots_.size() * 2);
  Put({KeyOf(hash), record});
  ++used_;
}

void AddressSet::Put(const Slot& slot) {
  std::size_t i = slot.key & (slots_.size() - 1);
  while (slots_[i].record != kNotFound) i = (i + 1) & (slots_.size() - 1);
  slots_[i] = slot;
}

void AddressSet::Grow(std::size_t slots) {
  std::vector<Slot> old(slots);
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (slot.record != kNotFound) Put(slot);
  }
}

}  // namespace pv::cli
