// Putting entries into leaves and taking them out: splices where a leaf has room, splits and
// merges where not. Tested by index_model_test.cc and index_crash_test.cc.
#include <algorithm>

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/index/tag_tree.h"

namespace pv::engine::tree {
namespace {

// Two writes of a page's changed bytes are worth it when this many lie unchanged between them.
constexpr std::uint32_t kWorthwhileGap = 96;

// A leaf with less than this in use is merged with a neighbour when both fit well into one.
constexpr std::size_t kSparse = (kPageSize - kLeafHeader) / 4;
constexpr std::size_t kWellFilled = (kPageSize - kLeafHeader) * 7 / 8;

// More leaves than one can come apart into when its entries are packed wider.
constexpr std::size_t kMaxParts = 12;
constexpr std::size_t kMaxEntries = kPageSize - kLeafHeader;

}  // namespace

// Goes down to the leaf of (key, record) and finds the place there, all in hint_.
Status TagTree::Locate(const std::uint8_t* key, std::uint32_t record) {
  const std::uint32_t before = hint_.offset;
  hint_.valid = false;
  hint_.has_slot = false;
  PV_RETURN_IF_ERROR(Descend(key, record, &hint_.path, &hint_.offset, hint_.page.bytes));
  hint_.in_run = hint_.offset == before;
  if (const char* wrong = ReadLeafHead(hint_.page.bytes, &hint_.head)) {
    return Damaged(hint_.offset, wrong);
  }
  if (const char* wrong = FindInLeaf(hint_.page.bytes, hint_.head, key_length_,
                                     definition_.fill_byte, Target(key, record), &hint_.slot)) {
    return Damaged(hint_.offset, wrong);
  }
  hint_.valid = true;
  return {};
}

// True when (key, record) belongs into the hint's leaf; its place is then in hint_.slot.
bool TagTree::TryHint(const std::uint8_t* key, std::uint32_t record) {
  hint_.has_slot = false;
  const char* const wrong = FindInLeaf(hint_.page.bytes, hint_.head, key_length_,
                                       definition_.fill_byte, Target(key, record), &hint_.slot);
  const LeafSlot& slot = hint_.slot;
  if (wrong == nullptr && (slot.index > 0 || hint_.head.left == kNoPage) &&
      (slot.index < hint_.head.count || hint_.head.right == kNoPage)) {
    return true;
  }
  hint_.in_run = false;
  return false;
}

Status TagTree::WriteLeafChange(const LeafChange& change) {
  const std::uint8_t* const page = hint_.page.bytes;
  constexpr std::uint32_t kBegin = 2;  // the attributes stay
  if (change.keys_begin == change.keys_end) {
    return store_->Write(hint_.offset + kBegin, page + kBegin, change.entries_end - kBegin);
  }
  if (change.keys_begin < change.entries_end + kWorthwhileGap) {
    return store_->Write(hint_.offset + kBegin, page + kBegin, change.keys_end - kBegin);
  }
  PV_RETURN_IF_ERROR(
      store_->Write(hint_.offset + kBegin, page + kBegin, change.entries_end - kBegin));
  return store_->Write(hint_.offset + change.keys_begin, page + change.keys_begin,
                       change.keys_end - change.keys_begin);
}

Status TagTree::Insert(const std::uint8_t* key, std::uint32_t record) {
  PV_RETURN_IF_ERROR(store_->CheckChange());
  if (definition_.foreign_collation) {
    return {StatusCode::kUnsupported,
            store_->path() + ": tag " + definition_.name +
                " is sorted in an order of its own and can only be read",
            kErrIndexReadOnly};
  }
  if (record == 0) {
    return Status::Invalid(store_->path() + ": tag " + definition_.name + ": there is no record 0");
  }
  PV_RETURN_IF_ERROR(Sync());
  const Status status = InsertEntry(key, record);
  if (!status.ok()) {
    hint_.valid = false;
    store_->NoteFailure();
  }
  return status;
}

Status TagTree::InsertEntry(const std::uint8_t* key, std::uint32_t record) {
  largest_record_ = std::max(largest_record_, record);
  const bool known = hint_.valid && hint_.has_slot && !hint_.slot.key_equal &&
                     std::memcmp(hint_.key.data(), key, key_length_) == 0;
  hint_.has_slot = false;
  if (!known && !(hint_.valid && hint_.in_run && TryHint(key, record))) {
    PV_RETURN_IF_ERROR(Locate(key, record));
  }
  if (hint_.slot.equal) {
    return Damaged(hint_.offset,
                   "the entry of record " + std::to_string(record) + " is there already");
  }
  const bool at_end = hint_.slot.index == hint_.head.count;
  if (at_end && hint_.head.right != kNoPage) {
    PV_RETURN_IF_ERROR(CheckRightNeighbour(key, record));
  }
  Touch();
  const LeafTarget target = Target(key, record);
  LeafChange change;
  if (!InsertIntoLeaf(hint_.page.bytes, &hint_.head, key_length_, target, hint_.slot, &change)) {
    return RewriteLeaf(target, true);
  }
  PV_RETURN_IF_ERROR(WriteLeafChange(change));
  return at_end ? UpdateLastKey(hint_.path, hint_.path.depth - 1, key, record) : Status();
}

// An entry is put at the end of a leaf that has a right neighbour only when an interior key is
// greater than its child's last entry. Then the neighbour must indeed begin behind it.
Status TagTree::CheckRightNeighbour(const std::uint8_t* key, std::uint32_t record) {
  PageBuffer page;
  PV_RETURN_IF_ERROR(store_->ReadPage(definition_.name, hint_.head.right, page.bytes));
  LeafHead head;
  if (const char* wrong = ReadLeafHead(page.bytes, &head)) return Damaged(hint_.head.right, wrong);
  LeafSlot slot;
  if (const char* wrong = FindInLeaf(page.bytes, head, key_length_, definition_.fill_byte,
                                     Target(key, record), &slot)) {
    return Damaged(hint_.head.right, wrong);
  }
  if (slot.index != 0 || slot.equal) {
    return Damaged(hint_.head.right, "the leaf and the interior pages above it do not agree");
  }
  return {};
}

Result<bool> TagTree::Remove(const std::uint8_t* key, std::uint32_t record) {
  PV_RETURN_IF_ERROR(store_->CheckChange());
  if (definition_.foreign_collation) {
    return Status(StatusCode::kUnsupported,
                  store_->path() + ": tag " + definition_.name +
                      " is sorted in an order of its own and can only be read",
                  kErrIndexReadOnly);
  }
  PV_RETURN_IF_ERROR(Sync());
  Result<bool> removed = RemoveEntry(key, record);
  if (!removed.ok()) {
    hint_.valid = false;
    store_->NoteFailure();
  }
  return removed;
}

Result<bool> TagTree::RemoveEntry(const std::uint8_t* key, std::uint32_t record) {
  hint_.has_slot = false;
  if (!(hint_.valid && hint_.in_run && TryHint(key, record))) {
    PV_RETURN_IF_ERROR(Locate(key, record));
  }
  if (!hint_.slot.equal) return false;
  Touch();
  const LeafTarget target = Target(key, record);
  if (hint_.head.count == 1 && hint_.path.depth > 0) {
    PV_RETURN_IF_ERROR(DropLeaf());
    return true;
  }
  LeafChange change;
  if (!RemoveFromLeaf(hint_.page.bytes, &hint_.head, key_length_, target, hint_.slot, &change)) {
    PV_RETURN_IF_ERROR(RewriteLeaf(target, false));
    return true;
  }
  PV_RETURN_IF_ERROR(WriteLeafChange(change));
  const LeafHead& head = hint_.head;
  if (hint_.path.depth == 0) return true;
  if (hint_.slot.index == head.count) {
    // The last entry went: the pages above name the one before it now.
    std::uint8_t last[kMaxKey];
    const std::uint8_t* const page = hint_.page.bytes;
    const LeafEntry entry = EntryAt(page, head.layout, key_length_, head.count - 1);
    RebuildKey(page, head.layout, key_length_, definition_.fill_byte, head.count - 1,
               hint_.slot.previous_offset, 0, last);
    std::memset(last + entry.trim, definition_.fill_byte, key_length_ - entry.trim);
    PV_RETURN_IF_ERROR(UpdateLastKey(hint_.path, hint_.path.depth - 1, last, entry.record));
  }
  const std::size_t used = kPageSize - kLeafHeader - LoadLe16(hint_.page.bytes + 12);
  if (used < kSparse) PV_RETURN_IF_ERROR(MergeLeaf());
  return true;
}

// The leaf in hint_ loses its only entry: it leaves the tree.
Status TagTree::DropLeaf() {
  hint_.valid = false;
  PV_RETURN_IF_ERROR(Unlink(hint_.head.left, hint_.head.right));
  PV_RETURN_IF_ERROR(store_->Free(hint_.offset));
  const int parent = hint_.path.depth - 1;
  const std::uint32_t index = hint_.path.steps[static_cast<std::size_t>(parent)].index;
  return EditInterior(hint_.path, parent, index, 1, {});
}

// Writes the leaf in hint_ anew with the target put in before slot.index (or, when not `insert`,
// with entry slot.index left out), over as many leaves as it takes, and tells the pages above.
Status TagTree::RewriteLeaf(const LeafTarget& target, bool insert) {
  hint_.valid = false;
  const std::uint8_t* const page = hint_.page.bytes;
  const LeafHead& head = hint_.head;
  const LeafSlot& slot = hint_.slot;

  // The sequence of entries that shall be; `source` is the index in the old leaf.
  struct Item {
    std::uint32_t record;
    std::uint16_t dup;
    std::uint16_t trim;
    std::uint16_t source;
    bool is_target;
  };
  std::array<Item, kMaxEntries + 1> items;
  std::size_t count = 0;
  std::uint32_t largest = largest_record_;
  const std::uint32_t after = insert ? slot.index : slot.index + 1;
  for (std::uint32_t i = 0; i <= head.count; ++i) {
    if (i == slot.index && insert) {
      const std::uint32_t dup =
          i == 0 ? 0 : std::min({slot.common_previous, slot.previous_trim, target.trim});
      items[count++] = {target.record, static_cast<std::uint16_t>(dup),
                        static_cast<std::uint16_t>(target.trim), 0, true};
    }
    if (i == head.count || (i == slot.index && !insert)) continue;
    const LeafEntry entry = EntryAt(page, head.layout, key_length_, i);
    std::uint32_t dup = entry.dup;
    if (i == after && insert) {
      dup = std::min({slot.common_next, target.trim, entry.trim});
    } else if (i == after) {
      dup = std::min(dup, slot.next.dup);
    }
    items[count++] = {entry.record, static_cast<std::uint16_t>(dup),
                      static_cast<std::uint16_t>(entry.trim), static_cast<std::uint16_t>(i), false};
    largest = std::max(largest, entry.record);
  }

  // Where to cut. An entry at the outer edge of the tree goes into a leaf of its own, so that
  // ascending (or descending) inserts leave full pages behind.
  const LeafLayout layout = LeafLayout::For(key_length_, largest);
  constexpr std::size_t kRoom = kPageSize - kLeafHeader;
  const auto cost = [&](std::size_t i, bool first) {
    return std::size_t{layout.entry_bytes} + items[i].trim - (first ? 0U : items[i].dup);
  };
  std::array<std::size_t, kMaxParts + 1> cuts;  // first item of each part, then the end
  std::size_t parts = 0;
  const auto fits = [&](std::size_t from, std::size_t to) {
    std::size_t used = 0;
    for (std::size_t i = from; i < to; ++i) used += cost(i, i == from);
    return used <= kRoom;
  };
  std::size_t total = 0;
  for (std::size_t i = 0; i < count; ++i) total += cost(i, i == 0);
  std::size_t cut = count;
  if (total > kRoom) {
    const bool at_right = insert && slot.index == head.count && head.right == kNoPage;
    const bool at_left = insert && slot.index == 0 && head.left == kNoPage;
    if (at_right && count > 1 && fits(0, count - 1)) {
      cut = count - 1;
    } else if (at_left && count > 1 && fits(1, count)) {
      cut = 1;
    } else {
      std::size_t used = 0;
      for (cut = 0; cut + 1 < count && used + cost(cut, false) / 2 < total / 2; ++cut) {
        used += cost(cut, cut == 0);
      }
      cut = std::max<std::size_t>(cut, 1);
    }
  }
  cuts[parts++] = 0;
  if (cut < count && fits(0, cut) && fits(cut, count)) {
    cuts[parts++] = cut;
  } else if (cut < count) {
    // Long keys, or entries that became wider: fill leaf after leaf.
    std::size_t used = 0;
    for (std::size_t i = 0; i < count; ++i) {
      if (used + cost(i, i == cuts[parts - 1]) > kRoom) {
        if (parts == kMaxParts) return Damaged(hint_.offset, "the leaf cannot be packed anew");
        cuts[parts++] = i;
        used = 0;
      }
      used += cost(i, i == cuts[parts - 1]);
    }
  }
  cuts[parts] = count;

  if (hint_.path.depth + 3 > kMaxDepth && parts > 1) {
    return {StatusCode::kLimit,
            store_->path() + ": the tree of tag " + definition_.name +
                " is too deep for more entries; rebuilding makes it flatter",
            kErrTooLarge};
  }

  // The offsets, before anything is written.
  std::array<std::uint32_t, kMaxParts> offsets;
  offsets[0] = hint_.offset;
  for (std::size_t k = 1; k < parts; ++k) {
    PV_ASSIGN_OR_RETURN(offsets[k], store_->Allocate(definition_.name));
  }

  std::uint16_t attributes = AttributesOf(page);
  if (parts > 1) attributes = static_cast<std::uint16_t>(attributes & ~kRootAttribute);
  std::array<std::array<std::uint8_t, kMaxKey>, kMaxParts> last_keys;
  std::array<Child, kMaxParts> children;
  std::uint8_t key[kMaxKey];  // the current one, whole
  std::memset(key, definition_.fill_byte, sizeof key);
  std::uint32_t key_offset = kPageSize;  // of the old leaf's entries
  std::uint32_t source = 0;
  const auto decode = [&](std::uint32_t i) {
    const LeafEntry entry = EntryAt(page, head.layout, key_length_, i);
    key_offset -= entry.stored();
    std::memcpy(key + entry.dup, page + key_offset, entry.stored());
    std::memset(key + entry.trim, definition_.fill_byte, key_length_ - entry.trim);
  };
  for (std::size_t k = 0; k < parts; ++k) {
    PageBuffer out;
    LeafWriter writer(out.bytes, key_length_);
    writer.Start(layout);
    for (std::size_t i = cuts[k]; i < cuts[k + 1]; ++i) {
      const Item& item = items[i];
      if (item.is_target) {
        std::memcpy(key, target.key, key_length_);
      } else {
        while (source <= item.source) decode(source++);
      }
      writer.Append(key, item.dup, item.trim, item.record);
    }
    std::memcpy(last_keys[k].data(), key, key_length_);
    children[k] = {last_keys[k].data(), items[cuts[k + 1] - 1].record, offsets[k],
                   ChildRef::Leaf(offsets[k])};
    writer.Finish(attributes, k == 0 ? head.left : offsets[k - 1],
                  k + 1 == parts ? head.right : offsets[k + 1]);
    PV_RETURN_IF_ERROR(store_->Write(offsets[k], out.bytes, kPageSize));
    // A run goes on in the leaf that has the new entry.
    if (insert && slot.index >= cuts[k] && slot.index < cuts[k + 1]) hint_.offset = offsets[k];
  }
  if (parts > 1 && head.right != kNoPage) {
    PV_RETURN_IF_ERROR(WriteLink(head.right, true, offsets[parts - 1]));
  }
  const std::span<const Child> made(children.data(), parts);
  const int parent = hint_.path.depth - 1;
  if (parent < 0) return parts > 1 ? GrowRoot(made) : Status();
  const Step& step = hint_.path.steps[static_cast<std::size_t>(parent)];
  if (parts == 1) {
    return UpdateLastKey(hint_.path, parent, children[0].key, children[0].record);
  }
  return EditInterior(hint_.path, parent, step.index, 1, made);
}

// Joins the sparse leaf in hint_ with a neighbour under the same parent, when both fit well.
Status TagTree::MergeLeaf() {
  const Step& step = hint_.path.steps[static_cast<std::size_t>(hint_.path.depth - 1)];
  for (const bool with_right : {true, false}) {
    if (with_right ? step.index + 1 >= step.count : step.index == 0) continue;
    const std::uint32_t other = with_right ? hint_.head.right : hint_.head.left;
    PageBuffer neighbour;
    PV_RETURN_IF_ERROR(store_->ReadPage(definition_.name, other, neighbour.bytes));
    LeafHead head;
    if (!IsLeaf(neighbour.bytes)) return Damaged(other, "an interior page among the leaves");
    if (const char* wrong = ReadLeafHead(neighbour.bytes, &head)) return Damaged(other, wrong);
    std::uint32_t bottom = 0;
    if (const char* wrong = CheckLeaf(neighbour.bytes, head, key_length_, &bottom)) {
      return Damaged(other, wrong);
    }
    if ((with_right ? head.left : head.right) != hint_.offset) {
      return Damaged(other, "its neighbour links do not match");
    }

    const std::uint8_t* const pages[2] = {with_right ? hint_.page.bytes : neighbour.bytes,
                                          with_right ? neighbour.bytes : hint_.page.bytes};
    const LeafHead heads[2] = {with_right ? hint_.head : head, with_right ? head : hint_.head};
    std::uint32_t largest = largest_record_;
    std::size_t used = 0;
    for (int side = 0; side < 2; ++side) {
      for (std::uint32_t i = 0; i < heads[side].count; ++i) {
        const LeafEntry entry = EntryAt(pages[side], heads[side].layout, key_length_, i);
        largest = std::max(largest, entry.record);
        used += entry.stored();
      }
    }
    const LeafLayout layout = LeafLayout::For(key_length_, largest);
    used += layout.entry_bytes * (heads[0].count + heads[1].count);
    if (used > kWellFilled || heads[0].count + heads[1].count == 0) continue;

    hint_.valid = false;
    PageBuffer out;
    LeafWriter writer(out.bytes, key_length_);
    writer.Start(layout);
    std::uint8_t key[kMaxKey];
    std::uint8_t before[kMaxKey];
    std::uint32_t before_trim = 0;
    std::uint32_t last_record = 0;
    for (int side = 0; side < 2; ++side) {
      std::uint32_t offset = kPageSize;
      for (std::uint32_t i = 0; i < heads[side].count; ++i) {
        const LeafEntry entry = EntryAt(pages[side], heads[side].layout, key_length_, i);
        offset -= entry.stored();
        std::memcpy(key + entry.dup, pages[side] + offset, entry.stored());
        std::memset(key + entry.trim, definition_.fill_byte, key_length_ - entry.trim);
        std::uint32_t dup = entry.dup;
        if (side == 1 && i == 0) {
          dup = std::min({CommonPrefix(before, key, key_length_), before_trim, entry.trim});
        }
        writer.Append(key, dup, entry.trim, entry.record);
        last_record = entry.record;
        before_trim = entry.trim;
      }
      std::memcpy(before, key, key_length_);
    }
    const std::uint32_t kept = with_right ? hint_.offset : other;
    const std::uint32_t gone = with_right ? other : hint_.offset;
    writer.Finish(AttributesOf(pages[0]), heads[0].left, heads[1].right);
    PV_RETURN_IF_ERROR(store_->Write(kept, out.bytes, kPageSize));
    if (heads[1].right != kNoPage) {
      if (!IsPageOffset(heads[1].right)) return Damaged(gone, "its right neighbour is no page");
      PV_RETURN_IF_ERROR(WriteLink(heads[1].right, true, kept));
    }
    PV_RETURN_IF_ERROR(store_->Free(gone));
    const Child merged{key, last_record, kept, ChildRef::Leaf(kept)};
    return EditInterior(hint_.path, hint_.path.depth - 1, step.index - (with_right ? 0 : 1), 2,
                        {&merged, 1});
  }
  return {};
}

}  // namespace pv::engine::tree
