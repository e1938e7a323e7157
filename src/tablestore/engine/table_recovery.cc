// What is done after a writer died: the journal's change is finished and the tags are rebuilt from
// the data file. Tested by recovery_test.cc.
#include <algorithm>
#include <cstring>

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/table.h"
#include "tablestore/engine/tag_entries.h"

namespace pv::engine {
namespace {

constexpr std::size_t kScanBlock = std::size_t{256} << 10;

}  // namespace

// Invariant 4. Called with the index lock held (in whichever kind), or under exclusive access.
Status Table::RecoverIfMarked(bool append_lock_held, platform::RangeLock* lock) {
  platform::RangeLock append;
  if (!exclusive()) {
    // Invariant 1: the append lock comes first. It keeps out programs that append without knowing
    // the mark.
    if (!append_lock_held) {
      lock->Release();
      PV_RETURN_IF_ERROR(LockData(kAppendLockOffset, &append));
    }
    PV_RETURN_IF_ERROR(platform::LockWithin(session_->files(), index_raw_.get(), kIndexLockOffset,
                                            1, platform::LockKind::kExclusive,
                                            session_->lock_wait_ms, lock));
  }
  PV_ASSIGN_OR_RETURN(const bool marked, index_->IsMarked());
  if (!marked) {
    needs_rebuild_ = false;
    return {};
  }
  // The lock is ours alone, and the mark's writer had it: it is gone.
  if (Status writable = CheckWritable(); !writable.ok()) {
    return {StatusCode::kCorrupt,
            index_path_ +
                " was left half changed by a program that ended, and cannot be rebuilt: " +
                writable.message(),
            kErrIndexDamaged};
  }
  PV_ASSIGN_OR_RETURN(const IndexFile::Reserved reserved, index_->ReservedPages());
  bool replayed = false;
  if (reserved.pages != 0) {
    PV_ASSIGN_OR_RETURN(replayed, Journal::Replay(index_raw_.get(), reserved.offset,
                                                  std::uint64_t{reserved.pages} * kPageSize,
                                                  data_.get(), memo_raw_.get()));
  }
  header_count_ = 0;
  count_ = 0;
  PV_ASSIGN_OR_RETURN(const std::uint32_t count, HeaderCount());
  PV_ASSIGN_OR_RETURN(const std::uint32_t records, ValidCount(count));

  // We hold the append lock: one record beyond the count is of an append that never was.
  if (header_count_ == count_) {
    PV_ASSIGN_OR_RETURN(const Tail tail, InspectTail(true));
    if (tail == Tail::kOurs) PV_RETURN_IF_ERROR(CutTail());
    if (tail == Tail::kForeign) session_->Notice(TailFault().message());
  }
  PV_RETURN_IF_ERROR(index_->Refresh());
  PV_RETURN_IF_ERROR(index_->BeginChange());
  dirty_ = true;
  std::uint64_t duplicates = 0;
  if (Status s = RebuildTags(index_.get(), tags_, data_.get(), records, &duplicates); !s.ok()) {
    LeaveToRebuild();
    return s;
  }
  PV_RETURN_IF_ERROR(index_->EndChange());
  needs_rebuild_ = false;
  position_valid_ = false;
  session_->Notice(index_path_ + ": a program ended while it was changing the table; " +
                   (replayed ? "its last change was finished and " : "") +
                   std::to_string(tags_.size()) + " tags were rebuilt over " +
                   std::to_string(records) + " records" +
                   (duplicates == 0 ? std::string()
                                    : ", leaving " + std::to_string(duplicates) +
                                          " records with repeated keys out of unique tags"));
  return {};
}

Status Table::RebuildTags(IndexFile* index, const std::vector<TagState>& tags, platform::File* data,
                          std::uint32_t records, std::uint64_t* duplicates) {
  const std::uint32_t length = header_.layout.record_length;
  const std::uint32_t per_block =
      static_cast<std::uint32_t>(std::max<std::size_t>(1, kScanBlock / length));
  std::vector<std::uint8_t> block(std::size_t{per_block} * length);
  TagEntries entries(session_->files(), SortPath(), tags);
  for (std::uint32_t first = 1; first <= records;) {
    const std::uint32_t n = std::min(per_block, records - first + 1);
    PV_RETURN_IF_ERROR(ReadRecords(data, first, n, block.data()));
    for (std::uint32_t i = 0; i < n; ++i) {
      PV_RETURN_IF_ERROR(entries.Add(block.data() + std::size_t{i} * length, first + i));
    }
    first += n;
  }
  return entries.BuildInto(index, duplicates);
}

// Finds or makes room for the journal in the index; inside a bracket.
Status Table::EnsureJournal(std::size_t size, std::uint64_t* offset) {
  PV_ASSIGN_OR_RETURN(const IndexFile::Reserved reserved, index_->ReservedPages());
  if (std::uint64_t{reserved.pages} * kPageSize >= size) {
    *offset = reserved.offset;
    return {};
  }
  const auto pages = static_cast<std::uint32_t>((size + kPageSize - 1) / kPageSize);
  PV_ASSIGN_OR_RETURN(*offset, index_->ReservePages(pages));
  return Journal::Finish(index_raw_.get(), *offset);
}

std::int32_t Table::Reindex() {
  EndWalk();
  if (!index_) return kSuccess;
  if (!exclusive()) {
    return session_->Fail(
        {StatusCode::kInvalid, path_ + " must be opened exclusively", kErrExclusiveNeeded});
  }
  Status s = CheckWritable();
  std::uint64_t duplicates = 0;
  if (s.ok()) s = EndAppendRun();
  if (s.ok()) s = index_->BeginChange();
  if (s.ok()) {
    dirty_ = true;
    s = RebuildTags(index_.get(), tags_, data_.get(), count_, &duplicates);
    if (s.ok()) s = index_->EndChange();
    if (!s.ok()) {
      LeaveToRebuild();
    }
  }
  position_valid_ = false;
  if (!s.ok()) return session_->Fail(s);
  return duplicates == 0 ? kSuccess : kUniqueKey;
}

// While a table is filled in bulk the mark stands: should we die, the tags are rebuilt.
std::int32_t Table::BulkStart() {
  if (bulk_) return kSuccess;
  if (!exclusive()) {
    return session_->Fail(
        {StatusCode::kInvalid, path_ + " must be opened exclusively", kErrExclusiveNeeded});
  }
  Status s = CheckWritable();
  if (s.ok()) s = CheckTail();
  if (s.ok()) s = EndAppendRun();
  if (s.ok() && index_) s = index_->BeginChange();
  if (!s.ok()) return session_->Fail(s);
  dirty_ = true;
  bulk_ = true;
  if (index_ && count_ == 0) {
    bulk_entries_ = std::make_unique<TagEntries>(session_->files(), SortPath(), tags_);
  }
  return kSuccess;
}

std::int32_t Table::BulkEnd() {
  if (!bulk_) return kSuccess;
  bulk_ = false;
  EndWalk();
  position_valid_ = false;
  if (!index_) return kSuccess;
  std::uint64_t duplicates = 0;
  const std::unique_ptr<TagEntries> entries = std::move(bulk_entries_);
  Status s = entries != nullptr && entries->records() == count_
                 ? entries->BuildInto(index_.get(), &duplicates)
                 : RebuildTags(index_.get(), tags_, data_.get(), count_, &duplicates);
  if (s.ok()) s = index_->EndChange();
  if (!s.ok()) {
    LeaveToRebuild();
    return session_->Fail(s);
  }
  return duplicates == 0 ? kSuccess : kUniqueKey;
}

}  // namespace pv::engine
