// Changing the interior pages of a tag, and their digests with them. Tested by
// index_model_test.cc and index_crash_test.cc.
#include <algorithm>

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/index/tag_tree.h"

namespace pv::engine::tree {
namespace {

// Entries of a page of the shortest keys, and what the split of a child adds to them.
constexpr std::size_t kMaxEntries = (kPageSize - kInteriorHeader) / 9 + 16;
constexpr std::size_t kMaxParts = 16;

}  // namespace

Status TagTree::WriteLink(std::uint32_t page, bool left, std::uint32_t link) {
  std::uint8_t bytes[4];
  StoreLe32(bytes, link);
  return store_->Write(page + (left ? 4U : 8U), bytes, sizeof bytes);
}

// Takes a page out of the row of its neighbours.
Status TagTree::Unlink(std::uint32_t left, std::uint32_t right) {
  for (const std::uint32_t page : {left, right}) {
    if (page != kNoPage && !IsPageOffset(page)) return Damaged(page, "a page cannot begin there");
  }
  if (left != kNoPage) PV_RETURN_IF_ERROR(WriteLink(left, false, right));
  if (right != kNoPage) PV_RETURN_IF_ERROR(WriteLink(right, true, left));
  return {};
}

std::size_t TagTree::ListEntries(const std::uint8_t* page, const ChildRef* refs, Child* out) const {
  const std::uint32_t count = CountOf(page);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t child = InteriorChild(page, key_length_, i);
    out[i] = {InteriorKey(page, key_length_, i), InteriorRecord(page, key_length_, i), child,
              refs != nullptr ? refs[i] : ChildRef::Unknown(child)};
  }
  return count;
}

Status TagTree::WriteInterior(std::uint32_t offset, std::uint32_t slot, std::uint32_t skip,
                              std::uint16_t attributes, std::uint32_t left, std::uint32_t right,
                              std::span<const Child> entries) {
  PageBuffer page = {};
  StoreLe16(page.bytes, attributes);
  StoreLe16(page.bytes + 2, static_cast<std::uint16_t>(entries.size()));
  StoreLe32(page.bytes + 4, left);
  StoreLe32(page.bytes + 8, right);
  std::array<ChildRef, kMaxEntries> refs;
  std::uint8_t* at = page.bytes + kInteriorHeader;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    std::memcpy(at, entries[i].key, key_length_);
    StoreBe32(at + key_length_, entries[i].record);
    StoreBe32(at + key_length_ + 4, entries[i].page);
    at += InteriorStride(key_length_);
    refs[i] = entries[i].ref;
  }
  FillNode(slot, offset, page.bytes, skip, refs.data());
  return store_->Write(offset, page.bytes, kPageSize);
}

// The last entry below path.steps[level] is (key, record) now: says so there, and above as long
// as that is a last entry itself.
Status TagTree::UpdateLastKey(const Path& path, int level, const std::uint8_t* key,
                              std::uint32_t record) {
  std::uint8_t entry[kMaxKey + 4];
  std::memcpy(entry, key, key_length_);
  StoreBe32(entry + key_length_, record);
  for (; level >= 0; --level) {
    const Step& step = path.steps[static_cast<std::size_t>(level)];
    const std::size_t at = kInteriorHeader + step.index * InteriorStride(key_length_);
    PV_RETURN_IF_ERROR(store_->Write(step.page + at, entry, key_length_ + 4));
    const NodeCache::Node node = nodes_.At(step.slot);
    const std::uint32_t skip = node.skip();
    if (skip == 0 || (level == 0 && std::memcmp(key, root_key_.data(), skip) == 0)) {
      for (std::size_t word = 0; word < nodes_.words(); ++word) {
        node.windows(word)[step.index] = WindowOf(key, key_length_, skip + 8 * word);
      }
    } else {
      PageBuffer page;
      PV_RETURN_IF_ERROR(ReadInterior(step.page, page.bytes));
      if (CountOf(page.bytes) != step.count) return Damaged(step.page, "it changed under us");
      FillNode(step.slot, step.page, page.bytes, skip, node.refs());
    }
    if (step.index + 1 < step.count) break;
  }
  return {};
}

