// Keys of one length with their record numbers, gathered in memory and sorted there.
#ifndef PV_TABLESTORE_ENGINE_KEY_BLOCK_H_
#define PV_TABLESTORE_ENGINE_KEY_BLOCK_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "base/bytes.h"

namespace pv::engine {

// How long the keys are, and the byte that those end in that are kept without their end.
struct KeyShape {
  KeyShape(std::size_t key_length, std::uint8_t fill_byte)
      : length(key_length), fill(fill_byte), fill_word(fill_byte * 0x0101010101010101ULL) {}

  // Eight bytes of a key from `depth` on as a number that compares as they do. `stored` is what is
  // kept of the key: its length in a byte, then its bytes.
  std::uint64_t WordAt(const std::uint8_t* stored, std::size_t depth) const {
    const std::size_t kept = stored[0];
    if (depth + 8 <= kept) return LoadBe64(stored + 1 + depth);
    if (depth >= kept) return fill_word;
    std::uint64_t word = fill_word;
    std::memcpy(&word, stored + 1 + depth, kept - depth);
    return __builtin_bswap64(word);
  }

  std::size_t length;
  std::uint8_t fill;
  std::uint64_t fill_word;
};

class KeyBlock {
 public:
  explicit KeyBlock(const KeyShape& shape) : shape_(shape) {}

  void Reserve(std::size_t entries) { items_.reserve(entries); }
  void Add(const std::uint8_t* key, std::uint32_t record);

  bool empty() const { return items_.empty(); }
  std::size_t size() const { return items_.size(); }
  std::size_t MemoryUsed() const { return keys_.size() + items_.size() * sizeof(Item); }
  // Bytes of what Sorted gives.
  std::size_t SortedSize() const { return keys_.size() + items_.size() * kRecordSize; }

  // Each entry's stored key and its record number (little-endian), in ascending order of key and
  // record. The block is of no use afterwards.
  std::vector<std::uint8_t> Sorted();

  static constexpr std::size_t kRecordSize = 4;

 private:
  struct Item {
    std::uint64_t word;  // the eight bytes of the key that are being compared
    std::uint32_t at;    // of the stored key in keys_
    std::uint32_t record;
  };

  std::uint64_t WordAt(std::uint32_t at, std::size_t depth) const {
    return shape_.WordAt(keys_.data() + at, depth);
  }
  bool Before(const Item& a, const Item& b, std::size_t depth) const;
  void SortFrom(Item* begin, Item* end, std::size_t depth, int patience);

  KeyShape shape_;
  std::vector<std::uint8_t> keys_;
  std::vector<Item> items_;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_KEY_BLOCK_H_
