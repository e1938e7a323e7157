// Saves what can be saved of a damaged table. Tested by repair_test.cc.
#include "tablestore/engine/repair.h"

#include <algorithm>
#include <set>

#include "base/bytes.h"
#include "base/text.h"
#include "tablestore/engine/data/data_header.h"
#include "tablestore/engine/data/field_codec.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/expression/expression.h"
#include "tablestore/engine/index/index_file.h"
#include "tablestore/engine/index/salvage.h"
#include "tablestore/engine/memo/memo_file.h"
#include "tablestore/engine/table.h"

namespace pv::engine {
namespace {

// Block sizes that real memo files have, the usual one first: tried when the header does not tell.
constexpr std::uint16_t kUsualBlockSizes[] = {64, 512, 32, 33, 128, 256, 1024, 1};
constexpr std::size_t kRecordsToJudge = 1000;

class Repair {
 public:
  Repair(Session* session, std::string path, std::string new_path,
         const std::vector<TagRecord>& expected, RepairReport* report)
      : session_(session),
        files_(session->files()),
        path_(std::move(path)),
        new_path_(std::move(new_path)),
        expected_(expected),
        report_(report) {}

  Status Run() {
    PV_RETURN_IF_ERROR(OpenOld());
    PV_RETURN_IF_ERROR(FindTags());
    PV_RETURN_IF_ERROR(AddExpectedTags());
    PV_RETURN_IF_ERROR(MakeNewFiles());
    if (Status s = WriteRecords(); !s.ok()) {
      RemoveNewFiles();
      return s;
    }
    if (Status s = Finish(); !s.ok()) {
      RemoveNewFiles();
      return s;
    }
    return {};
  }

 private:
  void Lost(std::string text) { report_->losses.push_back(std::move(text)); }
  void Note(std::string text) { report_->notes.push_back(std::move(text)); }

  static std::string Companion(const std::string& path, const char* extension) {
    return std::string(platform::WithoutExtension(path)) + extension;
  }

  Result<std::unique_ptr<platform::File>> OpenForReading(const std::string& path) {
    platform::OpenOptions options;
    options.share = platform::ShareMode::kDenyAll;
    options.read_only = true;
    return files_->Open(path, options);
  }

  Status OpenOld() {
    PV_ASSIGN_OR_RETURN(path_, platform::FindIgnoringCase(files_, path_));
    PV_ASSIGN_OR_RETURN(data_, OpenForReading(path_));
    std::string first(kHeaderFixedSize, '\0');
    PV_ASSIGN_OR_RETURN(const std::size_t got, data_->Read(0, first.data(), first.size()));
    first.resize(got);
    PV_ASSIGN_OR_RETURN(const std::uint32_t length, HeaderLengthOf(first, path_));
    raw_header_.resize(length);
    PV_ASSIGN_OR_RETURN(const std::size_t whole,
                        data_->Read(0, raw_header_.data(), raw_header_.size()));
    raw_header_.resize(whole);
    auto page = session_->page;
    if (const int number = CodePageFromMark(static_cast<std::uint8_t>(first[29])); number != 0) {
      if (auto loaded = session_->system().code_pages->Load(number); loaded.ok()) page = *loaded;
    }
    PV_ASSIGN_OR_RETURN(header_, ParseDataHeader(raw_header_, path_, page));
    PV_RETURN_IF_ERROR(CountRecords());
    return OpenOldMemos();
  }

  // As many records as the file holds: those that the header counts, and behind them those that
  // look like records up to the end mark.
  Status CountRecords() {
    PV_ASSIGN_OR_RETURN(const std::uint64_t size, data_->Size());
    const std::uint32_t length = header_.layout.record_length;
    const std::uint64_t bytes = size > header_.header_length ? size - header_.header_length : 0;
    const std::uint64_t room = bytes / length;
    const std::uint32_t counted = header_.record_count;
    records_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(counted, room));
    std::vector<std::uint8_t> record(length);
    while (records_ >= counted && records_ < room) {
      PV_ASSIGN_OR_RETURN(const std::size_t got,
                          data_->Read(header_.RecordOffset(records_ + 1), record.data(), length));
      if (got < length || (record[0] != kLiveMark && record[0] != kDeletedMark)) break;
      ++records_;
    }
    if (records_ != counted) {
      Note("the header counted " + std::to_string(counted) + " records; the file holds " +
           std::to_string(records_));
    }
    if (counted > room) {
      const std::uint64_t rest = bytes - room * length;
      Lost(std::to_string(counted - room) + " records that the header counted lie beyond the end " +
           "of the file" +
           (rest > 1 ? ", " + std::to_string(rest) + " bytes of the first are there" : ""));
    }
    return {};
  }

