// Opening, closing and locking of tables. Tested by table_test.cc.
#include "tablestore/engine/table.h"

#include <algorithm>

#include "base/bytes.h"
#include "base/text.h"
#include "tablestore/engine/append_run.h"
#include "tablestore/engine/data/field_codec.h"
#include "tablestore/engine/error_codes.h"

namespace pv::engine {
namespace {

platform::ShareMode ShareOf(AccessMode mode) {
  switch (mode) {
    case AccessMode::kExclusive:
      return platform::ShareMode::kDenyWrite;
    case AccessMode::kLocked:
      return platform::ShareMode::kDenyAll;
    case AccessMode::kShared:
      break;
  }
  return platform::ShareMode::kDenyNone;
}

}  // namespace

Table::Table(Session* session) : session_(session) {}

Table::~Table() = default;

std::string Table::CompanionPath(std::string_view extension) const {
  return std::string(platform::WithoutExtension(path_)) + std::string(extension);
}

Result<std::unique_ptr<Table>> Table::Open(Session* session, const std::string& path,
                                           AccessMode mode) {
  platform::FileSystem* const files = session->files();
  // A compaction of another process may end between two of our steps; then the files that we
  // opened are not of one table, and its note was there at the second look.
  for (int attempt = 0; attempt < 3; ++attempt) {
    PV_ASSIGN_OR_RETURN(const std::string found, platform::FindIgnoringCase(files, path));
    PV_RETURN_IF_ERROR(FinishInterruptedPack(session, found));
    std::unique_ptr<Table> table(new Table(session));
    table->mode_ = mode;
    PV_RETURN_IF_ERROR(table->OpenFiles(found));
    PV_ASSIGN_OR_RETURN(const bool committed, PackIsCommitted(session, found));
    if (committed) continue;
    PV_RETURN_IF_ERROR(table->PrepareTags());
    if (table->index_) {
      platform::RangeLock lock;
      PV_RETURN_IF_ERROR(table->LockIndex(platform::LockKind::kShared, false, &lock));
    }
    PV_RETURN_IF_ERROR(table->TrimLeftovers());
    return table;
  }
  return Status::Busy(path + " is being compacted");
}

Status Table::OpenFiles(const std::string& path) {
  path_ = path;
  platform::FileSystem* const files = session_->files();
  platform::OpenOptions options;
  options.share = ShareOf(mode_);
  options.mapped = true;
  PV_ASSIGN_OR_RETURN(data_, files->Open(path_, options));
  PV_RETURN_IF_ERROR(ReadHeader());

  if ((header_.flags & kFlagStructuralIndex) != 0 && !session_->ignore_index) {
    auto index_path = platform::FindIgnoringCase(files, CompanionPath(".cdx"));
    if (!index_path.ok() && index_path.status().code() == StatusCode::kNotFound) {
      return {StatusCode::kCorrupt, path_ + ": its index " + CompanionPath(".cdx") + " is missing",
              kErrIndexDamaged};
    }
    if (!index_path.ok()) return index_path.status();
    PV_RETURN_IF_ERROR(OpenIndex(*index_path));
  }

  if ((header_.flags & kFlagStructuralIndex) == 0) {
    if (auto stray = platform::FindIgnoringCase(files, CompanionPath(".cdx")); stray.ok()) {
      stray_index_ = *stray;
      session_->Notice(StrayIndexFault());
    }
  }

  const bool has_memos = std::any_of(header_.layout.fields.begin(), header_.layout.fields.end(),
                                     [](const auto& f) { return f.is_memo() || f.is_object(); });
  if (has_memos) {
    auto memo_path = platform::FindIgnoringCase(files, CompanionPath(".fpt"));
    if (!memo_path.ok()) {
      if (memo_path.status().code() != StatusCode::kNotFound) return memo_path.status();
      return {StatusCode::kNotFound,
              path_ + ": its memo file " + CompanionPath(".fpt") + " is missing", kErrMemoMissing};
    }
    memo_path_ = *memo_path;
    options.mapped = false;
    PV_ASSIGN_OR_RETURN(memo_raw_, files->Open(memo_path_, options));
    PV_ASSIGN_OR_RETURN(memo_, MemoFile::Open(memo_raw_.get()));
  }
  return {};
}

std::string Table::StrayIndexFault() const {
  return path_ + ": the header says that there is no index, but " + stray_index_ +
         " lies beside it and is not kept up to date";
}

Status Table::ReadHeader() {
  std::string first(kHeaderFixedSize, '\0');
  PV_ASSIGN_OR_RETURN(const std::size_t got, data_->Read(0, first.data(), first.size()));
  first.resize(got);
  PV_ASSIGN_OR_RETURN(const std::uint32_t length, HeaderLengthOf(first, path_));
  std::string bytes(length, '\0');
  PV_ASSIGN_OR_RETURN(const std::size_t whole, data_->Read(0, bytes.data(), bytes.size()));
  bytes.resize(whole);
  auto page = session_->page;
  if (const int number = CodePageFromMark(static_cast<std::uint8_t>(first[29])); number != 0) {
    auto loaded = session_->system().code_pages->Load(number);
    if (loaded.ok()) {
      page = *loaded;
    } else {
      session_->Notice(path_ + ": code page " + std::to_string(number) +
                       " is not available here; its text is read as code page " +
                       std::to_string(page->number()));
    }
  }
  PV_ASSIGN_OR_RETURN(header_, ParseDataHeader(bytes, path_, page));
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, data_->Size());
  data_capacity_ = size;
  header_count_ = 0;
  count_ = 0;
  PV_ASSIGN_OR_RETURN(count_, ValidCount(header_.record_count));
  record_.assign(header_.layout.record_length + 1, 0);
  record_.back() = kEndOfFileMark;
  MakeBlank();
  original_.assign(header_.layout.record_length + ReadAhead::kSlack, 0);
  ahead_.emplace(header_.layout);
  EndWalk();
  memos_.resize(header_.layout.fields.size());
  return {};
}

