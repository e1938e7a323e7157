// Leaf pages: packed entries growing up from byte 24, key bytes growing down from the end. A key
// leaves out the bytes that it shares with the key before it and its trailing fill bytes, so a
// leaf is read from its first entry on. Pure functions over 512 bytes; nothing here reads a file.
//
// "Trim" of a key is its length without trailing fill bytes. Everything that comes from a page is
// checked by the functions that read it: those that can meet damage return a sentence fragment
// that says what is wrong, or null.
#ifndef PV_TABLESTORE_ENGINE_INDEX_LEAF_PAGE_H_
#define PV_TABLESTORE_ENGINE_INDEX_LEAF_PAGE_H_

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "tablestore/engine/index/page_format.h"

namespace pv::engine::tree {

// How the entries of one leaf are packed. Each leaf has its own.
struct LeafLayout {
  std::uint32_t record_mask = 0;
  std::uint8_t dup_mask = 0;
  std::uint8_t trail_mask = 0;
  std::uint8_t record_bits = 0;
  std::uint8_t dup_bits = 0;
  std::uint8_t trail_bits = 0;
  std::uint8_t entry_bytes = 0;

  // The narrowest that holds counts up to `key_length` and records up to `max_record`, but three
  // bytes at least, which is what other programs' tables show for short keys.
  static LeafLayout For(std::size_t key_length, std::uint32_t max_record);
};

struct LeafHead {
  std::uint32_t count = 0;
  std::uint32_t left = kNoPage;
  std::uint32_t right = kNoPage;
  LeafLayout layout;
};

// As the page says it, unchecked.
inline LeafLayout LayoutOf(const std::uint8_t* page) {
  return {LoadLe32(page + 14), page[18], page[19], page[20], page[21], page[22], page[23]};
}

// Reads and checks the fixed part.
const char* ReadLeafHead(const std::uint8_t* page, LeafHead* head);

struct LeafEntry {
  std::uint32_t record = 0;
  std::uint32_t dup = 0;   // bytes shared with the key before
  std::uint32_t trim = 0;  // bytes before the trailing fill
  bool ok = false;         // the counts fit the key length

  std::uint32_t stored() const { return trim - dup; }
};

// `page` must be readable eight bytes past its end (PageBuffer is); index < head.count.
inline LeafEntry EntryAt(const std::uint8_t* page, const LeafLayout& layout, std::size_t key_length,
                         std::size_t index) {
  const std::uint64_t bits = LoadLe64(page + kLeafHeader + index * layout.entry_bytes);
  LeafEntry entry;
  entry.record = static_cast<std::uint32_t>(bits) & layout.record_mask;
  entry.dup = static_cast<std::uint32_t>(bits >> layout.record_bits) & layout.dup_mask;
  const auto trail = static_cast<std::uint32_t>(bits >> (layout.record_bits + layout.dup_bits)) &
                     layout.trail_mask;
  entry.trim = static_cast<std::uint32_t>(key_length) - trail;
  entry.ok = entry.dup + trail <= key_length;
  return entry;
}

// A key to look for, with its trim worked out once.
struct LeafTarget {
  const std::uint8_t* key = nullptr;  // whole key length
  std::uint32_t record = 0;
  std::uint32_t trim = 0;
};

// Where a target stands in a leaf: just before entry `index`.
struct LeafSlot {
  std::uint32_t index = 0;
  std::uint32_t previous_offset = kPageSize;  // of the key bytes of entry index-1
  std::uint32_t previous_trim = 0;
  std::uint32_t common_previous = 0;  // leading bytes that the target shares with entry index-1
  std::uint32_t common_next = 0;      // and with entry index
  LeafEntry next;                     // entry index, when index < count
  std::uint32_t bottom = kPageSize;   // lowest key byte of the whole leaf
  bool key_equal = false;             // entry index has the target's key
  bool equal = false;                 // and its record
};

// Finds the first entry that is not before (key, record), and checks all the counts of the leaf.
// Only bytes that can decide are compared: an entry that shares more bytes with its predecessor
// than the target does is smaller as that one was.
const char* FindInLeaf(const std::uint8_t* page, const LeafHead& head, std::size_t key_length,
                       std::uint8_t fill, const LeafTarget& target, LeafSlot* slot);

// Checks all the counts; `bottom` gets the lowest key byte.
const char* CheckLeaf(const std::uint8_t* page, const LeafHead& head, std::size_t key_length,
                      std::uint32_t* bottom);

// Writes bytes [from, trim) of the key of entry `index`, whose key bytes stand at `offset`, to
// `key`; the leaf must have passed CheckLeaf.
void RebuildKey(const std::uint8_t* page, const LeafLayout& layout, std::size_t key_length,
                std::uint8_t fill, std::size_t index, std::size_t offset, std::size_t from,
                std::uint8_t* key);

// The byte ranges of a page that a change touched: a header-and-entries one, and a key one.
struct LeafChange {
  std::uint32_t entries_end = 0;
  std::uint32_t keys_begin = 0;
  std::uint32_t keys_end = 0;
};

// Puts the target into its slot by moving bytes; only the next entry is encoded anew. False, and
// the page as it was, when it does not fit or the record number is too wide.
bool InsertIntoLeaf(std::uint8_t* page, LeafHead* head, std::size_t key_length,
                    const LeafTarget& target, const LeafSlot& slot, LeafChange* change);

// Takes out entry slot.index, which is the target. False, and the page as it was, when the rest
// would need more room than there is (possible only when others packed it).
bool RemoveFromLeaf(std::uint8_t* page, LeafHead* head, std::size_t key_length,
                    const LeafTarget& target, const LeafSlot& slot, LeafChange* change);

// Fills a leaf from its first entry to its last.
class LeafWriter {
 public:
  LeafWriter(std::uint8_t* page, std::size_t key_length) : page_(page), key_length_(key_length) {}

  void Start(const LeafLayout& layout);

  // Bytes that one more entry would need, and those there are.
  std::size_t Cost(std::size_t dup, std::size_t trim) const {
    return layout_.entry_bytes + trim - (count_ == 0 ? 0 : dup);
  }
  std::size_t Room() const { return bottom_ - top_; }

  // `key` is the whole key; `dup` is ignored for the first entry. It must fit.
  void Append(const std::uint8_t* key, std::size_t dup, std::size_t trim, std::uint32_t record);

  void Finish(std::uint16_t attributes, std::uint32_t left, std::uint32_t right);

  std::uint32_t count() const { return count_; }
  const LeafLayout& layout() const { return layout_; }

 private:
  std::uint8_t* page_;
  std::size_t key_length_;
  LeafLayout layout_;
  std::uint32_t count_ = 0;
  std::size_t top_ = kLeafHeader;
  std::size_t bottom_ = kPageSize;
};

}  // namespace pv::engine::tree

#endif  // PV_TABLESTORE_ENGINE_INDEX_LEAF_PAGE_H_