  Status OpenOldMemos() {
    const auto& fields = header_.layout.fields;
    if (!std::any_of(fields.begin(), fields.end(),
                     [](const FieldLayout& f) { return f.is_memo() || f.is_object(); })) {
      return {};
    }
    has_memo_file_ = true;
    keeps_memo_file_ = std::any_of(fields.begin(), fields.end(),
                                   [](const FieldLayout& f) { return f.is_object(); });
    auto found = platform::FindIgnoringCase(files_, Companion(path_, ".fpt"));
    if (!found.ok()) {
      if (found.status().code() != StatusCode::kNotFound) return found.status();
      Lost("the memo file is missing, and every memo with it");
      return {};
    }
    PV_ASSIGN_OR_RETURN(memo_raw_, OpenForReading(*found));
    auto memo = MemoFile::Open(memo_raw_.get());
    if (memo.ok()) {
      memo_ = std::move(*memo);
      if (PointersThatLead(*memo_) != 0) return {};
    }
    // The header may be what is damaged: the size that most pointers bear out is the right one.
    std::size_t best = memo_ ? PointersThatLead(*memo_) : 0;
    const std::uint32_t before = memo_ ? memo_->block_size() : 0;
    for (const std::uint16_t size : kUsualBlockSizes) {
      auto guess = MemoFile::Assume(memo_raw_.get(), size);
      const std::size_t leading = PointersThatLead(*guess);
      if (leading > best || !memo_) {
        best = leading;
        memo_ = std::move(guess);
      }
    }
    if (memo_->block_size() != before) {
      Note("the memo file's header is damaged; its blocks are read as " +
           std::to_string(memo_->block_size()) + " bytes long");
    }
    return {};
  }

  // How many memo pointers of the first records lead to a sound entry.
  std::size_t PointersThatLead(MemoFile& memo) {
    std::size_t leading = 0;
    std::vector<std::uint8_t> record(header_.layout.record_length);
    for (std::uint32_t r = 1; r <= std::min<std::uint32_t>(records_, kRecordsToJudge); ++r) {
      auto got = data_->Read(header_.RecordOffset(r), record.data(), record.size());
      if (!got.ok() || *got < record.size()) break;
      for (const FieldLayout& f : header_.layout.fields) {
        if (!f.is_memo()) continue;
        const auto block = DecodeMemoBlock(f, record.data() + f.offset);
        if (block && *block != 0 && memo.Inspect(*block).ok()) ++leading;
      }
    }
    return leading;
  }

  Status FindTags() {
    if ((header_.flags & kFlagStructuralIndex) == 0) return {};
    auto found = platform::FindIgnoringCase(files_, Companion(path_, ".cdx"));
    if (!found.ok()) {
      if (found.status().code() != StatusCode::kNotFound) return found.status();
      LostTags("the index file is missing, and the definitions of its tags with it");
      raw_header_[28] = static_cast<char>(header_.flags & ~kFlagStructuralIndex);
      return {};
    }
    PV_ASSIGN_OR_RETURN(auto file, OpenForReading(*found));
    std::vector<TagDefinition> candidates;
    if (auto index = IndexFile::Open(file.get()); index.ok()) {
      for (const auto& tag : (*index)->tags()) candidates.push_back(tag->definition());
    } else {
      Note("the index file is damaged: " + index.status().message());
      PV_ASSIGN_OR_RETURN(candidates, SalvageTags(file.get()));
    }
    std::set<std::string> names;
    for (TagDefinition& d : candidates) {
      if (!names.insert(d.name).second) d.name.clear();
    }
    for (TagDefinition& d : candidates) {
      const std::string shown = d.name.empty() ? "with the key " + d.expression : d.name;
      auto key = Expression::Compile(d.expression, header_.layout);
      if (!key.ok()) {
        Lost("tag " + shown + ": " + key.status().message());
        continue;
      }
      auto keys = KeyMaker::Create(std::move(*key), d.key_length);
      if (!keys.ok()) {
        Lost("tag " + shown + ": " + keys.status().message());
        continue;
      }
      if (!d.filter.empty()) {
        if (auto filter = Expression::Compile(d.filter, header_.layout); !filter.ok()) {
          Lost("tag " + shown + ": " + filter.status().message());
          continue;
        }
      }
      d.fill_byte = keys->fill_byte();
      d.foreign_collation = false;
      if (d.name.empty()) {
        d.name = NameFor(d.expression, &names);
        Note("the name of the tag with the key " + d.expression + " is lost; it is now " + d.name);
      }
      tags_.push_back(std::move(d));
    }
    if (tags_.empty()) {
      LostTags("no definition of a tag could be read");
      raw_header_[28] = static_cast<char>(header_.flags & ~kFlagStructuralIndex);
    }
    return {};
  }

