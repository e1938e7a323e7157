// One tag: a B+ tree over the pages of a PageStore. Reading is in tag_read.cc, changing in
// tag_change.cc and tag_interior.cc, checking in tag_verify.cc.
//
// Inside, everything is in stored order (ascending bytes); only the public members know that a
// descending tag is walked the other way round.
#ifndef PV_TABLESTORE_ENGINE_INDEX_TAG_TREE_H_
#define PV_TABLESTORE_ENGINE_INDEX_TAG_TREE_H_

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tablestore/engine/index/index_file.h"
#include "tablestore/engine/index/leaf_page.h"
#include "tablestore/engine/index/node_cache.h"
#include "tablestore/engine/index/page_format.h"
#include "tablestore/engine/index/page_store.h"

namespace pv::engine::tree {

class TagTree final : public Tag {
 public:
  // The definition is what the header at `header_offset` says. The directory itself is the tree
  // without a name at header offset 0.
  TagTree(PageStore* store, TagDefinition definition, std::uint32_t header_offset);

  const TagDefinition& definition() const override { return definition_; }
  void SetFillByte(std::uint8_t fill) override;
  Status First(TagPosition* position) override;
  Status Last(TagPosition* position) override;
  Status Next(TagPosition* position) override;
  Status Previous(TagPosition* position) override;
  bool StepNeedsLock(const TagPosition& position, bool forward) override;
  Status ListAhead(const TagPosition& position, bool forward, std::size_t count,
                   std::vector<std::uint32_t>* records, TagPosition* end) override;
  Status Seek(const std::uint8_t* key, std::size_t length, TagPosition* position,
              bool* equal) override;
  Status SeekEntry(const std::uint8_t* key, std::uint32_t record, TagPosition* position,
                   bool* equal) override;
  Result<std::uint32_t> FindKey(const std::uint8_t* key) override;
  Status Insert(const std::uint8_t* key, std::uint32_t record) override;
  Result<bool> Remove(const std::uint8_t* key, std::uint32_t record) override;
  Result<std::uint64_t> CountEntries() override;
  std::vector<std::string> Verify() override;

  std::uint32_t header_offset() const { return header_offset_; }

  // Checks the tree and adds the offsets of all its pages that could be reached to `pages`.
  std::vector<std::string> VerifyAndCollect(std::vector<std::uint32_t>* pages);

  // Makes `page` the root, in the header too. Used when the tree was made anew.
  Status SetRoot(std::uint32_t page);

 private:
  using State = TagPosition::State;

  // The way down to a leaf: interior pages, and which child was taken.
  struct Step {
    std::uint32_t page;
    std::uint32_t slot;  // of its digest
    std::uint32_t index;
    std::uint32_t count;
  };
  struct Path {
    int depth = 0;  // interior levels
    std::array<Step, kMaxDepth> steps;
  };
  // An entry for an interior page.
  struct Child {
    const std::uint8_t* key;
    std::uint32_t record;
    std::uint32_t page;
    ChildRef ref;
  };
  // The leaf that FindKey or a change was last at, with the way to it: the Insert that follows a
  // FindKey of the same key need not look again, and a run of neighbouring inserts goes down the
  // tree only when it leaves the leaf.
  struct Hint {
    bool valid = false;     // path and page are as the file has them
    bool has_slot = false;  // and slot is the place of `key`
    bool in_run = false;    // the last two changes were in one leaf
    std::uint32_t offset = 0;
    LeafHead head;
    LeafSlot slot;
    Path path;
    PageBuffer page;
    std::array<std::uint8_t, 256> key;
  };

  Status Damaged(std::uint32_t page, std::string_view what) const {
    return store_->Damaged(definition_.name, page, what);
  }
  // Reads the root's offset again when the store has forgotten everything.
  Status Sync() { return epoch_ == store_->epoch() ? Status() : LoadRoot(); }
  Status LoadRoot();
  void Touch();  // the tree changes: positions go stale