// Replaces `removed` entries at `at` by `added` ones. The page may be split, dropped or merged for
// it, and the pages above follow.
Status TagTree::EditInterior(const Path& path, int level, std::uint32_t at, std::uint32_t removed,
                             std::span<const Child> added) {
  const Step& step = path.steps[static_cast<std::size_t>(level)];
  PageBuffer page;
  PV_RETURN_IF_ERROR(ReadInterior(step.page, page.bytes));
  const NodeCache::Node node = nodes_.At(step.slot);
  const std::uint32_t skip = node.skip();
  std::array<Child, kMaxEntries> entries;
  const std::size_t count = ListEntries(page.bytes, node.refs(), entries.data());
  if (count != node.count() || at + removed > count) {
    return Damaged(step.page, "it changed under us");
  }
  const std::size_t new_count = count - removed + added.size();
  const std::uint32_t left = LeftOf(page.bytes);
  const std::uint32_t right = RightOf(page.bytes);

  if (new_count == 0) {
    if (level == 0) return MakeRootEmpty(step);
    PV_RETURN_IF_ERROR(Unlink(left, right));
    PV_RETURN_IF_ERROR(store_->Free(step.page));
    nodes_.Free(step.slot);
    return EditInterior(path, level - 1, path.steps[static_cast<std::size_t>(level - 1)].index, 1,
                        {});
  }

  const auto tail = entries.begin() + at + removed;
  if (added.size() <= removed) {
    std::move(tail, entries.begin() + static_cast<std::ptrdiff_t>(count),
              entries.begin() + static_cast<std::ptrdiff_t>(at + added.size()));
  } else {
    std::move_backward(tail, entries.begin() + static_cast<std::ptrdiff_t>(count),
                       entries.begin() + static_cast<std::ptrdiff_t>(new_count));
  }
  std::copy(added.begin(), added.end(), entries.begin() + at);
  const std::span<const Child> now(entries.data(), new_count);
  if (new_count > InteriorCapacity(key_length_)) {
    return SplitInterior(path, level, now, page.bytes, right == kNoPage && at + removed == count,
                         left == kNoPage && at == 0);
  }
  PV_RETURN_IF_ERROR(
      WriteInterior(step.page, step.slot, skip, AttributesOf(page.bytes), left, right, now));
  if (level == 0) return new_count == 1 && removed > 0 ? CollapseRoot() : Status();
  if (at + added.size() == new_count) {
    PV_RETURN_IF_ERROR(UpdateLastKey(path, level - 1, now.back().key, now.back().record));
  }
  return new_count < count ? MergeInterior(path, level) : Status();
}

