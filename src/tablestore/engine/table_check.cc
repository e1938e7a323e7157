// Checks a whole table. Tested by check_test.cc.
#include <algorithm>
#include <cstring>

#include "tablestore/engine/data/field_codec.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/table.h"

namespace pv::engine {
namespace {

constexpr std::size_t kMostFindings = 200;

class Findings {
 public:
  explicit Findings(std::vector<std::string>* out) : out_(out) {}
  ~Findings() {
    if (more_ > 0) out_->push_back("and " + std::to_string(more_) + " more findings");
  }
  Findings(const Findings&) = delete;
  Findings& operator=(const Findings&) = delete;
  void Add(std::string text) {
    if (out_->size() < kMostFindings) {
      out_->push_back(std::move(text));
    } else {
      ++more_;
    }
  }

 private:
  std::vector<std::string>* out_;
  std::uint64_t more_ = 0;
};

struct MemoExtent {
  std::uint32_t block;
  std::uint32_t blocks;
  std::uint32_t record;
  std::uint32_t field;
  bool live;
};

}  // namespace

TableCheck Table::Check() {
  TableCheck check;
  Findings findings(&check.findings);
  platform::RangeLock lock;
  if (index_) {
    if (Status s = LockIndex(platform::LockKind::kShared, false, &lock); !s.ok()) {
      findings.Add(s.message());
      return check;
    }
  }
  auto counted = RecordCount();
  if (!counted.ok()) {
    findings.Add(counted.status().message());
    return check;
  }
  const std::uint32_t records = *counted;
  const std::uint32_t length = header_.layout.record_length;

  if (!stray_index_.empty()) findings.Add(StrayIndexFault());

  if (memo_ == nullptr && (header_.flags & kFlagMemo) != 0) {
    findings.Add(path_ + ": the header says that there are memo fields, but there is none");
  }

  // Record count against the file's size.
  if (header_count_ != records) {
    findings.Add(path_ + ": the header counts " + std::to_string(header_count_) +
                 " records, but the file holds " + std::to_string(records));
  } else if (auto tail = InspectTail(false); tail.ok() && *tail == Tail::kForeign) {
    findings.Add(TailFault().message());
  }

  // Records: marks, memo pointers.
  std::vector<std::uint8_t> record(length);
  std::vector<MemoExtent> extents;
  for (std::uint32_t r = 1; r <= records; ++r) {
    auto got = data_->Read(header_.RecordOffset(r), record.data(), length);
    if (!got.ok() || *got < length) {
      findings.Add(path_ + ": record " + std::to_string(r) + " cannot be read");
      break;
    }
    const bool live = record[0] != kDeletedMark;
    if (live && record[0] != kLiveMark) {
      findings.Add(path_ + ": record " + std::to_string(r) + " has the unknown mark " +
                   std::to_string(record[0]));
    }
    (live ? check.live_records : check.deleted_records) += 1;
    for (std::size_t i = 0; i < header_.layout.fields.size(); ++i) {
      const FieldLayout& f = header_.layout.fields[i];
      if (!f.is_memo()) continue;
      const std::string where =
          path_ + ": record " + std::to_string(r) + ", field " + f.name + ": ";
      const auto block = DecodeMemoBlock(f, record.data() + f.offset);
      if (!block) {
        findings.Add(where + "the memo block is no number");
      } else if (*block != 0) {
        auto entry = memo_->Inspect(*block);
        if (!entry.ok()) {
          findings.Add(where + entry.status().message());
        } else {
          extents.push_back({*block, entry->blocks, r, static_cast<std::uint32_t>(i), live});
          if (live) check.memo_bytes_used += std::uint64_t{entry->blocks} * memo_->block_size();
        }
      }
    }
  }

  // Memo blocks that two fields claim.
  std::sort(extents.begin(), extents.end(),
            [](const MemoExtent& a, const MemoExtent& b) { return a.block < b.block; });
  for (std::size_t i = 1; i < extents.size(); ++i) {
    const MemoExtent& a = extents[i - 1];
    const MemoExtent& b = extents[i];
    if (std::uint64_t{a.block} + a.blocks <= b.block) continue;
    const auto name = [&](const MemoExtent& e) {
      return "record " + std::to_string(e.record) + ", field " +
             header_.layout.fields[e.field].name;
    };
    findings.Add(memo_path_ + ": memo block " + std::to_string(b.block) + " of " + name(b) +
                 " overlaps that of " + name(a));
  }
  if (memo_) {
    auto size = memo_raw_->Size();
    auto next = memo_->NextFree();
    if (size.ok() && *size > kMemoHeaderSize + check.memo_bytes_used) {
      check.memo_bytes_wasted = *size - kMemoHeaderSize - check.memo_bytes_used;
    }
    if (auto free = memo_->FirstFreeBlock(); !free.ok()) findings.Add(free.status().message());
    if (next.ok() && !extents.empty()) {
      const MemoExtent& last = extents.back();
      if (*next < std::uint64_t{last.block} + last.blocks) {
        findings.Add(memo_path_ + ": the next free block is " + std::to_string(*next) +
                     ", but memos reach to block " + std::to_string(last.block + last.blocks));
      }
    }
  }

  // Tags: the tree, then every entry against its record, then every record against the entries.
  if (index_) {
    for (std::string& finding : index_->Verify()) findings.Add(std::move(finding));
  }
  std::array<std::uint8_t, kMaxKeyLength + 1> key;
  for (TagState& t : tags_) {
    const TagDefinition& d = t.tag->definition();
    const std::string where = index_path_ + ": tag " + d.name + ": ";
    std::vector<std::string> faults = t.tag->Verify();
    const bool tree_sound = faults.empty();
    for (std::string& fault : faults) findings.Add(std::move(fault));
    if (!t.unusable.empty()) {
      findings.Add(where + "not checked against the records: " + t.unusable);
      continue;
    }
    if (!tree_sound) continue;
    std::vector<bool> seen(std::size_t{records} + 1, false);
    std::vector<std::uint8_t> previous;
    TagPosition position;
    Status s = t.tag->First(&position);
    for (; s.ok() && position.on_entry(); s = t.tag->Next(&position)) {
      const std::uint32_t r = position.record();
      const std::string entry = where + "the entry of record " + std::to_string(r);
      if (r < 1 || r > records) {
        findings.Add(entry + " leads to no record");
        continue;
      }
      if (seen[r]) {
        findings.Add(entry + " is there twice");
        continue;
      }
      seen[r] = true;
      auto got = data_->Read(header_.RecordOffset(r), record.data(), length);
      if (!got.ok() || *got < length) break;
      Status made = t.keys->MakeKey(record.data(), r, key.data());
      if (!made.ok()) {
        findings.Add(entry + ": " + made.message());
      } else if (std::memcmp(key.data(), position.key(), d.key_length) != 0) {
        findings.Add(entry + " has another key than the record");
      }
      if (t.filter) {
        auto admitted = t.filter->EvaluateLogical(record.data(), r);
        if (admitted.ok() && !*admitted) findings.Add(entry + " is not admitted by the filter");
      }
      if ((d.unique || d.candidate) && !previous.empty() &&
          std::memcmp(previous.data(), position.key(), d.key_length) == 0) {
        findings.Add(entry + " repeats the key of another in a unique tag");
      }
      previous.assign(position.key(), position.key() + d.key_length);
    }
    if (!s.ok()) findings.Add(where + s.message());
    for (std::uint32_t r = 1; r <= records; ++r) {
      if (seen[r]) continue;
      auto got = data_->Read(header_.RecordOffset(r), record.data(), length);
      if (!got.ok() || *got < length) break;
      if (t.filter) {
        auto admitted = t.filter->EvaluateLogical(record.data(), r);
        if (admitted.ok() && !*admitted) continue;
      }
      // A unique tag of another program keeps the first record of each key only.
      if (d.unique && !d.candidate && t.keys->MakeKey(record.data(), r, key.data()).ok()) {
        auto holder = t.tag->FindKey(key.data());
        if (holder.ok() && *holder != 0) {
          findings.Add(where + "record " + std::to_string(r) + " repeats the key of record " +
                       std::to_string(*holder) + " and is left out");
          continue;
        }
      }
      findings.Add(where + "record " + std::to_string(r) + " is missing");
    }
  }
  return check;
}

}  // namespace pv::engine
