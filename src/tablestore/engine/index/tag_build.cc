// Builds trees from sorted entries. Tested by index_build_test.cc.
#include "tablestore/engine/index/tag_build.h"

#include <algorithm>

#include "tablestore/engine/error_codes.h"

namespace pv::engine::tree {
namespace {

// Left free in each leaf, so that the first few inserts and re-encodings need no split.
constexpr std::size_t kSlack = 16;

// The file grows by so much at a time.
constexpr std::uint64_t kGrowth = 256 * 1024;

}  // namespace

Result<std::uint32_t> PageRow::Take() {
  while (next_kept_ < kept_.size() && kept_[next_kept_] <= next_) {
    if (kept_[next_kept_] == next_) next_ += kPageSize;
    ++next_kept_;
  }
  if (next_ + kPageSize > kMaxFileSize) {
    return Status(StatusCode::kLimit,
                  store_->path() + ": the index would pass its largest size of 2,147,483,136 bytes",
                  kErrTooLarge);
  }
  const std::uint64_t offset = next_;
  next_ += kPageSize;
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, store_->Size());
  if (next_ > size) {
    PV_RETURN_IF_ERROR(store_->SetSize(std::min(next_ + kGrowth, kMaxFileSize)));
  }
  return static_cast<std::uint32_t>(offset);
}

std::uint64_t PageRow::end() const {
  return kept_.empty() ? next_ : std::max<std::uint64_t>(next_, kept_.back() + kPageSize);
}

std::vector<std::uint32_t> PageRow::Gaps() const {
  std::vector<std::uint32_t> gaps;
  std::size_t k = next_kept_;
  for (std::uint64_t page = next_; page < end(); page += kPageSize) {
    while (k < kept_.size() && kept_[k] < page) ++k;
    if (k == kept_.size() || kept_[k] != page) gaps.push_back(static_cast<std::uint32_t>(page));
  }
  return gaps;
}

TreeBuilder::TreeBuilder(PageStore* store, PageRow* pages, TagTree* tree, std::uint32_t first_page)
    : store_(store),
      pages_(pages),
      tree_(tree),
      key_length_(tree->definition().key_length),
      fill_(tree->definition().fill_byte),
      writer_(leaf_.bytes, key_length_),
      leaf_offset_(first_page) {
  writer_.Start(LeafLayout::For(key_length_, 0));
}

// A tree that was not finished must not be taken for a whole one.
TreeBuilder::~TreeBuilder() {
  if (!finished_) store_->NoteFailure();
}

Status TreeBuilder::Add(const std::uint8_t* key, std::uint32_t record) {
  if (finished_ || record == 0) {
    return Status::Invalid(store_->path() + ": tag " + tree_->definition().name +
                           (finished_ ? ": the tag is built already" : ": there is no record 0"));
  }
  const std::uint32_t trim = TrimmedLength(key, key_length_, fill_);
  std::uint32_t dup = 0;
  if (last_record_ != 0) {
    const std::uint32_t common = CommonPrefix(last_key_.data(), key, key_length_);
    if (common == key_length_ ? record <= last_record_ : key[common] < last_key_[common]) {
      return Status::Invalid(store_->path() + ": tag " + tree_->definition().name +
                             ": the entries to build from are not sorted");
    }
    dup = std::min({common, last_trim_, trim});
  }
  largest_record_ = std::max(largest_record_, record);
  if (record > writer_.layout().record_mask || writer_.Cost(dup, trim) + kSlack > writer_.Room()) {
    if (writer_.count() > 0) {
      PV_RETURN_IF_ERROR(FlushLeaf(false));
    } else {
      writer_.Start(LeafLayout::For(key_length_, largest_record_));
    }
  }
  writer_.Append(key, dup, trim, record);
  std::memcpy(last_key_.data(), key, key_length_);
  last_record_ = record;
  last_trim_ = trim;
  return {};
}

// Writes the leaf, whose last entry is the last one added, and begins the next one.
Status TreeBuilder::FlushLeaf(bool last) {
  std::uint32_t next = kNoPage;
  if (!last) {
    PV_ASSIGN_OR_RETURN(next, pages_->Take());
  }
  const bool root = last && levels_.empty();
  writer_.Finish(kLeafAttribute | (root ? kRootAttribute : 0), leaf_left_, next);
  PV_RETURN_IF_ERROR(store_->Write(leaf_offset_, leaf_.bytes, kPageSize));
  const std::uint32_t written = leaf_offset_;
  leaf_left_ = written;
  leaf_offset_ = next;
  writer_.Start(LeafLayout::For(key_length_, largest_record_));
  return root ? Status() : AddAbove(0, last_key_.data(), last_record_, written);
}

Status TreeBuilder::AddAbove(std::size_t level, const std::uint8_t* key, std::uint32_t record,
                             std::uint32_t child) {
  const std::size_t stride = InteriorStride(key_length_);
  if (level == levels_.size()) {
    levels_.push_back(std::make_unique<Level>());
    PV_ASSIGN_OR_RETURN(levels_[level]->offset, pages_->Take());
  }
  Level& l = *levels_[level];
  if (l.count == InteriorCapacity(key_length_)) {
    PV_ASSIGN_OR_RETURN(const std::uint32_t next, pages_->Take());
    const std::uint32_t written = l.offset;
    PV_RETURN_IF_ERROR(FlushLevel(level, next, false));
    const std::uint8_t* const last = InteriorKey(l.page.bytes, key_length_, l.count - 1);
    PV_RETURN_IF_ERROR(AddAbove(level + 1, last, LoadBe32(last + key_length_), written));
    l.left = written;
    l.offset = next;
    l.count = 0;
  }
  std::uint8_t* const at = l.page.bytes + kInteriorHeader + l.count * stride;
  std::memcpy(at, key, key_length_);
  StoreBe32(at + key_length_, record);
  StoreBe32(at + key_length_ + 4, child);
  ++l.count;
  return {};
}

Status TreeBuilder::FlushLevel(std::size_t level, std::uint32_t right, bool root) {
  Level& l = *levels_[level];
  std::uint8_t* const page = l.page.bytes;
  StoreLe16(page, root ? kRootAttribute : 0);
  StoreLe16(page + 2, static_cast<std::uint16_t>(l.count));
  StoreLe32(page + 4, l.left);
  StoreLe32(page + 8, right);
  const std::size_t end = kInteriorHeader + l.count * InteriorStride(key_length_);
  std::memset(page + end, 0, kPageSize - end);
  return store_->Write(l.offset, page, kPageSize);
}

Status TreeBuilder::Finish() {
  if (finished_) return Status::Invalid(store_->path() + ": the tag is built already");
  const std::uint32_t only_leaf = leaf_offset_;
  PV_RETURN_IF_ERROR(FlushLeaf(true));
  std::uint32_t root = only_leaf;
  // The number of levels may grow on the way up.
  for (std::size_t level = 0; level < levels_.size(); ++level) {
    const bool top = level + 1 == levels_.size();
    PV_RETURN_IF_ERROR(FlushLevel(level, kNoPage, top));
    const Level& l = *levels_[level];
    root = l.offset;
    if (top) break;
    const std::uint8_t* const last = InteriorKey(l.page.bytes, key_length_, l.count - 1);
    PV_RETURN_IF_ERROR(AddAbove(level + 1, last, LoadBe32(last + key_length_), l.offset));
  }
  PV_RETURN_IF_ERROR(tree_->SetRoot(root));
  finished_ = true;
  return {};
}

}  // namespace pv::engine::tree
