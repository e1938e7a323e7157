// Checks the whole tree of a tag. Tested by index_file_test.cc and index_damage_test.cc.
#include <algorithm>

#include "tablestore/engine/index/tag_tree.h"

namespace pv::engine::tree {
namespace {

// Enough for people; a badly damaged file would give thousands.
constexpr std::size_t kMaxFindings = 50;

class TreeCheck {
 public:
  TreeCheck(PageStore* store, const TagDefinition& definition)
      : store_(store),
        definition_(definition),
        key_length_(definition.key_length),
        last_key_(definition.key_length) {}

  void Run(std::uint32_t root) {
    const auto size = store_->Size();
    if (!size.ok()) {
      Report(size.status().message());
      return;
    }
    visited_.assign(static_cast<std::size_t>(*size / kPageSize) + 1, false);
    Visit(root, 0, true);
    for (std::size_t level = 0; level < levels_.size(); ++level) {
      if (levels_[level].expected_right != kNoPage) {
        Find(levels_[level].page, "is the last of its level, but has a right neighbour");
      }
    }
  }

  std::vector<std::string> TakeFindings() { return std::move(findings_); }
  const std::vector<std::uint32_t>& pages() const { return pages_; }

 private:
  struct Level {
    std::uint32_t page = kNoPage;            // the latest visited on this level
    std::uint32_t expected_right = kNoPage;  // what it says its right neighbour is
  };

  void Report(std::string sentence) {
    if (findings_.size() < kMaxFindings) findings_.push_back(std::move(sentence));
  }
  void Find(std::uint32_t page, const std::string& what) {
    Report(store_->path() + ": " +
           (definition_.name.empty() ? "the tag directory" : "tag " + definition_.name) +
           ": the page at " + std::to_string(page) + " " + what + ".");
  }

  // Checks a page and what is below it. True when `last_key_` and `last_record_` are now those
  // of its last entry.
  bool Visit(std::uint32_t offset, std::size_t depth, bool root) {
    if (!IsPageOffset(offset) || offset / kPageSize >= visited_.size() - 1) {
      Find(offset, "lies outside the file or not on a page boundary");
      return false;
    }
    if (visited_[offset / kPageSize]) {
      Find(offset, "is used twice");
      return false;
    }
    visited_[offset / kPageSize] = true;
    pages_.push_back(offset);
    PageBuffer page;
    const Status read = store_->ReadPage(definition_.name, offset, page.bytes);
    if (!read.ok()) {
      Report(read.message());
      return false;
    }
    const std::uint16_t attributes = AttributesOf(page.bytes);
    if (((attributes & kRootAttribute) != 0) != root) {
      Find(offset, root ? "is the root but is not marked so" : "is marked as a root but is none");
    }
    CheckLinks(page.bytes, offset, depth);
    if ((attributes & kLeafAttribute) != 0) return VisitLeaf(page.bytes, offset, depth);
    return VisitInterior(page.bytes, offset, depth);
  }

  void CheckLinks(const std::uint8_t* page, std::uint32_t offset, std::size_t depth) {
    if (levels_.size() <= depth) levels_.resize(depth + 1);
    Level& level = levels_[depth];
    if (LeftOf(page) != level.page) Find(offset, "has a wrong left neighbour");
    if (level.page != kNoPage && level.expected_right != offset) {
      Find(level.page, "has a wrong right neighbour");
    }
    level = {offset, RightOf(page)};
  }

  bool VisitInterior(const std::uint8_t* page, std::uint32_t offset, std::size_t depth) {
    if (const char* wrong = CheckInterior(page, key_length_)) {
      Find(offset, std::string("is damaged: ") + wrong);
      return false;
    }
    if (depth + 1 >= static_cast<std::size_t>(kMaxDepth)) {
      Find(offset, "lies too deep");
      return false;
    }
    bool known = false;
    for (std::uint32_t i = 0; i < CountOf(page); ++i) {
      known = Visit(InteriorChild(page, key_length_, i), depth + 1, false);
      if (!known) continue;
      if (std::memcmp(InteriorKey(page, key_length_, i), last_key_.data(), key_length_) != 0 ||
          InteriorRecord(page, key_length_, i) != last_record_) {
        Find(offset, "names in entry " + std::to_string(i) +
                         " another key or record than the last one of the page below");
      }
    }
    return known;
  }

  bool VisitLeaf(const std::uint8_t* page, std::uint32_t offset, std::size_t depth) {
    if (leaf_depth_ == 0) leaf_depth_ = depth + 1;
    if (leaf_depth_ != depth + 1) Find(offset, "is a leaf on another level than the first leaf");
    LeafHead head;
    std::uint32_t bottom = 0;
    const char* wrong = ReadLeafHead(page, &head);
    if (wrong == nullptr) wrong = CheckLeaf(page, head, key_length_, &bottom);
    if (wrong != nullptr) {
      Find(offset, std::string("is damaged: ") + wrong);
      return false;
    }
    if (LoadLe16(page + 12) != bottom - kLeafHeader - head.count * head.layout.entry_bytes) {
      Find(offset, "has a wrong count of free bytes");
    }
    std::vector<std::uint8_t> key(key_length_, definition_.fill_byte);
    std::uint32_t at = kPageSize;
    for (std::uint32_t i = 0; i < head.count; ++i) {
      const LeafEntry entry = EntryAt(page, head.layout, key_length_, i);
      at -= entry.stored();
      std::copy_n(page + at, entry.stored(), key.begin() + entry.dup);
      std::fill(key.begin() + entry.trim, key.end(), definition_.fill_byte);
      if (has_last_) {
        const int order = std::memcmp(key.data(), last_key_.data(), key_length_);
        if (order < 0 || (order == 0 && entry.record <= last_record_)) {
          Find(offset, "has entry " + std::to_string(i) + " out of key and record order");
        }
      }
      if (entry.record == 0) Find(offset, "has an entry of record 0");
      last_key_ = key;
      last_record_ = entry.record;
      has_last_ = true;
    }
    return head.count > 0;
  }

  PageStore* store_;
  const TagDefinition& definition_;
  std::size_t key_length_;
  std::vector<bool> visited_;
  std::vector<std::uint32_t> pages_;
  std::vector<Level> levels_;
  std::vector<std::string> findings_;
  std::vector<std::uint8_t> last_key_;
  std::uint32_t last_record_ = 0;
  bool has_last_ = false;
  std::size_t leaf_depth_ = 0;
};

}  // namespace

std::vector<std::string> TagTree::Verify() { return VerifyAndCollect(nullptr); }

std::vector<std::string> TagTree::VerifyAndCollect(std::vector<std::uint32_t>* pages) {
  if (const Status status = Sync(); !status.ok()) return {status.message()};
  TreeCheck check(store_, definition_);
  check.Run(root_);
  if (pages != nullptr) *pages = check.pages();
  return check.TakeFindings();
}

}  // namespace pv::engine::tree