Result<std::uint32_t> Table::ValidCount(std::uint32_t header_count) {
  if (header_count == header_count_ && count_ != 0) return count_;
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, data_->Size());
  const std::uint64_t room = size > header_.header_length
                                 ? (size - header_.header_length) / header_.layout.record_length
                                 : 0;
  if (header_count > room && !reported_short_) {
    reported_short_ = true;
    session_->Notice(path_ + ": the header counts " + std::to_string(header_count) +
                     " records, but the file holds " + std::to_string(room));
  }
  header_count_ = header_count;
  count_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(header_count, room));
  return count_;
}

Status Table::ReadHeaderBytes(std::uint64_t offset, void* out, std::size_t size) {
  PV_ASSIGN_OR_RETURN(const std::size_t got, data_->Read(offset, out, size));
  if (got == size) return {};
  return {StatusCode::kCorrupt, path_ + ": the header is cut short", kErrDataDamaged};
}

Result<std::uint32_t> Table::HeaderCount() {
  std::uint8_t bytes[4] = {};
  PV_RETURN_IF_ERROR(ReadHeaderBytes(kHeaderCountOffset, bytes, sizeof bytes));
  return LoadLe32(bytes);
}

Status Table::ReadRecords(platform::File* data, std::uint32_t first, std::uint32_t count,
                          std::uint8_t* out) {
  const std::size_t length = header_.layout.record_length;
  // Who reads many reads them all, and once.
  auto got = count > 1 || walked_ > 0
                 ? data->ReadOnce(header_.RecordOffset(first), out, count * length)
                 : data->Read(header_.RecordOffset(first), out, length);
  if (!got.ok()) return got.status();
  if (*got == count * length) return {};
  return RecordMissing(first + static_cast<std::uint32_t>(*got / length));
}

Status Table::RecordMissing(std::uint32_t record) const {
  return {StatusCode::kCorrupt,
          path_ + ": record " + std::to_string(record) + " lies beyond the end of the file",
          kErrDataDamaged};
}

