// Creates and opens index files, rebuilds and checks them as a whole. Tested by
// index_file_test.cc and index_build_test.cc.
#include "tablestore/engine/index/index_file.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/index/page_format.h"
#include "tablestore/engine/index/page_store.h"
#include "tablestore/engine/index/tag_build.h"
#include "tablestore/engine/index/tag_tree.h"

namespace pv::engine {
namespace {

using tree::IsPageOffset;
using tree::kHeaderSize;
using tree::kNoPage;
using tree::PageBuffer;
using tree::PageRow;
using tree::PageStore;
using tree::TagTree;
using tree::TreeBuilder;

constexpr std::size_t kCollationAt = 494;
constexpr std::size_t kCollationSize = 8;
constexpr std::size_t kReservedAt = IndexFile::kOwnAreaOffset + 8;

TagDefinition DirectoryDefinition() {
  TagDefinition directory;
  directory.key_length = tree::kNameLength;
  return directory;
}

Status WriteEmptyLeaf(PageStore* store, std::size_t key_length, std::uint32_t offset) {
  PageBuffer page;
  tree::LeafWriter writer(page.bytes, key_length);
  writer.Start(tree::LeafLayout::For(key_length, 0));
  writer.Finish(tree::kRootAttribute | tree::kLeafAttribute, kNoPage, kNoPage);
  return store->Write(offset, page.bytes, kPageSize);
}

Status CheckDefinition(const std::string& path, const TagDefinition& tag) {
  const auto limit = [&](const std::string& what) {
    return Status(StatusCode::kLimit, path + ": tag " + tag.name + ": " + what, kErrTagLimit);
  };
  if (tag.name.empty()) return Status::Invalid(path + ": a tag has no name");
  if (tag.name.size() > tree::kNameLength) return limit("a tag name has at most 10 bytes");
  if (tag.name.back() == ' ' || tag.name.find('\0') != std::string::npos) {
    return Status::Invalid(path + ": tag " + tag.name + ": the name has bytes that cannot be kept");
  }
  if (tag.key_length == 0) return Status::Invalid(path + ": tag " + tag.name + ": an empty key");
  if (tag.key_length > tree::kMaxKey) return limit("a key has at most 240 bytes");
  if (tag.expression.size() + tag.filter.size() + 2 > tree::kPoolSize) {
    return limit("expression and filter have at most 510 bytes together");
  }
  if (tag.expression.find('\0') != std::string::npos ||
      tag.filter.find('\0') != std::string::npos) {
    return Status::Invalid(path + ": tag " + tag.name + ": an expression with a zero byte");
  }
  return {};
}

// A header as it lies on disk; the root is filled in by the caller.
std::array<std::uint8_t, kHeaderSize> MakeHeader(const TagDefinition& tag, std::uint8_t options,
                                                 std::uint32_t root) {
  std::array<std::uint8_t, kHeaderSize> header{};
  StoreLe32(header.data(), root);
  StoreLe16(header.data() + 12, tag.key_length);
  header[14] = options;
  header[15] = 1;
  StoreLe16(header.data() + 502, tag.descending ? 1 : 0);
  StoreLe16(header.data() + 504, static_cast<std::uint16_t>(tag.expression.size() + 1));
  StoreLe16(header.data() + 506, static_cast<std::uint16_t>(tag.filter.size() + 1));
  StoreLe16(header.data() + 510, static_cast<std::uint16_t>(tag.expression.size() + 1));
  std::copy(tag.expression.begin(), tag.expression.end(), header.begin() + kPageSize);
  std::copy(tag.filter.begin(), tag.filter.end(),
            header.begin() + kPageSize + static_cast<std::ptrdiff_t>(tag.expression.size()) + 1);
  return header;
}

// A zero-terminated text of the pool; nothing when it does not lie inside.
std::optional<std::string> PoolText(const std::uint8_t* header, std::size_t at,
                                    std::size_t size_at) {
  const std::size_t begin = LoadLe16(header + at);
  const std::size_t size = LoadLe16(header + size_at);
  if (begin + size > tree::kPoolSize) return std::nullopt;
  const std::uint8_t* const text = header + kPageSize + begin;
  return std::string(text, std::find(text, text + size, 0));
}

Result<TagDefinition> ReadDefinition(PageStore* store, const std::string& name,
                                     std::uint32_t offset) {
  std::array<std::uint8_t, kHeaderSize> header;
  PV_ASSIGN_OR_RETURN(const std::size_t got,
                      store->file()->Read(offset, header.data(), header.size()));
  if (!IsPageOffset(offset) || got != header.size()) {
    return store->Damaged(name, offset, "the tag's header lies outside the file");
  }
  TagDefinition tag;
  tag.name = name;
  tag.key_length = LoadLe16(header.data() + 12);
  if (tag.key_length == 0 || tag.key_length > tree::kMaxKey) {
    return store->Damaged(name, offset,
                          "a key length of " + std::to_string(tag.key_length) + " bytes");
  }
  const std::uint8_t options = header[14];
  if ((options & tree::kCompactOption) == 0 || (options & tree::kDirectoryOption) != 0) {
    return store->Damaged(name, offset, "the options are not those of a tag");
  }
  tag.candidate = (options & tree::kCandidateOption) != 0;
  tag.unique = tag.candidate || (options & tree::kUniqueOption) != 0;
  tag.nullable = (options & tree::kNullableOption) != 0;
  const std::uint16_t direction = LoadLe16(header.data() + 502);
  if (direction > 1) return store->Damaged(name, offset, "neither ascending nor descending");
  tag.descending = direction == 1;
  tag.foreign_collation =
      std::any_of(header.begin() + kCollationAt, header.begin() + kCollationAt + kCollationSize,
                  [](std::uint8_t b) { return b != 0; });
  const auto expression = PoolText(header.data(), 508, 510);
  const auto filter = PoolText(header.data(), 504, 506);
  if (!expression || expression->empty() || !filter) {
    return store->Damaged(name, offset, "the expressions do not lie in the header");
  }
  tag.expression = *expression;
  tag.filter = *filter;
  return tag;
}

class IndexFileImpl final : public IndexFile {
 public:
  explicit IndexFileImpl(platform::File* file)
      : store_(file), directory_(&store_, DirectoryDefinition(), 0) {}