// Spreads the entries, more than one page holds, over the page at `level` and new ones.
Status TagTree::SplitInterior(const Path& path, int level, std::span<const Child> entries,
                              const std::uint8_t* old_page, bool at_right_edge, bool at_left_edge) {
  const Step& step = path.steps[static_cast<std::size_t>(level)];
  const std::size_t capacity = InteriorCapacity(key_length_);
  const std::size_t parts = (entries.size() + capacity - 1) / capacity;
  if (parts > kMaxParts) return Damaged(step.page, "the page cannot be split");
  const auto attributes = static_cast<std::uint16_t>(AttributesOf(old_page) & ~kRootAttribute);
  const std::uint32_t left = LeftOf(old_page);
  const std::uint32_t right = RightOf(old_page);
  // The root's skip says nothing about keys beyond its own, so a page below begins without.
  const std::uint32_t skip = level == 0 ? 0 : nodes_.At(step.slot).skip();

  std::array<std::uint32_t, kMaxParts> offsets;
  std::array<std::uint32_t, kMaxParts> slots;
  offsets[0] = step.page;
  slots[0] = step.slot;
  for (std::size_t k = 1; k < parts; ++k) {
    PV_ASSIGN_OR_RETURN(offsets[k], store_->Allocate(definition_.name));
    slots[k] = nodes_.Allocate();
  }
  if (level == 0) root_ = kNoPage;  // none of the parts is the root
  std::array<Child, kMaxParts> made;
  std::size_t begin = 0;
  for (std::size_t k = 0; k < parts; ++k) {
    // Full pages behind a run that grows at an edge; else even ones.
    const std::size_t rest = entries.size() - begin;
    std::size_t size = (rest + parts - k - 1) / (parts - k);
    if (at_right_edge) {
      size = std::min(rest - (parts - k - 1), capacity);
    } else if (at_left_edge) {
      const std::size_t behind = capacity * (parts - k - 1);
      size = rest > behind ? rest - behind : 1;
    }
    PV_RETURN_IF_ERROR(
        WriteInterior(offsets[k], slots[k], skip, attributes, k == 0 ? left : offsets[k - 1],
                      k + 1 == parts ? right : offsets[k + 1], entries.subspan(begin, size)));
    begin += size;
    made[k] = {entries[begin - 1].key, entries[begin - 1].record, offsets[k],
               ChildRef::Node(slots[k])};
  }
  if (right != kNoPage) PV_RETURN_IF_ERROR(WriteLink(right, true, offsets[parts - 1]));
  const std::span<const Child> children(made.data(), parts);
  if (level == 0) return GrowRoot(children);
  return EditInterior(path, level - 1, path.steps[static_cast<std::size_t>(level - 1)].index, 1,
                      children);
}

// The root came apart into `children`: puts a new one above them.
Status TagTree::GrowRoot(std::span<const Child> children) {
  const std::size_t capacity = InteriorCapacity(key_length_);
  PV_ASSIGN_OR_RETURN(const std::uint32_t root, store_->Allocate(definition_.name));
  if (children.size() <= capacity) {
    const std::uint32_t slot = nodes_.Allocate();
    PV_RETURN_IF_ERROR(SetRoot(root));
    root_ref_ = ChildRef::Node(slot);
    return WriteInterior(root, slot, 0, kRootAttribute, kNoPage, kNoPage, children);
  }
  // Very long keys only: another level in between.
  const std::size_t parts = (children.size() + capacity - 1) / capacity;
  std::vector<std::uint32_t> offsets(parts, root);
  for (std::size_t k = 1; k < parts; ++k) {
    PV_ASSIGN_OR_RETURN(offsets[k], store_->Allocate(definition_.name));
  }
  root_ = kNoPage;
  std::vector<Child> above;
  for (std::size_t k = 0, begin = 0; k < parts; ++k) {
    const std::size_t size = (children.size() - begin + parts - k - 1) / (parts - k);
    const std::uint32_t slot = nodes_.Allocate();
    PV_RETURN_IF_ERROR(WriteInterior(offsets[k], slot, 0, 0, k == 0 ? kNoPage : offsets[k - 1],
                                     k + 1 == parts ? kNoPage : offsets[k + 1],
                                     children.subspan(begin, size)));
    begin += size;
    const Child& last = children[begin - 1];
    above.push_back({last.key, last.record, offsets[k], ChildRef::Node(slot)});
  }
  return GrowRoot(above);
}

// A root with one child gives way to it.
Status TagTree::CollapseRoot() {
  nodes_.Clear();
  hint_.valid = false;
  for (int depth = 0; depth < kMaxDepth; ++depth) {
    PageBuffer page;
    PV_RETURN_IF_ERROR(store_->ReadPage(definition_.name, root_, page.bytes));
    const std::uint16_t attributes = AttributesOf(page.bytes);
    if (IsLeaf(page.bytes) || CountOf(page.bytes) != 1) {
      root_ref_ = ChildRef::Unknown(root_);
      if ((attributes & kRootAttribute) != 0) return {};
      std::uint8_t bytes[2];
      StoreLe16(bytes, static_cast<std::uint16_t>(attributes | kRootAttribute));
      return store_->Write(root_, bytes, sizeof bytes);
    }
    const std::uint32_t old = root_;
    PV_RETURN_IF_ERROR(SetRoot(InteriorChild(page.bytes, key_length_, 0)));
    PV_RETURN_IF_ERROR(store_->Free(old));
  }
  return Damaged(root_, "the tree is too deep, or its pages form a ring");
}

