// Makes a tag's tree from sorted entries: leaves are filled one after the other, and the pages
// above grow with them, one page of memory for each level.
#ifndef PV_TABLESTORE_ENGINE_INDEX_TAG_BUILD_H_
#define PV_TABLESTORE_ENGINE_INDEX_TAG_BUILD_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "tablestore/engine/index/leaf_page.h"
#include "tablestore/engine/index/tag_tree.h"

namespace pv::engine::tree {

// Where a rebuild takes its pages from: one after the other from the beginning of the file,
// around those that stay.
class PageRow {
 public:
  // `kept` are the offsets of pages that stay as they are, in ascending order.
  PageRow(PageStore* store, std::vector<std::uint32_t> kept)
      : store_(store), kept_(std::move(kept)) {}

  Result<std::uint32_t> Take();
  // The end of the last page taken or kept.
  std::uint64_t end() const;
  // Pages between those kept that were not taken.
  std::vector<std::uint32_t> Gaps() const;

 private:
  PageStore* store_;
  std::vector<std::uint32_t> kept_;
  std::size_t next_kept_ = 0;
  std::uint64_t next_ = kHeaderSize;
};

class TreeBuilder final : public TagBuilder {
 public:
  // `first_page` is used for the first leaf. `tree` gets the root when all is done.
  TreeBuilder(PageStore* store, PageRow* pages, TagTree* tree, std::uint32_t first_page);
  ~TreeBuilder() override;

  Status Add(const std::uint8_t* key, std::uint32_t record) override;
  Status Finish() override;

 private:
  struct Level {
    PageBuffer page;
    std::uint32_t offset = kNoPage;
    std::uint32_t left = kNoPage;
    std::uint32_t count = 0;
  };

  Status FlushLeaf(bool last);
  Status AddAbove(std::size_t level, const std::uint8_t* key, std::uint32_t record,
                  std::uint32_t child);
  Status FlushLevel(std::size_t level, std::uint32_t right, bool root);

  PageStore* store_;
  PageRow* pages_;
  TagTree* tree_;
  std::size_t key_length_;
  std::uint8_t fill_;
  PageBuffer leaf_;
  LeafWriter writer_;
  std::uint32_t leaf_offset_;
  std::uint32_t leaf_left_ = kNoPage;
  std::uint32_t largest_record_ = 0;
  std::uint32_t last_record_ = 0;
  std::uint32_t last_trim_ = 0;
  std::array<std::uint8_t, kMaxKey> last_key_{};
  std::vector<std::unique_ptr<Level>> levels_;  // above the leaves, lowest first
  bool finished_ = false;
};

}  // namespace pv::engine::tree

#endif  // PV_TABLESTORE_ENGINE_INDEX_TAG_BUILD_H_