  // Goes down to the leaf where (key, record) belongs; `path` may be null.
  Status Descend(const std::uint8_t* key, std::uint32_t record, Path* path,
                 std::uint32_t* leaf_offset, std::uint8_t* leaf);
  // Down along the first or last children.
  Status DescendEdge(bool last, std::uint32_t* leaf_offset, std::uint8_t* leaf);
  // Reads and checks an interior page.
  Status ReadInterior(std::uint32_t offset, std::uint8_t* out);
  // Makes the digest of a page just read. `skip` leading bytes are believed to be shared by its
  // keys; fewer are used when they are not.
  void FillNode(std::uint32_t slot, std::uint32_t offset, const std::uint8_t* page,
                std::uint32_t skip, const ChildRef* refs);
  LeafTarget Target(const std::uint8_t* key, std::uint32_t record) const {
    return {key, record, TrimmedLength(key, key_length_, definition_.fill_byte)};
  }

  // Positions, in stored order.
  Status StoredFirst(TagPosition* p);
  Status StoredLast(TagPosition* p);
  Status StoredNext(TagPosition* p);
  Status StoredPrevious(TagPosition* p);
  Status StoredStep(TagPosition* p, bool forward);
  Status StoredSeek(const std::uint8_t* key, std::uint32_t record, TagPosition* p);
  // To the entry (its key and record are in `p`), or the one after its place.
  Status FindAgain(TagPosition* p, bool* found);
  Status LoadLeaf(TagPosition* p, std::uint32_t offset, LeafHead* head);
  Status EnterLeaf(TagPosition* p, bool at_last, bool compare);
  Status CrossRight(TagPosition* p);
  Status CrossLeft(TagPosition* p);
  Status StepForward(TagPosition* p);
  Status StepBackward(TagPosition* p);
  Status OutOfOrder(const TagPosition& p) const;
  static void TurnRound(TagPosition* p);  // swaps the two ends

  // Changing (tag_change.cc).
  Status Locate(const std::uint8_t* key, std::uint32_t record);
  bool TryHint(const std::uint8_t* key, std::uint32_t record);
  Status InsertEntry(const std::uint8_t* key, std::uint32_t record);
  Result<bool> RemoveEntry(const std::uint8_t* key, std::uint32_t record);
  Status WriteLeafChange(const LeafChange& change);
  Status RewriteLeaf(const LeafTarget& target, bool insert);
  Status MergeLeaf();
  Status DropLeaf();
  Status CheckRightNeighbour(const std::uint8_t* key, std::uint32_t record);

  // Interior pages (tag_interior.cc).
  Status UpdateLastKey(const Path& path, int level, const std::uint8_t* key, std::uint32_t record);
  Status EditInterior(const Path& path, int level, std::uint32_t at, std::uint32_t removed,
                      std::span<const Child> added);
  Status SplitInterior(const Path& path, int level, std::span<const Child> entries,
                       const std::uint8_t* old_page, bool at_right_edge, bool at_left_edge);
  Status MergeInterior(const Path& path, int level);
  Status GrowRoot(std::span<const Child> children);
  Status CollapseRoot();
  Status MakeRootEmpty(const Step& root);
  Status WriteLink(std::uint32_t page, bool left, std::uint32_t link);
  Status Unlink(std::uint32_t left, std::uint32_t right);
  // Writes a page of these entries and renews its digest.
  Status WriteInterior(std::uint32_t offset, std::uint32_t slot, std::uint32_t skip,
                       std::uint16_t attributes, std::uint32_t left, std::uint32_t right,
                       std::span<const Child> entries);
  // The entries of a page; their keys point into it.
  std::size_t ListEntries(const std::uint8_t* page, const ChildRef* refs, Child* out) const;

  PageStore* store_;
  TagDefinition definition_;
  std::size_t key_length_;
  std::uint32_t header_offset_;
  std::uint32_t root_ = 0;
  NodeCache nodes_;
  ChildRef root_ref_;
  std::array<std::uint8_t, 256> root_key_{};  // of the root's digest: any key, for its skip
  std::uint64_t epoch_ = 0;
  std::uint64_t version_ = 0;
  std::uint32_t largest_record_ = 0;  // that Insert has met: new leaves are packed for it
  Hint hint_;
};

}  // namespace pv::engine::tree

#endif  // PV_TABLESTORE_ENGINE_INDEX_TAG_TREE_H_