  // Where the caller knows which tags there should be, lost definitions are no loss.
  void LostTags(const std::string& text) {
    if (expected_.empty()) {
      Lost(text);
    } else {
      Note(text);
    }
  }

  Status AddExpectedTags() {
    for (const TagRecord& t : expected_) {
      const bool found = std::any_of(tags_.begin(), tags_.end(), [&t](const TagDefinition& d) {
        return EqualsIgnoreCase(d.name, t.name);
      });
      if (found) continue;
      TagDefinition d;
      d.name = ToUpper(t.name);
      d.expression = t.expression;
      d.filter = t.filter;
      d.unique = t.unique != 0;
      d.descending = t.descending != 0;
      PV_ASSIGN_OR_RETURN(auto key, Expression::Compile(d.expression, header_.layout));
      PV_ASSIGN_OR_RETURN(const auto keys, KeyMaker::Create(std::move(key), 0));
      if (!d.filter.empty()) {
        PV_RETURN_IF_ERROR(Expression::Compile(d.filter, header_.layout).status());
      }
      d.nullable = keys.nullable();
      d.key_length = static_cast<std::uint16_t>(keys.key_length());
      d.fill_byte = keys.fill_byte();
      Note("the tag " + d.name + " had no definition that could be read; it is made anew");
      tags_.push_back(std::move(d));
      raw_header_[28] = static_cast<char>(raw_header_[28] | kFlagStructuralIndex);
    }
    return {};
  }

  // A tag on a bare field is mostly called as the field is.
  static std::string NameFor(const std::string& expression, std::set<std::string>* taken) {
    std::string base;
    for (const char c : ToUpper(expression)) {
      if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_') base += c;
      if (base.size() == kMaxNameLength - 2) break;
    }
    if (base.empty()) base = "TAG";
    std::string name = base;
    for (int n = 2; !taken->insert(name).second; ++n) name = base + std::to_string(n);
    return name;
  }

  Status MakeNewFiles() {
    platform::OpenOptions options;
    options.create = platform::CreateMode::kCreateNew;
    options.share = platform::ShareMode::kDenyAll;
    const auto make = [&](const std::string& path, std::unique_ptr<platform::File>* file) {
      auto made = files_->Open(path, options);
      if (!made.ok()) return made.status();
      made_.push_back(path);
      *file = std::move(*made);
      return Status();
    };
    Status s = make(new_path_, &new_data_);
    if (s.ok() && has_memo_file_) {
      s = make(Companion(new_path_, ".fpt"), &new_memo_raw_);
      const auto size = static_cast<std::uint16_t>(memo_ ? memo_->block_size() : kNewMemoBlockSize);
      if (s.ok()) s = MemoFile::Create(new_memo_raw_.get(), size);
      if (s.ok() && keeps_memo_file_ && memo_raw_) s = CopyMemoFile();
      if (s.ok()) {
        auto opened = MemoFile::Open(new_memo_raw_.get());
        if (opened.ok()) {
          new_memo_ = std::move(*opened);
        } else {
          s = opened.status();
        }
      }
    }
    if (s.ok() && !tags_.empty()) {
      std::unique_ptr<platform::File> index;
      s = make(Companion(new_path_, ".cdx"), &index);
      if (s.ok()) s = IndexFile::Create(index.get(), tags_);
    }
    if (!s.ok()) RemoveNewFiles();
    return s;
  }

  // Other programs' objects stay where their fields say that they are.
  Status CopyMemoFile() {
    std::vector<std::uint8_t> block(std::size_t{1} << 20);
    for (std::uint64_t at = kMemoHeaderSize;;) {
      PV_ASSIGN_OR_RETURN(const std::size_t got, memo_raw_->Read(at, block.data(), block.size()));
      if (got == 0) return {};
      PV_RETURN_IF_ERROR(new_memo_raw_->Write(at, block.data(), got));
      at += got;
    }
  }

