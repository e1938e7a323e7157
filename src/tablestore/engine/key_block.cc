// Sorting keys in memory. Tested by key_sorter_test.cc.
#include "tablestore/engine/key_block.h"

#include <algorithm>
#include <bit>

namespace pv::engine {
namespace {

// Ranges that are smaller are sorted by insertion.
constexpr std::ptrdiff_t kSmall = 16;

// Keys lie all over the memory when they come out in order: they are asked for so much ahead.
constexpr std::size_t kPrefetched = 8;

}  // namespace

void KeyBlock::Add(const std::uint8_t* key, std::uint32_t record) {
  std::size_t length = shape_.length;
  while (length >= 8 && LoadLe64(key + length - 8) == shape_.fill_word) length -= 8;
  while (length > 0 && key[length - 1] == shape_.fill) --length;
  const std::size_t at = keys_.size();
  keys_.resize(at + 1 + length);
  keys_[at] = static_cast<std::uint8_t>(length);
  std::memcpy(keys_.data() + at + 1, key, length);
  const auto stored = static_cast<std::uint32_t>(at);
  items_.push_back({WordAt(stored, 0), stored, record});
}

// Of two items whose words begin at `depth`.
bool KeyBlock::Before(const Item& a, const Item& b, std::size_t depth) const {
  if (a.word != b.word) return a.word < b.word;
  for (depth += 8; depth < shape_.length; depth += 8) {
    const std::uint64_t x = WordAt(a.at, depth);
    const std::uint64_t y = WordAt(b.at, depth);
    if (x != y) return x < y;
  }
  return a.record < b.record;
}

// Quicksort in three parts, by eight bytes of the key at a time: comparisons look at one word that
// lies in the item, and only items that are equal so far have their next word fetched. Where the
// parts come out badly too often, `patience` ends.
void KeyBlock::SortFrom(Item* begin, Item* end, std::size_t depth, int patience) {
  while (end - begin > kSmall) {
    if (patience-- == 0) {
      std::sort(begin, end, [&](const Item& a, const Item& b) { return Before(a, b, depth); });
      return;
    }
    const std::uint64_t first = begin->word;
    const std::uint64_t middle = begin[(end - begin) / 2].word;
    const std::uint64_t last = (end - 1)->word;
    const std::uint64_t pivot =
        std::max(std::min(first, middle), std::min(std::max(first, middle), last));
    Item* less = begin;  // [begin, less) is smaller, [less, at) equal, [greater, end) greater
    Item* greater = end;
    for (Item* at = begin; at < greater;) {
      if (at->word < pivot) {
        std::swap(*at++, *less++);
      } else if (at->word > pivot) {
        std::swap(*at, *--greater);
      } else {
        ++at;
      }
    }
    if (greater - less > 1) {
      if (depth + 8 < shape_.length) {
        for (Item* item = less; item != greater; ++item) item->word = WordAt(item->at, depth + 8);
        SortFrom(less, greater, depth + 8,
                 2 * static_cast<int>(std::bit_width(static_cast<std::size_t>(greater - less))));
      } else {
        std::sort(less, greater, [](const Item& a, const Item& b) { return a.record < b.record; });
      }
    }
    // The smaller part by recursion, which then never goes deep.
    if (less - begin < end - greater) {
      SortFrom(begin, less, depth, patience);
      begin = greater;
    } else {
      SortFrom(greater, end, depth, patience);
      end = less;
    }
  }
  for (Item* item = begin; item < end; ++item) {
    const Item moved = *item;
    Item* at = item;
    for (; at > begin && Before(moved, *(at - 1), depth); --at) *at = *(at - 1);
    *at = moved;
  }
}

std::vector<std::uint8_t> KeyBlock::Sorted() {
  const int patience = 2 * static_cast<int>(std::bit_width(items_.size()));
  if (!items_.empty()) SortFrom(items_.data(), items_.data() + items_.size(), 0, patience);
  std::vector<std::uint8_t> out(SortedSize());
  std::uint8_t* at = out.data();
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (i + kPrefetched < items_.size()) {
      const std::uint8_t* const soon = keys_.data() + items_[i + kPrefetched].at;
      __builtin_prefetch(soon);
      __builtin_prefetch(soon + 40);
    }
    const std::uint8_t* const stored = keys_.data() + items_[i].at;
    const std::size_t size = std::size_t{1} + stored[0];
    std::memcpy(at, stored, size);
    StoreLe32(at + size, items_[i].record);
    at += size + kRecordSize;
  }
  return out;
}

}  // namespace pv::engine