Result<std::uint32_t> Table::RecordCount() {
  if (exclusive()) return count_;
  PV_ASSIGN_OR_RETURN(const std::uint32_t count, HeaderCount());
  return ValidCount(count);
}

Status Table::OpenIndex(const std::string& index_path) {
  index_path_ = index_path;
  platform::OpenOptions options;
  options.share = ShareOf(mode_);
  options.mapped = true;
  PV_ASSIGN_OR_RETURN(index_raw_, session_->files()->Open(index_path_, options));
  PV_ASSIGN_OR_RETURN(index_, IndexFile::Open(index_raw_.get()));
  return {};
}

Status Table::PrepareTags() {
  if (!index_) return {};
  tags_.clear();
  for (const auto& tag : index_->tags()) {
    TagState state;
    state.tag = tag.get();
    const TagDefinition& d = tag->definition();
    auto key = Expression::Compile(d.expression, header_.layout);
    if (d.foreign_collation) {
      state.unusable = "its keys are ordered by a collation that is not byte order";
    } else if (!key.ok()) {
      state.unusable = key.status().message();
    } else if (auto keys = KeyMaker::Create(std::move(*key), d.key_length); !keys.ok()) {
      state.unusable = keys.status().message();
    } else {
      state.keys = std::move(*keys);
      tag->SetFillByte(state.keys->fill_byte());
    }
    if (!d.filter.empty()) {
      auto filter = Expression::Compile(d.filter, header_.layout);
      if (!filter.ok()) {
        state.unusable = filter.status().message();
      } else if ((*filter)->type() != ValueType::kLogical) {
        state.unusable = "its filter is not a logical expression";
      } else {
        state.filter = std::move(*filter);
      }
    }
    if (!state.unusable.empty()) {
      session_->Notice(index_path_ + ": tag " + d.name + " can only be read: " + state.unusable);
    }
    tags_.push_back(std::move(state));
  }
  return {};
}

Status Table::CheckWritable() {
  if (data_->read_only() || (index_raw_ && index_raw_->read_only()) ||
      (memo_raw_ && memo_raw_->read_only())) {
    return {StatusCode::kDenied, path_ + " is open for reading only", kErrReadOnly};
  }
  if ((header_.flags & kFlagStructuralIndex) != 0 && !index_) {
    return {StatusCode::kDenied, path_ + " was opened without its index, for reading only",
            kErrReadOnly};
  }
  for (const TagState& t : tags_) {
    if (!t.unusable.empty()) {
      return {StatusCode::kUnsupported,
              index_path_ + ": tag " + t.tag->definition().name +
                  " can only be read, so the table cannot be changed: " + t.unusable,
              kErrIndexReadOnly};
    }
  }
  return {};
}

Status Table::LockData(std::uint64_t offset, platform::RangeLock* lock) {
  if (exclusive()) return {};
  return platform::LockWithin(session_->files(), data_.get(), offset, 1,
                              platform::LockKind::kExclusive, session_->lock_wait_ms, lock);
}

Status Table::LockMemo(platform::RangeLock* lock) {
  if (exclusive() || lock->held()) return {};
  return platform::LockWithin(session_->files(), memo_raw_.get(), kMemoLockOffset, 1,
                              platform::LockKind::kExclusive, session_->lock_wait_ms, lock);
}

Status Table::LockIndex(platform::LockKind kind, bool append_lock_held, platform::RangeLock* lock) {
  if (exclusive()) {
    PV_RETURN_IF_ERROR(EndAppendRun());
    if (index_is_ours()) return {};
    PV_RETURN_IF_ERROR(RecoverIfMarked(append_lock_held, lock));
    index_checked_ = true;
    return {};
  }
  PV_RETURN_IF_ERROR(platform::LockWithin(session_->files(), index_raw_.get(), kIndexLockOffset, 1,
                                          kind, session_->lock_wait_ms, lock));
  PV_ASSIGN_OR_RETURN(const bool marked, index_->IsMarked());
  if (marked) {
    PV_RETURN_IF_ERROR(RecoverIfMarked(append_lock_held, lock));
    if (kind == platform::LockKind::kShared) {
      PV_RETURN_IF_ERROR(index_raw_->TryLock(kIndexLockOffset, 1, platform::LockKind::kShared));
    }
  }
  return index_->Refresh();
}

