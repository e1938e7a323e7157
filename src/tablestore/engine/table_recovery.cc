// What is done after a writer died: the journal's change is finished and the tags are rebuilt from
// the data file. Tested by recovery_test.cc.
#include <algorithm>
#include <cstring>

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/key_sorter.h"
#include "tablestore/engine/table.h"

namespace pv::engine {
namespace {

constexpr std::size_t kSortMemory = std::size_t{256} << 20;
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
    index_->AbandonChange();
    needs_rebuild_ = true;
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
  PV_RETURN_IF_ERROR(index->BeginRebuild());
  const std::uint32_t length = header_.layout.record_length;
  const std::uint32_t per_block =
      static_cast<std::uint32_t>(std::max<std::size_t>(1, kScanBlock / length));
  std::vector<std::uint8_t> block(std::size_t{per_block} * length);
  std::array<std::uint8_t, kMaxKeyLength + 1> key;
  for (std::size_t t = 0; t < tags.size(); ++t) {
    const TagState& state = tags[t];
    const TagDefinition& definition = state.tag->definition();
    KeySorter sorter(session_->files(), CompanionPath(".cdx.sort"), definition.key_length,
                     kSortMemory);
    sorter.Expect(records);
    for (std::uint32_t first = 1; first <= records;) {
      const std::uint32_t n = std::min(per_block, records - first + 1);
      PV_RETURN_IF_ERROR(ReadRecords(data, first, n, block.data()));
      for (std::uint32_t i = 0; i < n; ++i) {
        const std::uint8_t* record = block.data() + std::size_t{i} * length;
        if (state.filter) {
          PV_ASSIGN_OR_RETURN(const bool admitted,
                              state.filter->EvaluateLogical(record, first + i));
          if (!admitted) continue;
        }
        PV_RETURN_IF_ERROR(state.keys->MakeKey(record, first + i, key.data()));
        PV_RETURN_IF_ERROR(sorter.Add(key.data(), first + i));
      }
      first += n;
    }
    index->tags()[t]->SetFillByte(state.keys->fill_byte());
    PV_ASSIGN_OR_RETURN(auto builder, index->BuildTag(t));
    const bool unique = definition.unique || definition.candidate;
    std::vector<std::uint8_t> last;
    PV_RETURN_IF_ERROR(sorter.Sort([&](const std::uint8_t* k, std::uint32_t record) -> Status {
      if (unique) {
        if (!last.empty() && std::memcmp(last.data(), k, last.size()) == 0) {
          ++*duplicates;
          return {};
        }
        last.assign(k, k + definition.key_length);
      }
      return builder->Add(k, record);
    }));
    PV_RETURN_IF_ERROR(builder->Finish());
  }
  return index->FinishRebuild();
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
  if (!index_) return kSuccess;
  if (!exclusive()) {
    return session_->Fail(
        {StatusCode::kInvalid, path_ + " must be opened exclusively", kErrExclusiveNeeded});
  }
  Status s = CheckWritable();
  std::uint64_t duplicates = 0;
  if (s.ok()) s = index_->BeginChange();
  if (s.ok()) {
    dirty_ = true;
    s = RebuildTags(index_.get(), tags_, data_.get(), count_, &duplicates);
    if (s.ok()) s = index_->EndChange();
    if (!s.ok()) {
      index_->AbandonChange();
      needs_rebuild_ = true;
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
  if (s.ok() && index_) s = index_->BeginChange();
  if (!s.ok()) return session_->Fail(s);
  dirty_ = true;
  bulk_ = true;
  return kSuccess;
}

std::int32_t Table::BulkEnd() {
  if (!bulk_) return kSuccess;
  bulk_ = false;
  position_valid_ = false;
  if (!index_) return kSuccess;
  std::uint64_t duplicates = 0;
  Status s = RebuildTags(index_.get(), tags_, data_.get(), count_, &duplicates);
  if (s.ok()) s = index_->EndChange();
  if (!s.ok()) {
    index_->AbandonChange();
    needs_rebuild_ = true;
    return session_->Fail(s);
  }
  return duplicates == 0 ? kSuccess : kUniqueKey;
}

}  // namespace pv::engine