  void RemoveNewFiles() {
    new_data_.reset();
    new_memo_.reset();
    new_memo_raw_.reset();
    // Nothing of the old table is touched; a file that stays behind is in the way only.
    for (const std::string& path : made_) (void)files_->Remove(path).ok();
  }

  Status WriteRecords() {
    const std::uint32_t length = header_.layout.record_length;
    std::vector<std::uint8_t> record(length);
    for (std::uint32_t r = 1; r <= records_; ++r) {
      PV_ASSIGN_OR_RETURN(const std::size_t got,
                          data_->Read(header_.RecordOffset(r), record.data(), length));
      if (got < length) return Status::IoError(path_ + ": the file became shorter");
      if (record[0] != kLiveMark && record[0] != kDeletedMark) {
        Note("record " + std::to_string(r) + " had the unknown mark " + std::to_string(record[0]) +
             "; it is kept as a live one");
        record[0] = kLiveMark;
      }
      ++(record[0] == kLiveMark ? report_->live_records : report_->deleted_records);
      for (const FieldLayout& f : header_.layout.fields) {
        if (f.is_memo()) PV_RETURN_IF_ERROR(MoveMemo(r, f, record.data()));
      }
      PV_RETURN_IF_ERROR(new_data_->Write(header_.RecordOffset(r), record.data(), length));
    }
    StoreLe32(raw_header_.data() + kHeaderCountOffset, records_);
    PV_RETURN_IF_ERROR(new_data_->Write(0, raw_header_.data(), raw_header_.size()));
    PV_RETURN_IF_ERROR(new_data_->Write(header_.RecordOffset(records_ + 1), &kEndOfFileMark, 1));
    PV_RETURN_IF_ERROR(new_data_->Sync());
    return new_memo_raw_ ? new_memo_raw_->Sync() : Status();
  }

  Status MoveMemo(std::uint32_t r, const FieldLayout& f, std::uint8_t* record) {
    const auto lost = [&](const std::string& why) {
      Lost("record " + std::to_string(r) + ", field " + f.name + ": the memo is lost: " + why);
      ++report_->memos_lost;
      EncodeMemoBlock(f, 0, record + f.offset);
      return Status();
    };
    const auto block = DecodeMemoBlock(f, record + f.offset);
    if (!block) return lost("its block is no number");
    if (*block == 0) return {};
    if (!memo_) return lost("there is no memo file");
    auto entry = memo_->Inspect(*block);
    if (!entry.ok()) return lost(entry.status().message());
    ++report_->memos_saved;
    if (keeps_memo_file_) return {};
    auto text = memo_->Read(*block);
    if (!text.ok()) return lost(text.status().message());
    PV_ASSIGN_OR_RETURN(const std::uint32_t moved,
                        new_memo_->Append(*text, static_cast<MemoType>(entry->type)));
    EncodeMemoBlock(f, moved, record + f.offset);
    return {};
  }

  // Builds the tags of the new table and looks at it once more.
  Status Finish() {
    new_data_.reset();
    new_memo_.reset();
    new_memo_raw_.reset();
    PV_ASSIGN_OR_RETURN(auto table, Table::Open(session_, new_path_, AccessMode::kExclusive));
    const std::int32_t code = table->Reindex();
    if (code < 0) {
      return {StatusCode::kCorrupt, session_->ErrorText(code), code};
    }
    report_->tags_rebuilt = static_cast<std::int32_t>(tags_.size());
    report_->remaining = table->Check().findings;
    return table->Close();
  }

  Session* session_;
  platform::FileSystem* files_;
  std::string path_;
  std::string new_path_;
  const std::vector<TagRecord>& expected_;
  RepairReport* report_;

  std::unique_ptr<platform::File> data_;
  std::unique_ptr<platform::File> memo_raw_;
  std::unique_ptr<MemoFile> memo_;
  std::string raw_header_;
  DataHeader header_;
  std::uint32_t records_ = 0;
  bool has_memo_file_ = false;
  bool keeps_memo_file_ = false;
  std::vector<TagDefinition> tags_;

  std::vector<std::string> made_;
  std::unique_ptr<platform::File> new_data_;
  std::unique_ptr<platform::File> new_memo_raw_;
  std::unique_ptr<MemoFile> new_memo_;
};

}  // namespace

Status RepairTable(Session* session, const std::string& path, const std::string& new_path,
                   const std::vector<TagRecord>& expected, RepairReport* report) {
  return Repair(session, path, new_path, expected, report).Run();
}

}  // namespace pv::engine
