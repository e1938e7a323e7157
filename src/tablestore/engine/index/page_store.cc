// Pages, free list, change counter and mark of an index file. Tested by index_file_test.cc and
// index_crash_test.cc.
#include "tablestore/engine/index/page_store.h"

#include <algorithm>
#include <atomic>

#include "tablestore/engine/error_codes.h"

namespace pv::engine::tree {
namespace {

constexpr std::uint8_t kMark[4] = {'P', 'V', 'W', '1'};  // On disk: never change.
constexpr std::size_t kFreeListAt = 4;
constexpr std::size_t kCounterAt = 8;
constexpr std::size_t kMarkAt = IndexFile::kOwnAreaOffset;

}  // namespace

PageStore::PageStore(platform::File* file) : file_(file) {
  // Positions may outlive the index file that they were used with.
  static std::atomic<std::uint64_t> stores{0};
  version_ = ++stores << 32;
}

Status PageStore::Damaged(std::string_view tag, std::uint32_t page, std::string_view what) const {
  std::string message = path() + ": ";
  message += tag.empty() ? "the tag directory" : "tag " + std::string(tag);
  message += ", page at " + std::to_string(page) + ": ";
  message += what;
  return {StatusCode::kCorrupt, std::move(message), kErrIndexDamaged};
}

Status PageStore::Damaged(std::string_view what) const {
  return {StatusCode::kCorrupt, path() + ": " + std::string(what), kErrIndexDamaged};
}

Status PageStore::ReadHeader(bool* marked) {
  PV_ASSIGN_OR_RETURN(const std::size_t got, file_->Read(0, header_.data(), header_.size()));
  if (got < header_.size()) {
    loaded_ = false;
    return Damaged("the file is too short for an index");
  }
  const std::uint32_t counter = LoadBe32(header_.data() + kCounterAt);
  if (!loaded_ || counter != counter_) {
    counter_ = counter;
    size_ = 0;
    ++epoch_;
    loaded_ = true;
  }
  free_head_ = LoadLe32(header_.data() + kFreeListAt);
  *marked = std::memcmp(header_.data() + kMarkAt, kMark, sizeof kMark) == 0;
  return {};
}

Status PageStore::Refresh() {
  if (in_bracket_) return {};
  bool marked = false;
  return ReadHeader(&marked);
}

bool PageStore::CounterMoved() {
  std::uint8_t bytes[4];
  const auto got = file_->Read(kCounterAt, bytes, sizeof bytes);
  return !got.ok() || *got != sizeof bytes || LoadBe32(bytes) != counter_;
}

Status PageStore::ReadPageBy(Reader reader, std::string_view tag, std::uint32_t offset,
                             std::uint8_t* out) {
  if (!IsPageOffset(offset)) return Damaged(tag, offset, "a page cannot begin there");
  const auto got = (file_->*reader)(offset, out, kPageSize);
  if (!got.ok()) return got.status();
  if (*got != kPageSize) return Damaged(tag, offset, "the page lies beyond the end of the file");
  return {};
}

Result<std::uint64_t> PageStore::Size() {
  if (size_ == 0) {
    PV_ASSIGN_OR_RETURN(size_, file_->Size());
  }
  return size_;
}

Status PageStore::SetSize(std::uint64_t size) {
  PV_RETURN_IF_ERROR(file_->Truncate(size));
  size_ = size;
  return {};
}

Result<std::uint32_t> PageStore::Allocate(std::string_view tag) {
  if (IsPageOffset(free_head_)) {
    // A page is taken only when it looks as Free leaves it: the list of a damaged file, or of a
    // program with other habits, must not lead us to overwrite a page in use.
    PageBuffer page;
    const std::uint32_t offset = free_head_;
    const auto got = file_->Read(offset, page.bytes, kPageSize);
    if (!got.ok()) return got.status();
    const bool blank = *got == kPageSize && std::all_of(page.bytes + 4, page.bytes + kPageSize,
                                                        [](std::uint8_t b) { return b == 0; });
    const std::uint32_t next = LoadLe32(page.bytes);
    if (blank && next != offset && (next == 0 || IsPageOffset(next))) {
      // Blank no more from here on: a list that forms a ring cannot hand it out twice.
      const std::uint64_t taken = ~std::uint64_t{0};
      PV_RETURN_IF_ERROR(Write(offset, &taken, sizeof taken));
      free_head_ = next;
      return offset;
    }
  }
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, Size());
  const std::uint64_t offset = (size + kPageSize - 1) / kPageSize * kPageSize;
  if (offset + kPageSize > kMaxFileSize) {
    return Status(StatusCode::kLimit,
                  path() + ": tag " + std::string(tag) +
                      " would grow the index past its largest size of 2,147,483,136 bytes",
                  kErrTooLarge);
  }
  size_ = offset + kPageSize;
  return static_cast<std::uint32_t>(offset);
}