Status TagTree::MakeRootEmpty(const Step& root) {
  nodes_.Free(root.slot);
  root_ref_ = ChildRef::Leaf(root.page);
  PageBuffer out;
  LeafWriter writer(out.bytes, key_length_);
  writer.Start(LeafLayout::For(key_length_, largest_record_));
  writer.Finish(kRootAttribute | kLeafAttribute, kNoPage, kNoPage);
  return store_->Write(root.page, out.bytes, kPageSize);
}

// Joins the page at `level` with a neighbour under the same parent when one page holds both with
// an entry to spare.
Status TagTree::MergeInterior(const Path& path, int level) {
  const Step& step = path.steps[static_cast<std::size_t>(level)];
  const Step& parent = path.steps[static_cast<std::size_t>(level - 1)];
  const std::size_t capacity = InteriorCapacity(key_length_);
  const std::size_t count = nodes_.At(step.slot).count();
  for (const bool with_right : {true, false}) {
    const NodeCache::Node above = nodes_.At(parent.slot);
    if (with_right ? parent.index + 1 >= above.count() : parent.index == 0) continue;
    const std::uint32_t at = with_right ? parent.index : parent.index - 1;
    const ChildRef ref = above.refs()[with_right ? at + 1 : at];
    const std::uint32_t other = ref.is_node() ? nodes_.At(ref.slot()).page() : ref.page();
    PageBuffer neighbour;
    PV_RETURN_IF_ERROR(ReadInterior(other, neighbour.bytes));
    const std::size_t sum = count + CountOf(neighbour.bytes);
    if (sum > capacity || (sum == capacity && count > 1)) continue;
    if ((with_right ? LeftOf(neighbour.bytes) : RightOf(neighbour.bytes)) != step.page) {
      return Damaged(other, "its neighbour links do not match");
    }
    PageBuffer own;
    PV_RETURN_IF_ERROR(ReadInterior(step.page, own.bytes));

    std::array<Child, 2 * kMaxEntries> entries;
    std::uint32_t skip = nodes_.At(step.slot).skip();
    std::size_t total = 0;
    for (const bool right : {false, true}) {
      if (right == with_right) {
        const bool known =
            ref.is_node() && nodes_.At(ref.slot()).count() == CountOf(neighbour.bytes);
        total += ListEntries(neighbour.bytes, known ? nodes_.At(ref.slot()).refs() : nullptr,
                             entries.data() + total);
        skip = known ? std::min(skip, nodes_.At(ref.slot()).skip()) : 0;
      } else {
        total += ListEntries(own.bytes, nodes_.At(step.slot).refs(), entries.data() + total);
      }
    }
    const std::uint8_t* const first = with_right ? own.bytes : neighbour.bytes;
    const std::uint8_t* const second = with_right ? neighbour.bytes : own.bytes;
    const std::uint32_t kept = with_right ? step.page : other;
    const std::uint32_t gone = with_right ? other : step.page;
    const std::uint32_t beyond = RightOf(second);
    if (ref.is_node()) nodes_.Free(ref.slot());
    PV_RETURN_IF_ERROR(WriteInterior(kept, step.slot, skip, AttributesOf(first), LeftOf(first),
                                     beyond, {entries.data(), total}));
    if (beyond != kNoPage) {
      if (!IsPageOffset(beyond)) return Damaged(gone, "its right neighbour is no page");
      PV_RETURN_IF_ERROR(WriteLink(beyond, true, kept));
    }
    PV_RETURN_IF_ERROR(store_->Free(gone));
    const Child merged{entries[total - 1].key, entries[total - 1].record, kept,
                       ChildRef::Node(step.slot)};
    return EditInterior(path, level - 1, at, 2, {&merged, 1});
  }
  return {};
}

}  // namespace pv::engine::tree