Status Table::LoadRecord(std::uint32_t record) {
  PV_RETURN_IF_ERROR(ReadRecords(data_.get(), record, 1, original_.data()));
  ShowRecord(record);
  return {};
}

// The record whose bytes are in original_ becomes the current one.
void Table::ShowRecord(std::uint32_t record) {
  edited_ = false;
  if (memos_touched_) ForgetMemos();
  recalled_ = false;
  record_number_ = record;
  place_ = Place::kRecord;
  empty_ = false;
}

void Table::ForgetMemos() {
  for (MemoSlot& m : memos_) m = MemoSlot();
  memos_touched_ = false;
}

const std::string* Table::Memo(std::size_t field) {
  MemoSlot& slot = memos_[field];
  if (slot.loaded) return &slot.text;
  memos_touched_ = true;
  const FieldLayout& f = header_.layout.fields[field];
  const auto block = DecodeMemoBlock(f, record() + f.offset);
  if (!block) {
    session_->Fail({StatusCode::kCorrupt,
                    path_ + ": record " + std::to_string(record_number_) + ", field " + f.name +
                        ": the memo block is no number",
                    kErrMemoDamaged});
    return nullptr;
  }
  auto text = memo_->Read(*block);
  if (!text.ok()) {
    session_->Fail(
        text.status().WithPrefix("record " + std::to_string(record_number_) + ", field " + f.name));
    return nullptr;
  }
  slot.text = std::move(*text);
  slot.loaded = true;
  return &slot.text;
}

void Table::AssignMemo(std::size_t field, std::string_view bytes) {
  MemoSlot& slot = memos_[field];
  slot.text = bytes;
  slot.loaded = true;
  slot.assigned = true;
  memos_touched_ = true;
}

// What stands behind the last record and its end mark. Zeros are room that an exclusive session
// made ahead. One record may be of an append whose writer died (`died`: the mark told so, or there
// is no index to tell). More is not ours: the count may be what is wrong.
Result<Table::Tail> Table::InspectTail(bool died) {
  const std::uint64_t end = header_.RecordOffset(count_ + 1);
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, data_->Size());
  data_capacity_ = size;
  if (size <= end + 1) return Tail::kNone;
  std::uint64_t at = end + 1 + (died ? header_.layout.record_length : 0);
  std::vector<std::uint8_t> block(64 * 1024);
  while (at < size) {
    PV_ASSIGN_OR_RETURN(const std::size_t got, data_->Read(at, block.data(), block.size()));
    if (got == 0) break;
    if (std::any_of(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(got),
                    [](std::uint8_t b) { return b != 0; })) {
      return Tail::kForeign;
    }
    at += got;
  }
  return Tail::kOurs;
}

// At opening: room that a session made ahead and could not give back is cut off. Somebody who is
// just appending holds the lock; then the bytes may be his, and are left alone.
Status Table::TrimLeftovers() {
  if (data_->read_only() || data_capacity_ <= header_.RecordOffset(count_ + 1) + 1) return {};
  platform::RangeLock append;
  if (!exclusive()) {
    Status s = platform::LockWithin(session_->files(), data_.get(), kAppendLockOffset, 1,
                                    platform::LockKind::kExclusive, 0, &append);
    if (s.code() == StatusCode::kBusy) return {};
    PV_RETURN_IF_ERROR(s);
    PV_RETURN_IF_ERROR(RecordCount().status());
  }
  if (header_count_ != count_) return {};
  PV_ASSIGN_OR_RETURN(const Tail tail, InspectTail(index_ == nullptr));
  if (tail == Tail::kOurs) return CutTail();
  if (tail == Tail::kForeign) session_->Notice(TailFault().message());
  return {};
}

