// Appending, writing and deleting records. Tested by edit_test.cc, recovery_test.cc and
// sharing_test.cc.
#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "tablestore/engine/append_run.h"
#include "tablestore/engine/data/field_codec.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/table.h"
#include "tablestore/engine/tag_entries.h"

namespace pv::engine {
namespace {

// Under exclusive access a table that keeps growing is given room ahead, cut off again at close.
constexpr std::uint32_t kAppendsBeforeGrowing = 16;
constexpr std::uint64_t kLeastGrowth = 64 * 1024;
constexpr std::uint64_t kMostGrowth = 8 * 1024 * 1024;

}  // namespace

void Table::AppendStart() {
  EndWalk();
  LeaveRecord(Place::kAppending);
  empty_ = false;
  recalled_ = false;
  edited_ = true;
  std::copy(blank_.begin(), blank_.end(), record_.begin());
}

void Table::MakeBlank() {
  const RecordLayout& layout = header_.layout;
  blank_.assign(layout.record_length, 0);
  blank_[0] = kLiveMark;
  for (const FieldLayout& f : layout.fields) EncodeBlank(f, blank_.data() + f.offset);
  if (layout.null_flags_length == 0) return;
  std::fill_n(blank_.data() + layout.null_flags_offset, layout.null_flags_length, std::uint8_t{0});
  // A blank var-length field is empty: its last byte, the used length, is 0 and counts.
  for (const FieldLayout& f : layout.fields) {
    if (!f.is_var_length()) continue;
    blank_[layout.null_flags_offset + f.length_bit / 8] |=
        static_cast<std::uint8_t>(1U << (f.length_bit % 8));
  }
}

Status Table::MakeKeys(const std::uint8_t* record, std::uint32_t number,
                       std::vector<TagKey>* keys) {
  keys->resize(tags_.size());
  for (std::size_t t = 0; t < tags_.size(); ++t) {
    TagKey& k = (*keys)[t];
    k.present = true;
    if (tags_[t].filter) {
      PV_ASSIGN_OR_RETURN(k.present, tags_[t].filter->EvaluateLogical(record, number));
    }
    if (k.present) PV_RETURN_IF_ERROR(tags_[t].keys->MakeKey(record, number, k.bytes.data()));
  }
  return {};
}

Status Table::CheckUnique(const std::vector<TagKey>& keys, const std::vector<TagKey>* old_keys,
                          std::uint32_t number) {
  for (std::size_t t = 0; t < tags_.size(); ++t) {
    const TagDefinition& d = tags_[t].tag->definition();
    if (!(d.unique || d.candidate) || !keys[t].present) continue;
    if (old_keys != nullptr && (*old_keys)[t].present &&
        std::memcmp((*old_keys)[t].bytes.data(), keys[t].bytes.data(), d.key_length) == 0) {
      continue;
    }
    PV_ASSIGN_OR_RETURN(const std::uint32_t holder, tags_[t].tag->FindKey(keys[t].bytes.data()));
    if (holder != 0 && holder != number) return RepeatedKey(d.name, holder);
  }
  return {};
}

Status Table::RepeatedKey(const std::string& tag, std::uint32_t holder) const {
  return {
      StatusCode::kDuplicate,
      path_ + ": record " + std::to_string(holder) + " has the same key in tag " + tag + " already",
      kUniqueKey};
}

Status Table::ChangeTags(const std::vector<TagKey>& old_keys, const std::vector<TagKey>& new_keys,
                         std::uint32_t number) {
  for (std::size_t t = 0; t < tags_.size(); ++t) {
    Tag* const tag = tags_[t].tag;
    const bool was = !old_keys.empty() && old_keys[t].present;
    const bool is = new_keys[t].present;
    if (was && is &&
        std::memcmp(old_keys[t].bytes.data(), new_keys[t].bytes.data(),
                    tag->definition().key_length) == 0) {
      continue;
    }
    // An entry that is not there (a unique tag of another program keeps the first only) is as
    // good as removed.
    if (was) PV_RETURN_IF_ERROR(tag->Remove(old_keys[t].bytes.data(), number).status());
    if (is) PV_RETURN_IF_ERROR(tag->Insert(new_keys[t].bytes.data(), number));
  }
  return {};
}

// After a failure inside a bracket: the mark stays, and whoever takes the index next rebuilds it.
void Table::LeaveToRebuild() {
  run_.reset();
  index_->AbandonChange();
  needs_rebuild_ = true;
}

Status Table::ReserveDataSpace(std::uint64_t end) {
  if (!exclusive() || end <= data_capacity_) return {};
  if (++appends_ <= kAppendsBeforeGrowing) {
    data_capacity_ = end;
    return {};
  }
  std::uint64_t target = end + std::clamp(end / 4, kLeastGrowth, kMostGrowth);
  target = std::min(target, kMaxDataFileSize);
  if (target <= end) return {};
  // Of a small table there is too little to be worth the call.
  if (target - end == kMostGrowth) data_->StartSync();
  PV_RETURN_IF_ERROR(data_->Truncate(target));
  data_capacity_ = target;
  return {};
}

// The date goes first and for itself: the count must be one aligned word (invariant 3).
Status Table::WriteCount(std::uint32_t count) {
  const CivilDate today = session_->Today();
  if (today != header_date_) {
    const std::array<std::uint8_t, 3> date = {static_cast<std::uint8_t>(today.year % 100),
                                              static_cast<std::uint8_t>(today.month),
                                              static_cast<std::uint8_t>(today.day)};
    PV_RETURN_IF_ERROR(data_->Write(kHeaderDateOffset, date.data(), date.size()));
    header_date_ = today;
  }
  std::array<std::uint8_t, 4> bytes{};
  StoreLe32(bytes.data(), count);
  PV_RETURN_IF_ERROR(data_->Write(kHeaderCountOffset, bytes.data(), bytes.size()));
  count_ = count;
  header_count_ = count;
  return {};
}

// Gives auto-increment fields their next value and moves it on; under the append lock.
Status Table::AssignAutoIncrement() {
  if (!header_.has_auto_increment) return {};
  for (const FieldLayout& f : header_.layout.fields) {
    if (!f.auto_increment || f.type != FieldLetter::kInteger) continue;
    std::array<std::uint8_t, 5> next{};
    const std::uint64_t at = f.descriptor_offset + 19;
    PV_RETURN_IF_ERROR(ReadHeaderBytes(at, next.data(), next.size()));
    const std::uint32_t value = LoadLe32(next.data());
    StoreLe32(record_.data() + f.offset, value);
    StoreLe32(next.data(), value + next[4]);
    PV_RETURN_IF_ERROR(data_->Write(at, next.data(), 4));
  }
  return {};
}

// Writes the assigned memos of the buffer and puts their blocks into it. Those that fit into the
// blocks of `old_record` (null when appending) are left for the journal when that is allowed;
// their fields are listed in `in_place`.
Status Table::WriteNewMemos(const std::uint8_t* old_record, bool in_place_allowed,
                            platform::RangeLock* memo_lock, std::vector<std::uint32_t>* in_place) {
  if (!memos_touched_) return {};
  for (std::size_t i = 0; i < memos_.size(); ++i) {
    const FieldLayout& f = header_.layout.fields[i];
    if (!memos_[i].assigned || !f.is_memo()) continue;
    const std::string& text = memos_[i].text;
    std::uint8_t* const pointer = record_.data() + f.offset;
    const std::uint32_t old_block =
        old_record == nullptr ? 0 : DecodeMemoBlock(f, old_record + f.offset).value_or(0);
    if (text.empty()) {
      EncodeMemoBlock(f, 0, pointer);
      continue;
    }
    PV_RETURN_IF_ERROR(LockMemo(memo_lock));
    if (old_block != 0) {
      // A damaged old memo is not read, and never written over.
      if (auto old = memo_->Inspect(old_block); old.ok()) {
        PV_ASSIGN_OR_RETURN(const std::string before, memo_->Read(old_block));
        if (before == text) {
          EncodeMemoBlock(f, old_block, pointer);
          continue;
        }
        if (in_place_allowed && memo_->BlocksFor(text.size()) <= old->blocks) {
          EncodeMemoBlock(f, old_block, pointer);
          in_place->push_back(static_cast<std::uint32_t>(i));
          continue;
        }
      }
    }
    PV_ASSIGN_OR_RETURN(const std::uint32_t block, memo_->Append(text, MemoType::kText));
    EncodeMemoBlock(f, block, pointer);
  }
  return {};
}

std::int32_t Table::Append() {
  if (place_ != Place::kAppending) {
    return session_->Fail(Status::Invalid(path_ + ": no record is being appended"));
  }
  Status s = CheckWritable();
  platform::RangeLock append;
  platform::RangeLock index;
  if (s.ok()) s = LockData(kAppendLockOffset, &append);
  const bool to_tags = index_ != nullptr && !bulk_;
  if (s.ok() && to_tags) {
    s = exclusive() ? PrepareAppendRun() : LockIndex(platform::LockKind::kExclusive, true, &index);
  }
  if (s.ok()) s = AppendLocked(to_tags);
  if (!s.ok()) return session_->Fail(s, true);
  // Entries that cannot be gathered now are gathered from the data file at the end.
  if (bulk_entries_ && !bulk_entries_->Add(record_.data(), record_number_).ok()) {
    bulk_entries_.reset();
  }
  place_ = Place::kRecord;
  position_valid_ = false;
  std::copy_n(record_.data(), header_.layout.record_length, original_.data());
  if (memos_touched_) ForgetMemos();
  return kSuccess;
}

Status Table::AppendLocked(bool append_to_tags) {
  PV_ASSIGN_OR_RETURN(const std::uint32_t count, RecordCount());  // invariant 6
  PV_RETURN_IF_ERROR(CheckTail());
  const std::uint32_t number = count + 1;
  const std::uint64_t offset = header_.RecordOffset(number);
  const std::uint32_t length = header_.layout.record_length;
  const std::uint64_t end = offset + length + 1;
  if (end > kMaxDataFileSize) {
    return {StatusCode::kLimit,
            path_ + ": a table's data file can have " + std::to_string(kMaxDataFileSize) +
                " bytes, and record " + std::to_string(number) + " would pass them",
            kErrTooLarge};
  }
  // The new record's own byte too: a program that has locked the whole table has locked it.
  platform::RangeLock record;
  PV_RETURN_IF_ERROR(LockData(kAppendLockOffset - number, &record));
  PV_RETURN_IF_ERROR(AssignAutoIncrement());
  if (append_to_tags) {
    PV_RETURN_IF_ERROR(MakeKeys(record_.data(), number, &new_keys_));
    PV_RETURN_IF_ERROR(run_ != nullptr ? CheckUniqueInRun()
                                       : CheckUnique(new_keys_, nullptr, number));
  }
  dirty_ = true;
  platform::RangeLock memo;
  PV_RETURN_IF_ERROR(WriteNewMemos(nullptr, false, &memo, nullptr));
  memo.Release();
  PV_RETURN_IF_ERROR(ReserveDataSpace(end));
  if (append_to_tags && run_ == nullptr) {
    PV_RETURN_IF_ERROR(index_->BeginChange());  // invariant 4
  }
  // Invariant 3: the record and the end mark lie beyond the count until it moves.
  if (Status s = data_->Write(offset, record_.data(), length + 1); !s.ok()) {
    // Half a record may be there; with the mark it will be known for what it is.
    if (append_to_tags) LeaveToRebuild();
    return s;
  }
  Status s = WriteCount(number);
  if (s.ok() && append_to_tags) {
    if (run_ != nullptr) {
      for (std::size_t t = 0; s.ok() && t < tags_.size(); ++t) {
        if (new_keys_[t].present) s = run_->AddKey(t, new_keys_[t].bytes.data(), number);
      }
    } else {
      old_keys_.clear();
      s = ChangeTags(old_keys_, new_keys_, number);
      if (s.ok()) s = index_->EndChange();
    }
  }
  if (s.ok()) {
    record_number_ = number;
    return {};
  }
  // Take the record back; the mark stays, so the tags are rebuilt without it.
  header_count_ = count_ = 0;
  if (append_to_tags) LeaveToRebuild();
  (void)WriteCount(count).ok();
  return s;
}

// Fields that nobody assigned take what is on disk now: another program may have changed them
// since the record was read.
void Table::MergeUnchangedFields(const std::uint8_t* on_disk) {
  const RecordLayout& layout = header_.layout;
  if (record_[0] == original_[0] && !recalled_) record_[0] = on_disk[0];
  const auto copy_bit = [&](std::uint32_t bit) {
    const std::uint32_t at = layout.null_flags_offset + bit / 8;
    const auto mask = static_cast<std::uint8_t>(1U << (bit % 8));
    record_[at] = static_cast<std::uint8_t>((record_[at] & ~mask) | (on_disk[at] & mask));
  };
  for (std::size_t i = 0; i < layout.fields.size(); ++i) {
    const FieldLayout& f = layout.fields[i];
    const bool same_null = layout.IsNull(f, record_.data()) == layout.IsNull(f, original_.data());
    const bool same =
        same_null && !memos_[i].assigned &&
        std::memcmp(record_.data() + f.offset, original_.data() + f.offset, f.length) == 0;
    if (!same) continue;
    std::memcpy(record_.data() + f.offset, on_disk + f.offset, f.length);
    if (f.nullable) copy_bit(f.null_bit);
    if (f.is_var_length()) {
      copy_bit(f.length_bit);
    }
  }
}

std::int32_t Table::Write(std::int32_t record) {
  EndWalk();
  bulk_entries_.reset();
  if (!has_record()) {
    return session_->Fail(
        {StatusCode::kInvalid, path_ + ": there is no current record", kErrNoRecord});
  }
  auto count = RecordCount();
  if (!count.ok()) return session_->Fail(count.status());
  if (record < 1 || static_cast<std::uint32_t>(record) > *count) {
    return session_->Fail(
        {StatusCode::kNotFound, path_ + " has no record " + std::to_string(record), kErrNoRecord});
  }
  const auto number = static_cast<std::uint32_t>(record);
  Edit();
  Status s = CheckWritable();
  platform::RangeLock record_lock;
  platform::RangeLock index;
  if (s.ok()) s = LockData(kAppendLockOffset - number, &record_lock);
  if (s.ok() && index_ && !bulk_) s = LockIndex(platform::LockKind::kExclusive, false, &index);
  if (s.ok()) s = WriteLocked(number);
  if (!s.ok()) return session_->Fail(s, true);
  place_ = Place::kRecord;
  record_number_ = number;
  position_valid_ = false;
  recalled_ = false;
  std::copy_n(record_.data(), header_.layout.record_length, original_.data());
  if (memos_touched_) ForgetMemos();
  return kSuccess;
}

Status Table::WriteLocked(std::uint32_t number) {
  const std::uint32_t length = header_.layout.record_length;
  on_disk_.resize(length);
  PV_RETURN_IF_ERROR(ReadRecords(data_.get(), number, 1, on_disk_.data()));
  if (place_ == Place::kRecord && number == record_number_) MergeUnchangedFields(on_disk_.data());

  const bool tagged = index_ != nullptr && !bulk_;
  if (tagged) {
    PV_RETURN_IF_ERROR(MakeKeys(on_disk_.data(), number, &old_keys_));
    PV_RETURN_IF_ERROR(MakeKeys(record_.data(), number, &new_keys_));
    PV_RETURN_IF_ERROR(CheckUnique(new_keys_, &old_keys_, number));
  }
  dirty_ = true;
  platform::RangeLock memo;
  std::vector<std::uint32_t> in_place;
  PV_RETURN_IF_ERROR(WriteNewMemos(on_disk_.data(), tagged, &memo, &in_place));
  if (!tagged) {
    // Without an index there is nowhere to journal; memos were written to new blocks, so the one
    // write of the record is all that can be torn.
    return data_->Write(header_.RecordOffset(number), record_.data(), length);
  }
  if (in_place.empty() && std::memcmp(on_disk_.data(), record_.data(), length) == 0) return {};
  return ApplyInPlace(number, in_place, old_keys_, new_keys_);
}

// Invariant 5: journal, then overwrite, then tags, all under the mark.
Status Table::ApplyInPlace(std::uint32_t number, const std::vector<std::uint32_t>& memo_fields,
                           const std::vector<TagKey>& old_keys,
                           const std::vector<TagKey>& new_keys) {
  struct Rewrite {
    std::uint64_t offset;
    std::string bytes;
  };
  const std::uint32_t length = header_.layout.record_length;
  const std::uint64_t offset = header_.RecordOffset(number);
  std::vector<Rewrite> rewrites;
  std::uint64_t memo_end = 0;
  journal_.Clear();
  journal_.AddBytes(Journal::Target::kData, offset,
                    {reinterpret_cast<const char*>(record_.data()), length});
  if (!memo_fields.empty()) {
    PV_ASSIGN_OR_RETURN(memo_end, memo_raw_->Size());
  }
  for (const std::uint32_t i : memo_fields) {
    const FieldLayout& f = header_.layout.fields[i];
    const std::uint32_t block = DecodeMemoBlock(f, record_.data() + f.offset).value_or(0);
    Rewrite r{memo_->OffsetOf(block), memo_->EntryBytes(memos_[i].text, MemoType::kText)};
    // The last entry of the file need not be padded to its block; the journal makes no file longer.
    if (r.offset + r.bytes.size() > memo_end) {
      r.bytes.resize(static_cast<std::size_t>(memo_end - r.offset));
    }
    PV_ASSIGN_OR_RETURN(const std::uint64_t staged, memo_->Stage(r.bytes));
    journal_.AddStaged(r.offset, staged, r.bytes);
    rewrites.push_back(std::move(r));
  }

  PV_RETURN_IF_ERROR(index_->BeginChange());
  std::uint64_t journal_offset = 0;
  Status s = EnsureJournal(journal_.size(), &journal_offset);
  if (s.ok()) s = journal_.Commit(index_raw_.get(), journal_offset);
  if (!s.ok()) {
    // Nothing of the table has changed yet.
    if (journal_offset != 0) (void)Journal::Finish(index_raw_.get(), journal_offset).ok();
    if (!index_->EndChange().ok()) needs_rebuild_ = true;
    return s;
  }
  s = data_->Write(offset, record_.data(), length);
  for (const Rewrite& r : rewrites) {
    if (s.ok()) s = memo_raw_->Write(r.offset, r.bytes.data(), r.bytes.size());
  }
  if (s.ok()) s = Journal::Finish(index_raw_.get(), journal_offset);
  if (s.ok()) s = ChangeTags(old_keys, new_keys, number);
  if (s.ok()) s = index_->EndChange();
  if (!s.ok()) {
    // The journal has it all: whoever takes the index lock next carries it out.
    LeaveToRebuild();
    return s;
  }
  // Bytes that were staged are of no use any more; keeping them would only waste space.
  if (memo_end != 0) (void)memo_raw_->Truncate(memo_end).ok();
  return {};
}

std::int32_t Table::Delete() {
  EndWalk();
  bulk_entries_.reset();
  if (place_ != Place::kRecord) {
    return session_->Fail(
        {StatusCode::kInvalid, path_ + ": there is no current record", kErrNoRecord});
  }
  const std::uint32_t number = record_number_;
  const std::uint32_t length = header_.layout.record_length;
  Status s = CheckWritable();
  platform::RangeLock record_lock;
  platform::RangeLock index;
  const bool tagged = index_ != nullptr && !bulk_;
  if (s.ok()) s = LockData(kAppendLockOffset - number, &record_lock);
  if (s.ok() && tagged) s = LockIndex(platform::LockKind::kExclusive, false, &index);
  if (s.ok()) {
    on_disk_.resize(length);
    s = ReadRecords(data_.get(), number, 1, on_disk_.data());
  }
  if (s.ok() && on_disk_[0] != kDeletedMark) {
    if (tagged) {
      s = MakeKeys(on_disk_.data(), number, &old_keys_);
      on_disk_[0] = kDeletedMark;
      if (s.ok()) s = MakeKeys(on_disk_.data(), number, &new_keys_);
      if (s.ok()) s = index_->BeginChange();
    }
    if (s.ok()) {
      dirty_ = true;
      s = data_->Write(header_.RecordOffset(number), &kDeletedMark, 1);
      if (s.ok() && tagged) s = ChangeTags(old_keys_, new_keys_, number);
      if (s.ok() && tagged) s = index_->EndChange();
      if (!s.ok() && tagged) LeaveToRebuild();
    }
  }
  if (!s.ok()) return session_->Fail(s, true);
  if (edited_) record_[0] = kDeletedMark;
  original_[0] = kDeletedMark;
  recalled_ = false;
  return kSuccess;
}

}  // namespace pv::engine
