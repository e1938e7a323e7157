// Numbers for texts, and the records that have them. Tested by record_set_test.cc.
#include "base/record_set.h"

#include <cstring>

namespace pv {

// Multiplies eight bytes at a time into the state and folds the upper half of the product, which
// every bit has reached, into the lower one.
std::uint64_t HashOf(std::string_view text) {
  constexpr std::uint64_t kFactor = 0x9FB21C651E98DF25U;
  std::uint64_t state = 0x2D358DCCAA6C78A5U ^ text.size();
  const auto mix = [&state](std::uint64_t word) {
    state = (state ^ word) * kFactor;
    state ^= state >> 32;
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
  return state * kFactor;
}

void RecordSet::Reserve(std::uint64_t records) {
  std::size_t slots = slots_.size();
  while (slots < records * 2) slots *= 2;
  if (slots > slots_.size()) Grow(slots);
}

void RecordSet::Add(std::uint64_t hash, std::uint32_t record) {
  if ((used_ + 1) * 2 > slots_.size()) Grow(slots_.size() * 2);
  Put({KeyOf(hash), record});
  ++used_;
}

void RecordSet::Put(const Slot& slot) {
  std::size_t i = slot.key & (slots_.size() - 1);
  while (slots_[i].record != kNotFound) i = (i + 1) & (slots_.size() - 1);
  slots_[i] = slot;
}

void RecordSet::Grow(std::size_t slots) {
  std::vector<Slot> old(slots);
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (slot.record != kNotFound) Put(slot);
  }
}

}  // namespace pv