  Status Load();

  const std::vector<std::unique_ptr<Tag>>& tags() const override { return tags_; }
  Result<bool> IsMarked() override { return store_.IsMarked(); }
  Status BeginChange() override { return store_.BeginChange(); }
  Status EndChange() override {
    row_.reset();
    return store_.EndChange();
  }
  void AbandonChange() override {
    row_.reset();
    store_.AbandonChange();
  }
  Status Refresh() override { return store_.Refresh(); }
  std::uint64_t epoch() const override { return store_.epoch(); }
  bool HasMoved() override { return store_.CounterMoved(); }
  Status BeginRebuild() override;
  Result<std::unique_ptr<TagBuilder>> BuildTag(std::size_t tag) override;
  Status FinishRebuild() override;
  Result<std::uint64_t> ReservePages(std::uint32_t count) override;
  Result<Reserved> ReservedPages() override;
  std::vector<std::string> Verify() override;

 private:
  bool HeaderIn(std::uint64_t begin, std::uint64_t end) const;
  Status GiveUpReserved();

  PageStore store_;
  TagTree directory_;
  std::vector<std::unique_ptr<Tag>> tags_;
  std::vector<TagTree*> trees_;  // the same
  // While a rebuild is under way.
  std::unique_ptr<PageRow> row_;
  std::vector<std::uint32_t> first_pages_;  // by tag; 0 when its builder was handed out
};

Status IndexFileImpl::Load() {
  PV_RETURN_IF_ERROR(store_.Refresh());
  std::array<std::uint8_t, 16> header;
  PV_ASSIGN_OR_RETURN(const std::size_t got, store_.file()->Read(0, header.data(), header.size()));
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, store_.Size());
  if (got != header.size() || size < kHeaderSize + kPageSize) {
    return store_.Damaged("the file is too short for an index");
  }
  constexpr std::uint8_t kOptions = tree::kCompactOption | tree::kCompoundOption;
  if (LoadLe16(header.data() + 12) != tree::kNameLength || (header[14] & kOptions) != kOptions) {
    return store_.Damaged("the file is not a compound index");
  }
  std::vector<std::unique_ptr<TagTree>> loaded;
  TagPosition position;
  PV_RETURN_IF_ERROR(directory_.First(&position));
  while (position.on_entry()) {
    const std::string name = tree::NameOfKey(position.key());
    if (name.find('\0') != name.npos) return store_.Damaged("a tag's name has a zero byte");
    if (!loaded.empty() && loaded.back()->definition().name == name) {
      return store_.Damaged("two tags are named " + name);
    }
    PV_ASSIGN_OR_RETURN(TagDefinition definition, ReadDefinition(&store_, name, position.record()));
    loaded.push_back(std::make_unique<TagTree>(&store_, std::move(definition), position.record()));
    PV_RETURN_IF_ERROR(directory_.Next(&position));
  }
  // As they lie in the file, which is the order in which they were made.
  std::sort(loaded.begin(), loaded.end(),
            [](const auto& a, const auto& b) { return a->header_offset() < b->header_offset(); });
  for (std::size_t i = 0; i + 1 < loaded.size(); ++i) {
    if (loaded[i]->header_offset() + kHeaderSize > loaded[i + 1]->header_offset()) {
      return store_.Damaged(loaded[i + 1]->definition().name, loaded[i + 1]->header_offset(),
                            "the tag's header overlaps another one");
    }
  }
  for (auto& tag : loaded) {
    trees_.push_back(tag.get());
    tags_.push_back(std::move(tag));
  }
  return {};
}

bool IndexFileImpl::HeaderIn(std::uint64_t begin, std::uint64_t end) const {
  return std::any_of(trees_.begin(), trees_.end(), [&](const TagTree* tag) {
    return tag->header_offset() < end && tag->header_offset() + kHeaderSize > begin;
  });
}

Status IndexFileImpl::BeginRebuild() {
  if (!store_.in_bracket()) {
    return Status::Invalid(store_.path() + ": the index is not being changed");
  }
  if (row_ != nullptr) return Status::Invalid(store_.path() + ": a rebuild is under way already");
  std::vector<std::uint32_t> kept;
  const auto findings = directory_.VerifyAndCollect(&kept);
  if (!findings.empty()) return store_.Damaged(findings.front());
  for (const TagTree* tag : trees_) {
    kept.push_back(tag->header_offset());
    kept.push_back(tag->header_offset() + static_cast<std::uint32_t>(kPageSize));
  }
  std::sort(kept.begin(), kept.end());
  store_.NoteRebuilding();
  const std::uint8_t none[8] = {};
  PV_RETURN_IF_ERROR(store_.Write(kReservedAt, none, sizeof none));
  row_ = std::make_unique<PageRow>(&store_, std::move(kept));
  first_pages_.assign(trees_.size(), 0);
  for (std::size_t i = 0; i < trees_.size(); ++i) {
    PV_ASSIGN_OR_RETURN(first_pages_[i], row_->Take());
    PV_RETURN_IF_ERROR(
        WriteEmptyLeaf(&store_, trees_[i]->definition().key_length, first_pages_[i]));
    PV_RETURN_IF_ERROR(trees_[i]->SetRoot(first_pages_[i]));
  }
  return {};
}

Result<std::unique_ptr<TagBuilder>> IndexFileImpl::BuildTag(std::size_t tag) {
  if (row_ == nullptr || tag >= trees_.size() || first_pages_[tag] == 0) {
    return Status::Invalid(store_.path() + ": there is no tag " + std::to_string(tag) +
                           " to build now");
  }
  if (trees_[tag]->definition().foreign_collation) {
    return Status(StatusCode::kUnsupported,
                  store_.path() + ": tag " + trees_[tag]->definition().name +
                      " is sorted in an order of its own and can only be read",
                  kErrIndexReadOnly);
  }
  const std::uint32_t first = std::exchange(first_pages_[tag], 0);
  return std::unique_ptr<TagBuilder>(
      std::make_unique<TreeBuilder>(&store_, row_.get(), trees_[tag], first));
}

Status IndexFileImpl::FinishRebuild() {
  if (row_ == nullptr) return Status::Invalid(store_.path() + ": no rebuild is under way");
  const std::unique_ptr<PageRow> row = std::move(row_);
  PV_RETURN_IF_ERROR(store_.SetSize(row->end()));
  const std::vector<std::uint32_t> gaps = row->Gaps();
  for (auto gap = gaps.rbegin(); gap != gaps.rend(); ++gap) {
    PV_RETURN_IF_ERROR(store_.Free(*gap));
  }
  store_.NoteRebuilt();
  return {};
}

Result<IndexFile::Reserved> IndexFileImpl::ReservedPages() {
  std::uint8_t area[8];
  PV_ASSIGN_OR_RETURN(const std::size_t got, store_.file()->Read(kReservedAt, area, sizeof area));
  // Inside a bracket nobody else makes the file longer or shorter.
  PV_ASSIGN_OR_RETURN(const std::uint64_t size,
                      store_.in_bracket() ? store_.Size() : store_.file()->Size());
  const std::uint32_t offset = LoadLe32(area);
  const std::uint64_t pages = LoadLe32(area + 4);
  if (got != sizeof area || pages == 0 || !IsPageOffset(offset) ||
      offset + pages * kPageSize > size || HeaderIn(offset, offset + pages * kPageSize)) {
    return Reserved();
  }
  return Reserved{offset, static_cast<std::uint32_t>(pages)};
}

// Puts the reserved pages on the free list, but for such as a program that knows nothing of them
// has taken for a tree.
Status IndexFileImpl::GiveUpReserved() {
  PV_ASSIGN_OR_RETURN(const Reserved reserved, ReservedPages());
  if (reserved.pages == 0) return {};
  std::set<std::uint32_t> pages;
  for (std::uint32_t i = 0; i < reserved.pages; ++i) {
    pages.insert(static_cast<std::uint32_t>(reserved.offset + i * kPageSize));
  }
  std::vector<TagTree*> all = trees_;
  all.push_back(&directory_);
  for (TagTree* tag : all) {
    std::vector<std::uint32_t> used;
    static_cast<void>(tag->VerifyAndCollect(&used));
    for (const std::uint32_t page : used) pages.erase(page);
  }
  for (auto page = pages.rbegin(); page != pages.rend(); ++page) {
    PV_RETURN_IF_ERROR(store_.Free(*page));
  }
  return {};
}

Result<std::uint64_t> IndexFileImpl::ReservePages(std::uint32_t count) {
  PV_RETURN_IF_ERROR(store_.CheckChange());
  const auto reserve = [&]() -> Result<std::uint64_t> {
    PV_RETURN_IF_ERROR(GiveUpReserved());
    PV_ASSIGN_OR_RETURN(const std::uint64_t size, store_.Size());
    const std::uint64_t offset = count == 0 ? 0 : (size + kPageSize - 1) / kPageSize * kPageSize;
    const std::uint64_t end = offset + std::uint64_t{count} * kPageSize;
    if (end > tree::kMaxFileSize) {
      return Status(
          StatusCode::kLimit,
          store_.path() + ": the index would pass its largest size of 2,147,483,136 bytes",
          kErrTooLarge);
    }
    if (count > 0) PV_RETURN_IF_ERROR(store_.SetSize(end));
    std::uint8_t area[8];
    StoreLe32(area, static_cast<std::uint32_t>(offset));
    StoreLe32(area + 4, count);
    PV_RETURN_IF_ERROR(store_.Write(kReservedAt, area, sizeof area));
    return offset;
  };
  Result<std::uint64_t> offset = reserve();
  if (!offset.ok()) store_.NoteFailure();
  return offset;
}

std::vector<std::string> IndexFileImpl::Verify() {
  std::vector<std::string> findings;
  const auto find = [&](const std::string& what) {
    if (findings.size() < 50) findings.push_back(store_.path() + ": " + what + ".");
  };
  if (const Status status = store_.Refresh(); !status.ok()) return {status.message()};
  const auto size = store_.file()->Size();
  if (!size.ok()) return {size.status().message()};
  if (*size % kPageSize != 0) find("the file does not end with a whole page");

  // Whose each page is.
  std::vector<std::string> owner(static_cast<std::size_t>(*size / kPageSize));
  const auto claim = [&](std::uint64_t offset, const std::string& who) {
    const std::size_t page = static_cast<std::size_t>(offset / kPageSize);
    if (page >= owner.size()) return;  // said elsewhere
    if (!owner[page].empty()) {
      find("the page at " + std::to_string(offset) + " belongs to " + owner[page] + " and to " +
           who);
    }
    owner[page] = who;
  };
  claim(0, "the header");
  claim(kPageSize, "the header");
  std::vector<std::uint32_t> pages;
  findings = directory_.VerifyAndCollect(&pages);
  for (const std::uint32_t page : pages) claim(page, "the tag directory");
  for (TagTree* tag : trees_) {
    const std::string who = "tag " + tag->definition().name;
    claim(tag->header_offset(), who);
    claim(tag->header_offset() + kPageSize, who);
    // What is wrong inside the tag is for its own Verify to say.
    static_cast<void>(tag->VerifyAndCollect(&pages));
    for (const std::uint32_t page : pages) claim(page, who);
  }
  if (const auto reserved = ReservedPages(); reserved.ok()) {
    for (std::uint32_t i = 0; i < reserved->pages; ++i) {
      claim(reserved->offset + i * kPageSize, "the reserved area");
    }
  }
  std::uint32_t free = store_.free_head();
  while (free != 0 && free != kNoPage) {
    const std::size_t page = free / kPageSize;
    if (!IsPageOffset(free) || page >= owner.size()) {
      find("the free list leads to " + std::to_string(free) + ", where no page is");
      break;
    }
    if (owner[page] == "the free list") {
      find("the free list forms a ring at " + std::to_string(free));
      break;
    }
    claim(free, "the free list");
    owner[page] = "the free list";
    std::uint8_t link[4];
    const auto got = store_.file()->Read(free, link, sizeof link);
    if (!got.ok()) {
      find(got.status().message());
      break;
    }
    free = LoadLe32(link);
  }
  return findings;
}

}  // namespace

