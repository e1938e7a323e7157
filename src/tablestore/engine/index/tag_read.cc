// Seeking and walking in a tag. Tested by index_file_test.cc and index_model_test.cc.
#include <algorithm>

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/index/tag_tree.h"

namespace pv::engine::tree {
namespace {

// Index of the first entry that is not before (key, record); `count` when there is none.
std::uint32_t FindInInterior(const std::uint8_t* page, std::uint32_t count, std::size_t key_length,
                             const std::uint8_t* key, std::uint32_t record) {
  std::uint32_t low = 0;
  std::uint32_t high = count;
  while (low < high) {
    const std::uint32_t middle = (low + high) / 2;
    const std::uint8_t* const entry = InteriorKey(page, key_length, middle);
    const int order = CompareKeys(entry, key, key_length);
    if (order < 0 || (order == 0 && LoadBe32(entry + key_length) < record)) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

}  // namespace

TagTree::TagTree(PageStore* store, TagDefinition definition, std::uint32_t header_offset)
    : store_(store),
      definition_(std::move(definition)),
      key_length_(definition_.key_length),
      header_offset_(header_offset),
      nodes_(key_length_) {}

void TagTree::SetFillByte(std::uint8_t fill) {
  if (definition_.fill_byte == fill) return;
  definition_.fill_byte = fill;
  hint_.valid = false;
  Touch();
}

void TagTree::Touch() { version_ = store_->NewVersion(); }

Status TagTree::LoadRoot() {
  hint_.valid = false;
  Touch();
  std::uint8_t header[16];
  PV_ASSIGN_OR_RETURN(const std::size_t got,
                      store_->file()->Read(header_offset_, header, sizeof header));
  if (got != sizeof header) {
    return Damaged(header_offset_, "the tag's header lies beyond the end of the file");
  }
  if (LoadLe16(header + 12) != key_length_) {
    return Damaged(header_offset_, "the key length in the tag's header has changed");
  }
  root_ = LoadLe32(header);
  nodes_.Clear();
  root_ref_ = ChildRef::Unknown(root_);
  epoch_ = store_->epoch();
  return {};
}

Status TagTree::SetRoot(std::uint32_t page) {
  std::uint8_t bytes[4];
  StoreLe32(bytes, page);
  PV_RETURN_IF_ERROR(store_->Write(header_offset_, bytes, sizeof bytes));
  root_ = page;
  return {};
}

Status TagTree::ReadInterior(std::uint32_t offset, std::uint8_t* out) {
  PV_RETURN_IF_ERROR(store_->ReadPage(definition_.name, offset, out));
  if (IsLeaf(out)) return Damaged(offset, "a leaf where an interior page should be");
  if (const char* wrong = CheckInterior(out, key_length_)) return Damaged(offset, wrong);
  return {};
}

void TagTree::FillNode(std::uint32_t slot, std::uint32_t offset, const std::uint8_t* page,
                       std::uint32_t skip, const ChildRef* refs) {
  const std::uint32_t count = CountOf(page);
  const std::uint8_t* const first = InteriorKey(page, key_length_, 0);
  const std::uint8_t* const last = InteriorKey(page, key_length_, count - 1);
  const bool is_root = offset == root_;
  // Nothing is known about the keys on both sides of the root's, but the root is one page: it
  // is cheap to compare with it what its keys share.
  const std::uint32_t shared = CommonPrefix(first, last, key_length_);
  skip = is_root ? shared : std::min(skip, shared);
  if (is_root) std::memcpy(root_key_.data(), first, key_length_);
  const NodeCache::Node node = nodes_.At(slot);
  node.set_header(offset, count, skip);
  for (std::uint32_t i = 0; i < count; ++i) {
    for (std::size_t word = 0; word < nodes_.words(); ++word) {
      node.windows(word)[i] =
          WindowOf(InteriorKey(page, key_length_, i), key_length_, skip + 8 * word);
    }
    node.refs()[i] =
        refs != nullptr ? refs[i] : ChildRef::Unknown(InteriorChild(page, key_length_, i));
  }
}

Status TagTree::Descend(const std::uint8_t* key, std::uint32_t record, Path* path,
                        std::uint32_t* leaf_offset, std::uint8_t* leaf) {
  if (nodes_.Full()) {
    nodes_.Clear();
    root_ref_ = ChildRef::Unknown(root_);
    hint_.valid = false;
  }
  // Leading bytes that the key shares with the greatest interior key before the page we are at,
  // and with the least one behind it: every key of the page shares the fewer of them.
  std::uint32_t shared_before = 0;
  std::uint32_t shared_behind = 0;
  std::uint32_t parent = 0;  // slot and index of what led here, when depth > 0
  std::uint32_t parent_index = 0;
  for (int depth = 0; depth < kMaxDepth; ++depth) {
    ChildRef ref = depth == 0 ? root_ref_ : nodes_.At(parent).refs()[parent_index];
    if (!ref.is_node()) {
      const std::uint32_t offset = ref.page();
      PV_RETURN_IF_ERROR(store_->ReadPage(definition_.name, offset, leaf));
      const bool is_leaf = IsLeaf(leaf);
      if (is_leaf) {
        ref = ChildRef::Leaf(offset);
      } else {
        if (const char* wrong = CheckInterior(leaf, key_length_)) return Damaged(offset, wrong);
        const std::uint32_t slot = nodes_.Allocate();
        FillNode(slot, offset, leaf, std::min(shared_before, shared_behind), nullptr);
        ref = ChildRef::Node(slot);
      }
      (depth == 0 ? root_ref_ : nodes_.At(parent).refs()[parent_index]) = ref;
      if (is_leaf) {
        if (path != nullptr) path->depth = depth;
        *leaf_offset = offset;
        return {};
      }
    }
    const NodeCache::Node node = nodes_.At(ref.slot());
    const std::uint32_t count = node.count();
    std::uint32_t shared = std::min(shared_before, shared_behind);
    if (depth == 0 && std::memcmp(key, root_key_.data(), node.skip()) == 0) shared = node.skip();
    std::uint32_t index = 0;
    bool decided = false;
    if (shared >= node.skip()) {
      std::uint64_t sought[NodeCache::kMaxWords];
      std::uint32_t end = count;  // entries [index, end) agree with the key so far
      std::size_t known = 0;      // words of `sought`
      for (std::size_t word = 0; word < nodes_.words() && !decided; ++word) {
        const std::uint64_t* const windows = node.windows(word);
        sought[word] = WindowOf(key, key_length_, node.skip() + 8 * word);
        known = word + 1;
        index += FindWindow(windows + index, end - index, sought[word]);
        decided = index == end || windows[index] != sought[word];
        const std::uint32_t limit = end;
        for (end = index; end < limit && windows[end] == sought[word];) ++end;
      }
      if (decided) {
        const auto shared_with = [&](std::uint32_t i) {
          std::size_t word = 0;
          while (word < known && node.windows(word)[i] == sought[word]) ++word;
          // Only keys out of order, on a damaged page, are equal in all of them.
          if (word == known) return node.skip();
          const int bits = std::countl_zero(node.windows(word)[i] ^ sought[word]);
          return static_cast<std::uint32_t>(node.skip() + 8 * word) +
                 static_cast<std::uint32_t>(bits) / 8;
        };
        if (index < count) shared_behind = shared_with(index);
        if (index > 0) shared_before = shared_with(index - 1);
      }
    }
    if (!decided) {
      PageBuffer page;
      PV_RETURN_IF_ERROR(ReadInterior(node.page(), page.bytes));
      if (CountOf(page.bytes) != count) {
        return Damaged(node.page(), "the page changed though the change counter stood still");
      }
      index = FindInInterior(page.bytes, count, key_length_, key, record);
      if (index < count) {
        shared_behind = CommonPrefix(key, InteriorKey(page.bytes, key_length_, index), key_length_);
      }
      if (index > 0) {
        shared_before =
            CommonPrefix(key, InteriorKey(page.bytes, key_length_, index - 1), key_length_);
      }
      if (shared < node.skip() && depth > 0) {
        FillNode(ref.slot(), node.page(), page.bytes, shared, node.refs());
      }
    }
    // Past the last entry of the last child everything belongs to that child.
    index = std::min(index, count - 1);
    if (path != nullptr) {
      path->steps[static_cast<std::size_t>(depth)] = {node.page(), ref.slot(), index, count};
    }
    parent = ref.slot();
    parent_index = index;
  }
  return Damaged(root_, "the tree is too deep, or its pages form a ring");
}

Status TagTree::DescendEdge(bool last, std::uint32_t* leaf_offset, std::uint8_t* leaf) {
  std::uint32_t offset = root_;
  for (int depth = 0; depth < kMaxDepth; ++depth) {
    PV_RETURN_IF_ERROR(store_->ReadPage(definition_.name, offset, leaf));
    if (IsLeaf(leaf)) {
      *leaf_offset = offset;
      return {};
    }
    if (const char* wrong = CheckInterior(leaf, key_length_)) return Damaged(offset, wrong);
    offset = InteriorChild(leaf, key_length_, last ? CountOf(leaf) - 1 : 0);
  }
  return Damaged(offset, "the tree is too deep, or its pages form a ring");
}

Status TagTree::OutOfOrder(const TagPosition& p) const {
  return Damaged(p.page_offset_,
                 "entry " + std::to_string(p.index_) + " is not in key and record order");
}

// Checks the copied leaf; leaves the place of its last key in key_offset_.
Status TagTree::LoadLeaf(TagPosition* p, std::uint32_t offset, LeafHead* head) {
  const std::uint8_t* const page = p->page_.data();
  if (!IsLeaf(page)) return Damaged(offset, "an interior page among the leaves");
  if (const char* wrong = ReadLeafHead(page, head)) return Damaged(offset, wrong);
  if (const char* wrong = CheckLeaf(page, *head, key_length_, &p->key_offset_)) {
    return Damaged(offset, wrong);
  }
  p->page_offset_ = offset;
  p->count_ = head->count;
  return {};
}

// Stands on the first or last entry of the loaded leaf, which has entries. With `compare` the
// entry must lie beyond the one that the position was on.
Status TagTree::EnterLeaf(TagPosition* p, bool at_last, bool compare) {
  const std::uint8_t* const page = p->page_.data();
  LeafHead head;
  static_cast<void>(ReadLeafHead(page, &head));
  p->index_ = at_last ? head.count - 1 : 0;
  const LeafEntry entry = EntryAt(page, head.layout, key_length_, p->index_);
  if (!at_last) p->key_offset_ = static_cast<std::uint32_t>(kPageSize - entry.stored());
  std::uint8_t key[kMaxKey];
  RebuildKey(page, head.layout, key_length_, definition_.fill_byte, p->index_, p->key_offset_, 0,
             key);
  std::memset(key + entry.trim, definition_.fill_byte, key_length_ - entry.trim);
  if (compare) {
    int order = std::memcmp(key, p->key_.data(), key_length_);
    if (order == 0) order = entry.record < p->record_ ? -1 : entry.record > p->record_;
    if (at_last ? order >= 0 : order <= 0) return OutOfOrder(*p);
  }
  std::memcpy(p->key_.data(), key, key_length_);
  p->record_ = entry.record;
  p->dup_ = entry.dup;
  p->trim_ = entry.trim;
  p->state_ = State::kOnEntry;
  p->version_ = version_;
  return {};
}

// Goes to the first entry of the leaves right of the one in `p`. The page copy in `p` tells
// where; a position on an entry must come to a greater one.
Status TagTree::CrossRight(TagPosition* p) {
  const bool compare = p->state_ == State::kOnEntry;
  std::uint32_t from = p->page_offset_;
  std::uint64_t pages = 0;
  for (;;) {
    const std::uint32_t right = RightOf(p->page_.data());
    if (right == kNoPage) {
      p->state_ = State::kPastLast;
      return {};
    }
    p->version_ = 0;
    PV_RETURN_IF_ERROR(store_->ReadPageOnce(definition_.name, right, p->page_.data()));
    LeafHead head;
    PV_RETURN_IF_ERROR(LoadLeaf(p, right, &head));
    if (head.left != from) return Damaged(right, "its left neighbour is not the page before it");
    if (head.count > 0) return EnterLeaf(p, false, compare);
    if (pages == 0) {
      PV_ASSIGN_OR_RETURN(const std::uint64_t size, store_->Size());
      pages = size / kPageSize + 2;
    }
    if (--pages == 1) return Damaged(right, "empty leaves form a ring");
    from = right;
  }
}

Status TagTree::CrossLeft(TagPosition* p) {
  const bool compare = p->state_ == State::kOnEntry;
  std::uint32_t from = p->page_offset_;
  std::uint64_t pages = 0;
  for (;;) {
    const std::uint32_t left = LeftOf(p->page_.data());
    if (left == kNoPage) {
      p->state_ = State::kBeforeFirst;
      return {};
    }
    p->version_ = 0;
    PV_RETURN_IF_ERROR(store_->ReadPageOnce(definition_.name, left, p->page_.data()));
    LeafHead head;
    PV_RETURN_IF_ERROR(LoadLeaf(p, left, &head));
    if (head.right != from) return Damaged(left, "its right neighbour is not the page after it");
    if (head.count > 0) return EnterLeaf(p, true, compare);
    if (pages == 0) {
      PV_ASSIGN_OR_RETURN(const std::uint64_t size, store_->Size());
      pages = size / kPageSize + 2;
    }
    if (--pages == 1) return Damaged(left, "empty leaves form a ring");
    from = left;
  }
}

Status TagTree::StoredFirst(TagPosition* p) {
  p->version_ = 0;
  PV_RETURN_IF_ERROR(DescendEdge(false, &p->page_offset_, p->page_.data()));
  p->state_ = State::kBeforeFirst;
  LeafHead head;
  PV_RETURN_IF_ERROR(LoadLeaf(p, p->page_offset_, &head));
  if (head.left != kNoPage) return Damaged(p->page_offset_, "the first leaf has a left neighbour");
  return head.count > 0 ? EnterLeaf(p, false, false) : CrossRight(p);
}

Status TagTree::StoredLast(TagPosition* p) {
  p->version_ = 0;
  PV_RETURN_IF_ERROR(DescendEdge(true, &p->page_offset_, p->page_.data()));
  p->state_ = State::kPastLast;
  LeafHead head;
  PV_RETURN_IF_ERROR(LoadLeaf(p, p->page_offset_, &head));
  if (head.right != kNoPage) return Damaged(p->page_offset_, "the last leaf has a right neighbour");
  return head.count > 0 ? EnterLeaf(p, true, false) : CrossLeft(p);
}

Status TagTree::StepForward(TagPosition* p) {
  const std::uint8_t* const page = p->page_.data();
  std::uint8_t* const key = p->key_.data();
  const LeafEntry entry = EntryAt(page, LayoutOf(page), key_length_, p->index_ + 1);
  const std::uint32_t offset = p->key_offset_ - entry.stored();
  const std::uint8_t* const bytes = page + offset;
  ++p->index_;
  if (entry.stored() == 0 || bytes[0] <= key[entry.dup]) {
    // Not greater at the first byte that may differ: equal keys, or bytes shared but stored.
    std::uint8_t next[kMaxKey];
    std::memcpy(next, key, entry.dup);
    std::memcpy(next + entry.dup, bytes, entry.stored());
    std::memset(next + entry.trim, definition_.fill_byte, key_length_ - entry.trim);
    const int order = std::memcmp(next, key, key_length_);
    if (order < 0 || (order == 0 && entry.record <= p->record_)) {
      p->version_ = 0;
      return OutOfOrder(*p);
    }
  }
  std::memcpy(key + entry.dup, bytes, entry.stored());
  if (entry.trim < p->trim_) {
    std::memset(key + entry.trim, definition_.fill_byte, p->trim_ - entry.trim);
  }
  p->record_ = entry.record;
  p->key_offset_ = offset;
  p->dup_ = entry.dup;
  p->trim_ = entry.trim;
  return {};
}

Status TagTree::StepBackward(TagPosition* p) {
  const std::uint8_t* const page = p->page_.data();
  std::uint8_t* const key = p->key_.data();
  const LeafLayout layout = LayoutOf(page);
  const std::uint32_t offset = p->key_offset_ + (p->trim_ - p->dup_);
  const LeafEntry entry = EntryAt(page, layout, key_length_, p->index_ - 1);
  // Bytes [0, dup) are the same in both keys, and so are those after the longer one's end.
  const std::uint32_t end = std::max(p->trim_, entry.trim);
  const std::uint32_t differing = end > p->dup_ ? end - p->dup_ : 0;
  std::uint8_t old[kMaxKey];
  std::memcpy(old, key + p->dup_, differing);
  RebuildKey(page, layout, key_length_, definition_.fill_byte, p->index_ - 1, offset, p->dup_, key);
  if (entry.trim < p->trim_) {
    std::memset(key + entry.trim, definition_.fill_byte, p->trim_ - entry.trim);
  }
  --p->index_;
  const int order = std::memcmp(key + p->dup_, old, differing);
  if (order > 0 || (order == 0 && entry.record >= p->record_)) {
    p->version_ = 0;
    return OutOfOrder(*p);
  }
  p->record_ = entry.record;
  p->key_offset_ = offset;
  p->dup_ = entry.dup;
  p->trim_ = entry.trim;
  return {};
}

Status TagTree::StoredNext(TagPosition* p) {
  return p->index_ + 1 < p->count_ ? StepForward(p) : CrossRight(p);
}

Status TagTree::StoredPrevious(TagPosition* p) {
  return p->index_ > 0 ? StepBackward(p) : CrossLeft(p);
}

Status TagTree::StoredSeek(const std::uint8_t* key, std::uint32_t record, TagPosition* p) {
  p->version_ = 0;
  std::uint8_t* const page = p->page_.data();
  PV_RETURN_IF_ERROR(Descend(key, record, nullptr, &p->page_offset_, page));
  LeafHead head;
  if (const char* wrong = ReadLeafHead(page, &head)) return Damaged(p->page_offset_, wrong);
  LeafSlot slot;
  if (const char* wrong =
          FindInLeaf(page, head, key_length_, definition_.fill_byte, Target(key, record), &slot)) {
    return Damaged(p->page_offset_, wrong);
  }
  p->count_ = head.count;
  if (slot.index == head.count) {
    p->state_ = State::kPastLast;
    return CrossRight(p);
  }
  const LeafEntry& entry = slot.next;
  p->index_ = slot.index;
  p->key_offset_ = slot.previous_offset - entry.stored();
  p->dup_ = entry.dup;
  p->trim_ = entry.trim;
  p->record_ = entry.record;
  std::uint8_t* const out = p->key_.data();
  std::memcpy(out, key, entry.dup);
  std::memcpy(out + entry.dup, page + p->key_offset_, entry.stored());
  std::memset(out + entry.trim, definition_.fill_byte, key_length_ - entry.trim);
  p->state_ = State::kOnEntry;
  p->version_ = version_;
  return {};
}

Status TagTree::FindAgain(TagPosition* p, bool* found) {
  std::uint8_t key[kMaxKey];
  std::memcpy(key, p->key_.data(), key_length_);
  const std::uint32_t record = p->record_;
  PV_RETURN_IF_ERROR(StoredSeek(key, record, p));
  *found =
      p->on_entry() && p->record_ == record && std::memcmp(key, p->key_.data(), key_length_) == 0;
  return {};
}

Status TagTree::StoredStep(TagPosition* p, bool forward) {
  PV_RETURN_IF_ERROR(Sync());
  if (p->before_first()) return forward ? StoredFirst(p) : Status();
  if (p->past_last()) return forward ? Status() : StoredLast(p);
  if (p->version_ != version_) {
    bool found = false;
    PV_RETURN_IF_ERROR(FindAgain(p, &found));
    if (!found) {
      // It is gone, and the position stands behind its place.
      if (forward) return {};
      if (p->past_last()) return StoredLast(p);
    }
  }
  return forward ? StoredNext(p) : StoredPrevious(p);
}

void TagTree::TurnRound(TagPosition* p) {
  if (p->before_first()) {
    p->state_ = State::kPastLast;
  } else if (p->past_last()) {
    p->state_ = State::kBeforeFirst;
  }
}

Status TagTree::First(TagPosition* position) {
  PV_RETURN_IF_ERROR(Sync());
  if (!definition_.descending) return StoredFirst(position);
  const Status status = StoredLast(position);
  TurnRound(position);
  return status;
}

Status TagTree::Last(TagPosition* position) {
  PV_RETURN_IF_ERROR(Sync());
  if (!definition_.descending) return StoredLast(position);
  const Status status = StoredFirst(position);
  TurnRound(position);
  return status;
}

Status TagTree::Next(TagPosition* position) {
  if (!definition_.descending) return StoredStep(position, true);
  TurnRound(position);
  const Status status = StoredStep(position, false);
  TurnRound(position);
  return status;
}

Status TagTree::Previous(TagPosition* position) {
  if (!definition_.descending) return StoredStep(position, false);
  TurnRound(position);
  const Status status = StoredStep(position, true);
  TurnRound(position);
  return status;
}

bool TagTree::StepNeedsLock(const TagPosition& position, bool forward) {
  if (!position.on_entry()) return forward ? position.before_first() : position.past_last();
  if (epoch_ != store_->epoch() || position.version_ != version_) return true;
  const bool up = forward != definition_.descending;
  const bool inside = up ? position.index_ + 1 < position.count_ : position.index_ > 0;
  if (!inside) {
    const std::uint8_t* const page = position.page_.data();
    if ((up ? RightOf(page) : LeftOf(page)) != kNoPage) return true;
  }
  return store_->CounterMoved();
}

Status TagTree::ListAhead(const TagPosition& position, bool forward, std::size_t count,
                          std::vector<std::uint32_t>* records, TagPosition* end) {
  PV_RETURN_IF_ERROR(Sync());
  records->clear();
  if (!position.on_entry() || position.version_ != version_) return {};
  const bool up = forward != definition_.descending;
  *end = position;
  for (;;) {
    if (up ? end->index_ + 1 < end->count_ : end->index_ > 0) {
      PV_RETURN_IF_ERROR(up ? StepForward(end) : StepBackward(end));
    } else {
      if (records->size() >= count) return {};
      TagPosition beyond = *end;
      PV_RETURN_IF_ERROR(up ? CrossRight(&beyond) : CrossLeft(&beyond));
      if (!beyond.on_entry()) return {};
      *end = beyond;
    }
    records->push_back(end->record());
  }
}

Status TagTree::Seek(const std::uint8_t* key, std::size_t length, TagPosition* position,
                     bool* equal) {
  if (length > key_length_) {
    return Status::Invalid(store_->path() + ": tag " + definition_.name +
                           ": more bytes to seek than the key has");
  }
  PV_RETURN_IF_ERROR(Sync());
  std::uint8_t target[kMaxKey];
  std::memcpy(target, key, length);
  if (!definition_.descending) {
    std::memset(target + length, 0, key_length_ - length);
    PV_RETURN_IF_ERROR(StoredSeek(target, 0, position));
  } else {
    // Behind the last entry that begins with these bytes, and one back.
    std::memset(target + length, 0xFF, key_length_ - length);
    PV_RETURN_IF_ERROR(StoredSeek(target, 0xFFFFFFFF, position));
    const Status status = position->on_entry() ? StoredPrevious(position) : StoredLast(position);
    TurnRound(position);
    PV_RETURN_IF_ERROR(status);
  }
  *equal = position->on_entry() && std::memcmp(position->key_.data(), key, length) == 0;
  return {};
}

Status TagTree::SeekEntry(const std::uint8_t* key, std::uint32_t record, TagPosition* position,
                          bool* equal) {
  PV_RETURN_IF_ERROR(Sync());
  PV_RETURN_IF_ERROR(StoredSeek(key, record, position));
  *equal = position->on_entry() && position->record_ == record &&
           std::memcmp(position->key_.data(), key, key_length_) == 0;
  if (definition_.descending && !*equal) {
    const Status status = position->on_entry() ? StoredPrevious(position) : StoredLast(position);
    TurnRound(position);
    return status;
  }
  return {};
}

Result<std::uint32_t> TagTree::FindKey(const std::uint8_t* key) {
  PV_RETURN_IF_ERROR(Sync());
  if (!(hint_.valid && hint_.in_run && TryHint(key, 0))) PV_RETURN_IF_ERROR(Locate(key, 0));
  hint_.has_slot = true;
  std::memcpy(hint_.key.data(), key, key_length_);
  if (hint_.slot.key_equal) return hint_.slot.next.record;
  if (hint_.slot.index < hint_.head.count || hint_.head.right == kNoPage) return 0U;
  // Only where an interior key is greater than its child's last entry, as others may leave it.
  hint_.has_slot = false;
  TagPosition next;
  PV_RETURN_IF_ERROR(StoredSeek(key, 0, &next));
  const bool same = next.on_entry() && std::memcmp(next.key_.data(), key, key_length_) == 0;
  return same ? next.record_ : 0U;
}

Result<std::uint64_t> TagTree::CountEntries() {
  PV_RETURN_IF_ERROR(Sync());
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, store_->Size());
  PageBuffer page;
  std::uint32_t offset = 0;
  PV_RETURN_IF_ERROR(DescendEdge(false, &offset, page.bytes));
  std::uint64_t entries = 0;
  for (std::uint64_t pages = size / kPageSize; pages > 0; --pages) {
    LeafHead head;
    if (!IsLeaf(page.bytes)) return Damaged(offset, "an interior page among the leaves");
    if (const char* wrong = ReadLeafHead(page.bytes, &head)) return Damaged(offset, wrong);
    entries += head.count;
    if (head.right == kNoPage) return entries;
    offset = head.right;
    PV_RETURN_IF_ERROR(store_->ReadPage(definition_.name, offset, page.bytes));
  }
  return Damaged(offset, "the leaves form a ring");
}

}  // namespace pv::engine::tree