Status PageStore::Free(std::uint32_t offset) {
  std::uint8_t page[kPageSize] = {};
  StoreLe32(page, IsPageOffset(free_head_) ? free_head_ : 0);
  PV_RETURN_IF_ERROR(Write(offset, page, kPageSize));
  free_head_ = offset;
  return {};
}

Status PageStore::BeginChange() {
  if (in_bracket_) return Status::Invalid(path() + ": a change of the index is under way already");
  if (file_->read_only()) {
    return {StatusCode::kDenied, path() + ": the index file can only be read", kErrReadOnly};
  }
  bool marked = false;
  PV_RETURN_IF_ERROR(ReadHeader(&marked));
  must_rebuild_ = marked;
  failed_ = false;
  if (!marked) PV_RETURN_IF_ERROR(Write(kMarkAt, kMark, sizeof kMark));
  in_bracket_ = true;
  return {};
}

Status PageStore::EndChange() {
  if (!in_bracket_) return Status::Invalid(path() + ": no change of the index is under way");
  if (failed_ || must_rebuild_) {
    AbandonChange();
    return Damaged("a change of the index failed half way; the tags must be rebuilt");
  }
  // One write: free list, counter, the bytes between (as they were), and the mark's place.
  StoreLe32(header_.data() + kFreeListAt, free_head_);
  StoreBe32(header_.data() + kCounterAt, counter_ + 1);
  std::memset(header_.data() + kMarkAt, 0, sizeof kMark);
  const Status written =
      Write(kFreeListAt, header_.data() + kFreeListAt, header_.size() - kFreeListAt);
  if (!written.ok()) {
    AbandonChange();
    return written;
  }
  ++counter_;
  in_bracket_ = false;
  return {};
}

void PageStore::AbandonChange() {
  in_bracket_ = false;
  must_rebuild_ = false;
  failed_ = false;
  loaded_ = false;
  size_ = 0;
  ++epoch_;
}

Status PageStore::CheckChange() const {
  if (!in_bracket_) return Status::Invalid(path() + ": the index is not being changed");
  if (must_rebuild_) {
    return Damaged("a writer left the index half changed; the tags must be rebuilt first");
  }
  return {};
}

void PageStore::NoteRebuilding() {
  must_rebuild_ = true;
  failed_ = false;
  free_head_ = 0;
  ++epoch_;
}

void PageStore::NoteRebuilt() {
  must_rebuild_ = false;
  ++epoch_;
}

Result<bool> PageStore::IsMarked() {
  std::uint8_t bytes[sizeof kMark];
  PV_ASSIGN_OR_RETURN(const std::size_t got, file_->Read(kMarkAt, bytes, sizeof bytes));
  if (got < sizeof bytes) return Damaged("the file is too short for an index");
  return std::memcmp(bytes, kMark, sizeof kMark) == 0;
}

}  // namespace pv::engine::tree