Status IndexFile::Create(platform::File* file, const std::vector<TagDefinition>& tags) {
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, file->Size());
  if (size != 0) return Status::Exists(file->path() + ": the file is not empty");
  std::set<std::string> names;
  for (const TagDefinition& tag : tags) {
    PV_RETURN_IF_ERROR(CheckDefinition(file->path(), tag));
    if (!names.insert(tag.name).second) {
      return Status::Invalid(file->path() + ": two tags are named " + tag.name);
    }
  }
  constexpr std::uint8_t kOptions = tree::kCompactOption | tree::kCompoundOption;
  PageStore store(file);
  const auto header = MakeHeader(DirectoryDefinition(), kOptions | tree::kDirectoryOption,
                                 static_cast<std::uint32_t>(kHeaderSize));
  PV_RETURN_IF_ERROR(store.Write(0, header.data(), header.size()));
  PV_RETURN_IF_ERROR(WriteEmptyLeaf(&store, tree::kNameLength, kHeaderSize));
  PV_RETURN_IF_ERROR(store.BeginChange());
  TagTree directory(&store, DirectoryDefinition(), 0);
  for (const TagDefinition& tag : tags) {
    // Three pages in a row: an empty file has no free ones.
    PV_ASSIGN_OR_RETURN(const std::uint32_t at, store.Allocate(tag.name));
    PV_ASSIGN_OR_RETURN(const std::uint32_t second, store.Allocate(tag.name));
    static_cast<void>(second);
    PV_ASSIGN_OR_RETURN(const std::uint32_t root, store.Allocate(tag.name));
    std::uint8_t options = kOptions;
    if (tag.candidate) {
      options |= tree::kCandidateOption;
    } else if (tag.unique) {
      options |= tree::kUniqueOption;
    }
    if (tag.nullable) options |= tree::kNullableOption;
    if (!tag.filter.empty()) options |= tree::kFilterOption;
    const auto tag_header = MakeHeader(tag, options, root);
    PV_RETURN_IF_ERROR(store.Write(at, tag_header.data(), tag_header.size()));
    PV_RETURN_IF_ERROR(WriteEmptyLeaf(&store, tag.key_length, root));
    std::uint8_t key[tree::kNameLength];
    std::memset(key, ' ', sizeof key);
    std::memcpy(key, tag.name.data(), tag.name.size());
    PV_RETURN_IF_ERROR(directory.Insert(key, at));
  }
  return store.EndChange();
}

Result<std::unique_ptr<IndexFile>> IndexFile::Open(platform::File* file) {
  auto index = std::make_unique<IndexFileImpl>(file);
  PV_RETURN_IF_ERROR(index->Load());
  return std::unique_ptr<IndexFile>(std::move(index));
}

}  // namespace pv::engine
