// Appending without changing the index each time. Tested by append_run_test.cc.
#include "tablestore/engine/append_run.h"

#include <algorithm>
#include <cstring>

#include "tablestore/engine/table.h"

namespace pv::engine {
namespace {

// A run begins when so many records have been appended in a row, and more where there are many keys
// to be learnt.
constexpr std::uint32_t kLeastAppends = 64;
constexpr std::uint32_t kRecordsForEach = 32;

// Tags of no more records are made anew with the run's entries; more entries stay where they are.
constexpr std::uint32_t kFewRecords = 512;

bool IsUnique(const TagState& tag) {
  return tag.tag->definition().unique || tag.tag->definition().candidate;
}

}  // namespace

AppendRun::AppendRun(platform::FileSystem* files, const std::string& sort_path,
                     const std::vector<TagState>& tags, std::uint32_t records)
    : tags_(tags),
      anew_(records <= kFewRecords),
      entries_(files, sort_path, tags),
      known_(tags.size()) {
  for (std::size_t t = 0; t < tags.size(); ++t) {
    known_[t].unique = IsUnique(tags[t]);
    if (known_[t].unique) known_[t].records.Reserve(records);
  }
}

Status AppendRun::Learn() {
  TagPosition position;
  for (std::size_t t = 0; t < tags_.size(); ++t) {
    Known& known = known_[t];
    if (!known.unique && !anew_) continue;
    Tag* const tag = tags_[t].tag;
    for (Status s = tag->First(&position);; s = tag->Next(&position)) {
      PV_RETURN_IF_ERROR(s);
      if (!position.on_entry()) break;
      if (known.unique) known.records.Add(HashOf(KeyText(t, position.key())), position.record());
      if (anew_) PV_RETURN_IF_ERROR(entries_.AddKey(t, position.key(), position.record()));
    }
  }
  return {};
}

Status AppendRun::AddKey(std::size_t tag, const std::uint8_t* key, std::uint32_t record) {
  Known& known = known_[tag];
  if (known.unique) known.records.Add(known.last_asked, record);
  return entries_.AddKey(tag, key, record);
}

Status AppendRun::PutInto(IndexFile* index) {
  if (!anew_) return entries_.InsertInto(index);
  std::uint64_t duplicates = 0;
  return entries_.BuildInto(index, &duplicates);
}

// Where the index stands between two changes; for everybody but an append of the run itself.
Status Table::EndAppendRun() {
  appends_in_a_row_ = 0;
  if (run_ == nullptr) return {};
  const std::unique_ptr<AppendRun> run = std::move(run_);
  Status s = run->PutInto(index_.get());
  if (s.ok()) s = index_->EndChange();
  if (s.ok()) return {};
  LeaveToRebuild();
  return s;
}

// Before an append under exclusive access: goes on with the run, or begins one when it is time.
Status Table::PrepareAppendRun() {
  if (run_ != nullptr && run_->MemoryUsed() < session_->kept_back_bytes) return {};
  const bool again = run_ != nullptr;
  const std::uint32_t appends = appends_in_a_row_;
  platform::RangeLock none;
  PV_RETURN_IF_ERROR(LockIndex(platform::LockKind::kExclusive, true, &none));
  appends_in_a_row_ = appends + 1;
  if (!again && appends < std::max(kLeastAppends, count_ / kRecordsForEach)) return {};
  auto run = std::make_unique<AppendRun>(session_->files(), SortPath(), tags_, count_);
  PV_RETURN_IF_ERROR(run->Learn());
  PV_RETURN_IF_ERROR(index_->BeginChange());
  dirty_ = true;
  run_ = std::move(run);
  return {};
}

// As CheckUnique, for an append of a run. The record that is found is read to be sure.
Status Table::CheckUniqueInRun() {
  for (std::size_t t = 0; t < tags_.size(); ++t) {
    const TagDefinition& d = tags_[t].tag->definition();
    if (!(d.unique || d.candidate) || !new_keys_[t].present) continue;
    Status s;
    const std::uint32_t holder =
        run_->Find(t, new_keys_[t].bytes.data(), [&](std::uint32_t record) {
          std::array<std::uint8_t, kMaxKeyLength + 1> key;
          on_disk_.resize(header_.layout.record_length);
          s = ReadRecords(data_.get(), record, 1, on_disk_.data());
          if (s.ok()) s = tags_[t].keys->MakeKey(on_disk_.data(), record, key.data());
          return !s.ok() || std::memcmp(key.data(), new_keys_[t].bytes.data(), d.key_length) == 0;
        });
    PV_RETURN_IF_ERROR(s);
    if (holder != 0) return RepeatedKey(d.name, holder);
  }
  return {};
}

}  // namespace pv::engine