Status Table::TailFault() const {
  const std::uint64_t end = header_.RecordOffset(count_ + 1);
  return {StatusCode::kCorrupt,
          path_ + ": the header counts " + std::to_string(count_) + " records, but " +
              std::to_string(data_capacity_ - end - 1) + " more bytes follow the last one",
          kErrDataDamaged};
}

// Before the first append, and before compaction: nothing is written over bytes that may be
// records.
Status Table::CheckTail() {
  if (tail_checked_ || header_count_ != count_) return {};
  PV_ASSIGN_OR_RETURN(const Tail tail, InspectTail(index_ == nullptr));
  if (tail == Tail::kForeign) return TailFault();
  tail_checked_ = true;
  return {};
}

// Ends the file with its end mark behind the last record.
Status Table::CutTail() {
  const std::uint64_t end = header_.RecordOffset(count_ + 1);
  PV_RETURN_IF_ERROR(data_->Write(end, &kEndOfFileMark, 1));
  PV_RETURN_IF_ERROR(data_->Truncate(end + 1));
  data_capacity_ = end + 1;
  return {};
}

Status Table::Flush() {
  if (!dirty_) return {};
  PV_RETURN_IF_ERROR(EndAppendRun());
  if (memo_raw_) PV_RETURN_IF_ERROR(memo_raw_->Sync());
  PV_RETURN_IF_ERROR(data_->Sync());
  if (index_raw_) PV_RETURN_IF_ERROR(index_raw_->Sync());
  dirty_ = false;
  return {};
}

Status Table::Close() {
  Status first;
  const auto keep = [&first](Status s) {
    if (first.ok() && !s.ok()) first = std::move(s);
  };
  if (data_ && !data_->read_only()) {
    if (bulk_ && BulkEnd() < 0) {
      keep({StatusCode::kIoError, path_ + ": building the tags failed", kErrInputOutput});
    }
    keep(EndAppendRun());
    if (index_ && needs_rebuild_) {
      platform::RangeLock lock;
      keep(LockIndex(platform::LockKind::kExclusive, false, &lock));
    }
    if (exclusive()) keep(TrimLeftovers());
    keep(Flush());
  }
  index_.reset();
  memo_.reset();
  tags_.clear();
  data_.reset();
  index_raw_.reset();
  memo_raw_.reset();
  place_ = Place::kEof;
  return first;
}

int Table::FindTag(std::string_view name) const {
  for (std::size_t i = 0; i < tags_.size(); ++i) {
    if (EqualsIgnoreCase(tags_[i].tag->definition().name, name)) return static_cast<int>(i);
  }
  return -1;
}

TableInfo Table::Info() {
  TableInfo info;
  info.data_file = path_;
  info.index_file = index_path_;
  info.memo_file = memo_path_;
  info.version = static_cast<std::uint8_t>(header_.version);
  info.code_page = CodePageFromMark(header_.code_page_mark);
  if (auto count = RecordCount(); count.ok()) info.records = static_cast<std::int32_t>(*count);
  info.header_length = static_cast<std::int32_t>(header_.header_length);
  info.record_length = static_cast<std::int32_t>(header_.layout.record_length);
  const auto size_of = [](platform::File* f) {
    if (f == nullptr) return std::uint64_t{0};
    auto size = f->Size();
    return size.ok() ? *size : 0;
  };
  info.data_size = size_of(data_.get());
  info.index_size = size_of(index_raw_.get());
  info.memo_size = size_of(memo_raw_.get());
  info.read_only = data_->read_only();
  for (const TagState& t : tags_) {
    const TagDefinition& d = t.tag->definition();
    info.tags.push_back(
        {d.name, d.expression, d.filter, d.unique || d.candidate, d.descending, t.unusable});
  }
  return info;
}

}  // namespace pv::engine
