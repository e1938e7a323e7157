// Reads, searches, changes and fills leaf pages. Tested by leaf_page_test.cc.
#include "tablestore/engine/index/leaf_page.h"

#include <algorithm>

namespace pv::engine::tree {

LeafLayout LeafLayout::For(std::size_t key_length, std::uint32_t max_record) {
  const auto count_bits = static_cast<int>(std::bit_width(key_length));
  const auto record_need = static_cast<int>(std::bit_width(max_record));
  int bytes = 3;
  while (8 * bytes - 2 * count_bits < record_need) ++bytes;
  const int record_bits = std::min(8 * bytes - 2 * count_bits, 32);
  const int dup_bits = (8 * bytes - record_bits) / 2;
  const int trail_bits = 8 * bytes - record_bits - dup_bits;
  LeafLayout layout;
  layout.entry_bytes = static_cast<std::uint8_t>(bytes);
  layout.record_bits = static_cast<std::uint8_t>(record_bits);
  layout.dup_bits = static_cast<std::uint8_t>(dup_bits);
  layout.trail_bits = static_cast<std::uint8_t>(trail_bits);
  layout.record_mask = static_cast<std::uint32_t>((std::uint64_t{1} << record_bits) - 1);
  layout.dup_mask = static_cast<std::uint8_t>((1U << dup_bits) - 1);
  layout.trail_mask = static_cast<std::uint8_t>((1U << trail_bits) - 1);
  return layout;
}

const char* ReadLeafHead(const std::uint8_t* page, LeafHead* head) {
  head->count = CountOf(page);
  head->left = LeftOf(page);
  head->right = RightOf(page);
  LeafLayout& l = head->layout;
  l.record_mask = LoadLe32(page + 14);
  l.dup_mask = page[18];
  l.trail_mask = page[19];
  l.record_bits = page[20];
  l.dup_bits = page[21];
  l.trail_bits = page[22];
  l.entry_bytes = page[23];
  if (l.record_bits == 0 || l.record_bits > 32 || l.dup_bits > 8 || l.trail_bits > 8 ||
      l.entry_bytes == 0 || l.record_bits + l.dup_bits + l.trail_bits != 8 * l.entry_bytes) {
    return "the bit widths of a leaf do not add up";
  }
  if (l.record_mask != static_cast<std::uint32_t>((std::uint64_t{1} << l.record_bits) - 1) ||
      l.dup_mask != (1U << l.dup_bits) - 1 || l.trail_mask != (1U << l.trail_bits) - 1) {
    return "the masks of a leaf do not go with its bit widths";
  }
  if (head->count * l.entry_bytes > kPageSize - kLeafHeader) {
    return "more entries than a leaf can hold";
  }
  return nullptr;
}

namespace {

constexpr const char* kBadCounts = "duplicate and trailing counts beyond the key length";
constexpr const char* kBadFirst = "the first key of a leaf shares bytes with none before it";
constexpr const char* kBadKeyBytes = "key bytes run into the entries";

void StoreEntry(std::uint8_t* at, const LeafLayout& layout, std::uint32_t record, std::size_t dup,
                std::size_t trail) {
  const std::uint64_t bits = record | std::uint64_t{dup} << layout.record_bits |
                             std::uint64_t{trail} << (layout.record_bits + layout.dup_bits);
  std::memcpy(at, &bits, layout.entry_bytes);
}

}  // namespace

const char* FindInLeaf(const std::uint8_t* page, const LeafHead& head, std::size_t key_length,
                       std::uint8_t fill, const LeafTarget& target, LeafSlot* slot) {
  const std::uint8_t* const key = target.key;
  const std::size_t floor = kLeafHeader + head.count * head.layout.entry_bytes;
  std::size_t offset = kPageSize;  // of the key bytes of the entry before
  std::uint32_t common = 0;        // bytes that the entry before shares with the target
  std::uint32_t trim = 0;          // of the entry before
  *slot = LeafSlot();
  std::uint32_t i = 0;
  for (; i < head.count; ++i) {
    const LeafEntry entry = EntryAt(page, head.layout, key_length, i);
    if (!entry.ok) return kBadCounts;
    if (i == 0 && entry.dup != 0) return kBadFirst;
    if (offset < floor + entry.stored()) return kBadKeyBytes;
    const std::size_t here = offset - entry.stored();
    if (entry.dup <= common) {
      // Bytes [0, dup) are the target's own; byte c of the key, from dup on, is at bytes[c].
      const std::uint8_t* const bytes = page + here - entry.dup;
      std::uint32_t c = entry.dup;
      while (c < entry.trim && bytes[c] == key[c]) ++c;
      bool before = false;
      bool same = false;
      if (c < entry.trim) {
        before = bytes[c] < key[c];
      } else if (target.trim <= c) {
        same = true;
        c = static_cast<std::uint32_t>(key_length);
        before = entry.record < target.record;
      } else {
        while (key[c] == fill) ++c;  // ends: byte trim-1 of the target differs
        before = fill < key[c];
      }
      if (!before) {
        slot->common_next = c;
        slot->next = entry;
        slot->key_equal = same;
        slot->equal = same && entry.record == target.record;
        break;
      }
      common = c;
    }
    offset = here;
    trim = entry.trim;
  }
  slot->index = i;
  slot->previous_offset = static_cast<std::uint32_t>(offset);
  slot->previous_trim = trim;
  slot->common_previous = common;
  for (; i < head.count; ++i) {
    const LeafEntry entry = EntryAt(page, head.layout, key_length, i);
    if (!entry.ok) return kBadCounts;
    if (offset < floor + entry.stored()) return kBadKeyBytes;
    offset -= entry.stored();
  }
  slot->bottom = static_cast<std::uint32_t>(offset);
  return nullptr;
}

const char* CheckLeaf(const std::uint8_t* page, const LeafHead& head, std::size_t key_length,
                      std::uint32_t* bottom) {
  const std::size_t floor = kLeafHeader + head.count * head.layout.entry_bytes;
  std::size_t offset = kPageSize;
  for (std::uint32_t i = 0; i < head.count; ++i) {
    const LeafEntry entry = EntryAt(page, head.layout, key_length, i);
    if (!entry.ok) return kBadCounts;
    if (i == 0 && entry.dup != 0) return kBadFirst;
    if (offset < floor + entry.stored()) return kBadKeyBytes;
    offset -= entry.stored();
  }
  *bottom = static_cast<std::uint32_t>(offset);
  return nullptr;
}

void RebuildKey(const std::uint8_t* page, const LeafLayout& layout, std::size_t key_length,
                std::uint8_t fill, std::size_t index, std::size_t offset, std::size_t from,
                std::uint8_t* key) {
  LeafEntry entry = EntryAt(page, layout, key_length, index);
  std::size_t end = entry.trim;
  while (end > from) {
    if (entry.dup < end) {
      const std::size_t begin = std::max<std::size_t>(entry.dup, from);
      std::memcpy(key + begin, page + offset + (begin - entry.dup), end - begin);
      end = begin;
    }
    if (index == 0) break;
    offset += entry.stored();
    entry = EntryAt(page, layout, key_length, --index);
    // A key may share bytes that lie in the fill of the key before it.
    if (entry.trim < end) {
      const std::size_t begin = std::max<std::size_t>(entry.trim, from);
      std::memset(key + begin, fill, end - begin);
      end = begin;
    }
  }
}

bool InsertIntoLeaf(std::uint8_t* page, LeafHead* head, std::size_t key_length,
                    const LeafTarget& target, const LeafSlot& slot, LeafChange* change) {
  const LeafLayout& layout = head->layout;
  if (target.record > layout.record_mask) return false;
  const std::size_t size = layout.entry_bytes;
  const std::size_t trail = std::min<std::size_t>(key_length - target.trim, layout.trail_mask);
  const std::size_t trim = key_length - trail;
  const std::size_t dup =
      slot.index == 0
          ? 0
          : std::min({std::size_t{slot.common_previous}, std::size_t{slot.previous_trim}, trim,
                      std::size_t{layout.dup_mask}});
  const std::size_t stored = trim - dup;
  const std::size_t entries_end = kLeafHeader + head->count * size;
  const std::size_t room = slot.bottom - entries_end;
  const LeafEntry& next = slot.next;
  std::size_t new_bottom = slot.bottom - stored;
  if (slot.index == head->count) {
    if (size + stored > room) return false;
  } else {
    // The next key mostly stores fewer bytes now. It stores more when it shared blanks in its
    // middle with the key before, which are trailing ones of the new key.
    const std::size_t next_dup = std::min({std::size_t{slot.common_next}, trim,
                                           std::size_t{next.trim}, std::size_t{layout.dup_mask}});
    const std::size_t next_stored = next.trim - next_dup;
    if (size + stored + next_stored > room + next.stored()) return false;
    new_bottom = slot.bottom + next.stored() - next_stored - stored;
    const std::size_t next_offset = slot.previous_offset - next.stored();
    const std::size_t kept = std::min<std::size_t>(next_stored, next.stored());
    // Far keys first when they make room, last when they close up.
    const std::size_t next_end = slot.previous_offset - stored;
    const auto move_far = [&] {
      std::memmove(page + new_bottom, page + slot.bottom, next_offset - slot.bottom);
    };
    if (new_bottom < slot.bottom) move_far();
    std::memmove(page + next_end - kept, page + slot.previous_offset - kept, kept);
    if (new_bottom > slot.bottom) move_far();
    std::memcpy(page + next_end - next_stored, target.key + next_dup, next_stored - kept);
    std::uint8_t* const at = page + kLeafHeader + slot.index * size;
    std::memmove(at + size, at, (head->count - slot.index) * size);
    StoreEntry(at + size, layout, next.record, next_dup, key_length - next.trim);
  }
  StoreEntry(page + kLeafHeader + slot.index * size, layout, target.record, dup, trail);
  std::memcpy(page + slot.previous_offset - stored, target.key + dup, stored);
  ++head->count;
  StoreLe16(page + 2, static_cast<std::uint16_t>(head->count));
  StoreLe16(page + 12, static_cast<std::uint16_t>(new_bottom - entries_end - size));
  change->entries_end = static_cast<std::uint32_t>(entries_end + size);
  change->keys_begin = static_cast<std::uint32_t>(std::min<std::size_t>(new_bottom, slot.bottom));
  change->keys_end = slot.previous_offset;
  return true;
}

bool RemoveFromLeaf(std::uint8_t* page, LeafHead* head, std::size_t key_length,
                    const LeafTarget& target, const LeafSlot& slot, LeafChange* change) {
  const LeafLayout& layout = head->layout;
  const std::size_t size = layout.entry_bytes;
  const LeafEntry& gone = slot.next;
  const std::size_t entries_end = kLeafHeader + head->count * size;
  std::size_t new_bottom = slot.bottom + gone.stored();
  if (slot.index + 1 < head->count) {
    const LeafEntry next = EntryAt(page, layout, key_length, slot.index + 1);
    const std::size_t next_dup = std::min(gone.dup, next.dup);
    const std::size_t extra = next.dup - next_dup;  // bytes that the next key must store itself
    if (extra > gone.stored() + size + (slot.bottom - entries_end)) return false;
    const std::size_t next_offset = slot.previous_offset - gone.stored() - next.stored();
    const std::size_t kept = slot.previous_offset - next.stored();
    new_bottom -= extra;
    std::memmove(page + kept, page + next_offset, next.stored());
    std::memmove(page + new_bottom, page + slot.bottom, next_offset - slot.bottom);
    std::memcpy(page + kept - extra, target.key + next_dup, extra);
    std::uint8_t* const at = page + kLeafHeader + slot.index * size;
    std::memmove(at, at + size, (head->count - slot.index - 1) * size);
    StoreEntry(at, layout, next.record, next_dup, key_length - next.trim);
  }
  --head->count;
  StoreLe16(page + 2, static_cast<std::uint16_t>(head->count));
  StoreLe16(page + 12, static_cast<std::uint16_t>(new_bottom - (entries_end - size)));
  change->entries_end = static_cast<std::uint32_t>(entries_end - size);
  change->keys_begin = static_cast<std::uint32_t>(std::min<std::size_t>(new_bottom, slot.bottom));
  change->keys_end = slot.previous_offset;
  return true;
}

void LeafWriter::Start(const LeafLayout& layout) {
  layout_ = layout;
  count_ = 0;
  top_ = kLeafHeader;
  bottom_ = kPageSize;
  std::memset(page_, 0, kPageSize);
}

void LeafWriter::Append(const std::uint8_t* key, std::size_t dup, std::size_t trim,
                        std::uint32_t record) {
  const std::size_t shared = count_ == 0 ? 0 : std::min<std::size_t>(dup, layout_.dup_mask);
  const std::size_t trail = std::min<std::size_t>(key_length_ - trim, layout_.trail_mask);
  const std::size_t stored = key_length_ - trail - shared;
  bottom_ -= stored;
  std::memcpy(page_ + bottom_, key + shared, stored);
  StoreEntry(page_ + top_, layout_, record, shared, trail);
  top_ += layout_.entry_bytes;
  ++count_;
}

void LeafWriter::Finish(std::uint16_t attributes, std::uint32_t left, std::uint32_t right) {
  StoreLe16(page_, attributes);
  StoreLe16(page_ + 2, static_cast<std::uint16_t>(count_));
  StoreLe32(page_ + 4, left);
  StoreLe32(page_ + 8, right);
  StoreLe16(page_ + 12, static_cast<std::uint16_t>(bottom_ - top_));
  StoreLe32(page_ + 14, layout_.record_mask);
  page_[18] = layout_.dup_mask;
  page_[19] = layout_.trail_mask;
  page_[20] = layout_.record_bits;
  page_[21] = layout_.dup_bits;
  page_[22] = layout_.trail_bits;
  page_[23] = layout_.entry_bytes;
}

}  // namespace pv::engine::tree
