// Compaction: a new table beside the old one, then one commit, then renames that whoever opens
// the table next can finish. Tested by pack_test.cc.
//
//   T.pvg.new, T.cdx.new, T.fpt.new   the new files, whole and synced before
//   T.pvg.commit                      appears under its name by one rename: from then on the new
//                                     files are the table, whether renamed yet or not
#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "tablestore/engine/data/field_codec.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/table.h"
#include "tablestore/engine/tag_entries.h"

namespace pv::engine {
namespace {

constexpr std::string_view kCommitText = "PVPACK01\n";
constexpr std::size_t kCopyBlock = std::size_t{1} << 20;
constexpr const char* kNewSuffix = ".new";
constexpr const char* kCommitSuffix = ".commit";

std::string Base(const std::string& path) { return std::string(platform::WithoutExtension(path)); }

// Renames one new file over its old one, whatever the letter case of the old one's name.
Status RenameOver(platform::FileSystem* files, const std::string& from, const std::string& to) {
  auto stat = files->Stat(from);
  if (!stat.ok()) {
    return stat.status().code() == StatusCode::kNotFound ? Status::Ok() : stat.status();
  }
  auto existing = platform::FindIgnoringCase(files, to);
  return files->Rename(from, existing.ok() ? *existing : to);
}

Status RenameAll(platform::FileSystem* files, const std::string& path) {
  const std::string base = Base(path);
  PV_RETURN_IF_ERROR(RenameOver(files, base + ".fpt" + kNewSuffix, base + ".fpt"));
  PV_RETURN_IF_ERROR(RenameOver(files, base + ".cdx" + kNewSuffix, base + ".cdx"));
  PV_RETURN_IF_ERROR(RenameOver(files, path + kNewSuffix, path));
  PV_RETURN_IF_ERROR(files->SyncFolder(std::string(platform::FolderOf(path))));
  return files->Remove(path + kCommitSuffix);
}

void RemoveNewFiles(platform::FileSystem* files, const std::string& path) {
  const std::string base = Base(path);
  for (const std::string& name : {path, base + ".cdx", base + ".fpt"}) {
    // What cannot be removed is replaced by the next compaction.
    (void)files->Remove(name + kNewSuffix).ok();
  }
}

// New files go to the medium while they grow, in pieces of this size.
constexpr std::uint64_t kSyncedAtATime = std::uint64_t{16} << 20;

Result<std::unique_ptr<platform::File>> OpenEmpty(platform::FileSystem* files,
                                                  const std::string& path) {
  platform::OpenOptions options;
  options.create = platform::CreateMode::kOpenOrCreate;
  options.share = platform::ShareMode::kDenyAll;
  options.mapped = true;
  PV_ASSIGN_OR_RETURN(auto file, files->Open(path, options));
  PV_RETURN_IF_ERROR(file->Truncate(0));
  return file;
}

}  // namespace

Result<bool> Table::PackIsCommitted(Session* session, const std::string& path) {
  auto stat = session->files()->Stat(path + kCommitSuffix);
  if (stat.ok()) return true;
  if (stat.status().code() == StatusCode::kNotFound) return false;
  return stat.status();
}

Status Table::FinishInterruptedPack(Session* session, const std::string& path) {
  platform::FileSystem* const files = session->files();
  PV_ASSIGN_OR_RETURN(const bool committed, PackIsCommitted(session, path));
  if (!committed) return {};
  // Who is still compacting holds the note.
  platform::OpenOptions alone;
  alone.share = platform::ShareMode::kDenyAll;
  auto note = files->Open(path + kCommitSuffix, alone);
  if (!note.ok()) {
    return note.status().code() == StatusCode::kNotFound ? Status::Ok() : note.status();
  }
  if ((*note)->read_only()) {
    return {StatusCode::kDenied,
            path + ": an interrupted compaction cannot be finished without write permission",
            kErrReadOnly};
  }
  std::string text(kCommitText.size(), '\0');
  PV_ASSIGN_OR_RETURN(const std::size_t got, (*note)->Read(0, text.data(), text.size()));
  if (got < text.size() || text != kCommitText) {
    return {StatusCode::kCorrupt, path + kCommitSuffix + " is no note of a compaction",
            kErrDataDamaged};
  }
  PV_RETURN_IF_ERROR(RenameAll(files, path));
  session->Notice(path + ": a compaction that had been interrupted was finished");
  return {};
}

std::int32_t Table::Pack() {
  if (!exclusive()) {
    return session_->Fail(
        {StatusCode::kInvalid, path_ + " must be opened exclusively", kErrExclusiveNeeded});
  }
  platform::RangeLock none;
  Status s = CheckWritable();
  if (s.ok() && index_) s = LockIndex(platform::LockKind::kExclusive, false, &none);
  if (s.ok()) s = CheckTail();
  if (s.ok() && header_count_ != count_) {
    s = {StatusCode::kCorrupt,
         path_ + ": the header counts " + std::to_string(header_count_) +
             " records, but the file holds " + std::to_string(count_),
         kErrDataDamaged};
  }
  if (!s.ok()) return session_->Fail(s, true);
  platform::FileSystem* const files = session_->files();
  const std::string path = path_;
  const std::string base = Base(path);
  s = PackInto(path + kNewSuffix, base + ".cdx" + kNewSuffix, base + ".fpt" + kNewSuffix);
  if (!s.ok()) {
    RemoveNewFiles(files, path);
    return session_->Fail(s);
  }

  // The commit. The note is held until the renames are done, so that nobody else finishes them.
  const std::string note_path = path + kCommitSuffix;
  platform::OpenOptions options;
  options.create = platform::CreateMode::kOpenOrCreate;
  options.share = platform::ShareMode::kDenyAll;
  std::unique_ptr<platform::File> note;
  s = [&]() -> Status {
    PV_ASSIGN_OR_RETURN(note, files->Open(note_path + kNewSuffix, options));
    PV_RETURN_IF_ERROR(note->Truncate(0));
    PV_RETURN_IF_ERROR(note->Write(0, kCommitText.data(), kCommitText.size()));
    PV_RETURN_IF_ERROR(note->Sync());
    return files->Rename(note_path + kNewSuffix, note_path);
  }();
  if (!s.ok()) {
    note.reset();
    (void)files->Remove(note_path + kNewSuffix).ok();
    RemoveNewFiles(files, path);
    return session_->Fail(s);
  }
  // The old files stay open, and so locked, until the new ones have their names.
  s = RenameAll(files, path);
  auto old_data = std::move(data_);
  auto old_index_raw = std::move(index_raw_);
  auto old_memo_raw = std::move(memo_raw_);
  index_.reset();
  memo_.reset();
  tags_.clear();
  old_data.reset();
  old_index_raw.reset();
  old_memo_raw.reset();
  const std::uint64_t give_up =
      files->MonotonicMicroseconds() + std::uint64_t{session_->lock_wait_ms} * 1000;
  // Some systems do not rename over a file that is open. Whoever opens the old ones now sees the
  // note, and lets them go.
  while ((s.code() == StatusCode::kDenied || s.code() == StatusCode::kBusy) &&
         files->MonotonicMicroseconds() < give_up) {
    s = RenameAll(files, path);
    if (!s.ok()) files->SleepMicroseconds(2000);
  }
  note.reset();
  if (s.ok()) {
    // Somebody may have opened the new files in this moment; they cannot keep them for long
    // against our waiting.
    do {
      s = OpenFiles(path);
      if (s.code() != StatusCode::kBusy) break;
      files->SleepMicroseconds(2000);
    } while (files->MonotonicMicroseconds() < give_up);
    if (s.ok()) s = PrepareTags();
  }
  if (!s.ok()) {
    data_.reset();
    return session_->Fail(s.WithPrefix(path + " was compacted, but cannot be opened again"));
  }
  dirty_ = false;
  EndWalk();
  LeaveRecord(Place::kEof);
  return kSuccess;
}

// Writes the live records, their memos and tags into new files.
Status Table::PackInto(const std::string& new_data, const std::string& new_index,
                       const std::string& new_memo) {
  platform::FileSystem* const files = session_->files();
  const RecordLayout& layout = header_.layout;
  const std::uint32_t length = layout.record_length;
  // General and picture fields of other programs lead into the memo file too, and we follow none
  // of them: with such fields every block stays where it is.
  const bool has_foreign_blocks = std::any_of(layout.fields.begin(), layout.fields.end(),
                                              [](const FieldLayout& f) { return f.is_object(); });
  const bool move_memos = memo_ != nullptr && !has_foreign_blocks;
  std::vector<const FieldLayout*> memo_fields;
  for (const FieldLayout& f : layout.fields) {
    if (f.is_memo()) memo_fields.push_back(&f);
  }

  PV_ASSIGN_OR_RETURN(auto data, OpenEmpty(files, new_data));
  std::unique_ptr<platform::File> memo_raw;
  std::unique_ptr<MemoFile> memo;
  if (move_memos) {
    PV_ASSIGN_OR_RETURN(memo_raw, OpenEmpty(files, new_memo));
    PV_RETURN_IF_ERROR(
        MemoFile::Create(memo_raw.get(), static_cast<std::uint16_t>(memo_->block_size())));
    PV_ASSIGN_OR_RETURN(memo, MemoFile::Open(memo_raw.get()));
  }

  std::string header(header_.header_length, '\0');
  PV_RETURN_IF_ERROR(ReadHeaderBytes(0, header.data(), header.size()));
  const CivilDate today = session_->Today();
  header[1] = static_cast<char>(today.year % 100);
  header[2] = static_cast<char>(today.month);
  header[3] = static_cast<char>(today.day);

  const auto per_block = static_cast<std::uint32_t>(std::max<std::size_t>(1, kCopyBlock / length));
  std::vector<std::uint8_t> in(std::size_t{per_block} * length);
  std::vector<std::uint8_t> out;
  out.reserve(in.size() + 1);
  std::uint64_t out_offset = header.size();
  std::uint32_t live = 0;
  TagEntries entries(files, SortPath(), tags_);
  for (std::uint32_t first = 1; first <= count_;) {
    const std::uint32_t n = std::min(per_block, count_ - first + 1);
    PV_RETURN_IF_ERROR(ReadRecords(data_.get(), first, n, in.data()));
    out.clear();
    for (std::uint32_t i = 0; i < n; ++i) {
      std::uint8_t* const record = in.data() + std::size_t{i} * length;
      if (record[0] == kDeletedMark) continue;
      if (move_memos) {
        for (const FieldLayout* f : memo_fields) {
          const auto fault = [&](const Status& s) {
            return s.WithPrefix("record " + std::to_string(first + i) + ", field " + f->name);
          };
          const auto block = DecodeMemoBlock(*f, record + f->offset);
          if (!block) {
            return fault(
                {StatusCode::kCorrupt, path_ + ": the memo block is no number", kErrMemoDamaged});
          }
          if (*block == 0) continue;
          auto entry = memo_->Inspect(*block);
          if (!entry.ok()) return fault(entry.status());
          auto text = memo_->Read(*block);
          if (!text.ok()) return fault(text.status());
          PV_ASSIGN_OR_RETURN(const std::uint32_t moved,
                              memo->Append(*text, static_cast<MemoType>(entry->type)));
          EncodeMemoBlock(*f, moved, record + f->offset);
        }
      }
      out.insert(out.end(), record, record + length);
      PV_RETURN_IF_ERROR(entries.Add(record, ++live));
    }
    if (!out.empty()) PV_RETURN_IF_ERROR(data->Write(out_offset, out.data(), out.size()));
    if (out_offset / kSyncedAtATime != (out_offset + out.size()) / kSyncedAtATime) {
      data->StartSync();
    }
    out_offset += out.size();
    first += n;
  }
  PV_RETURN_IF_ERROR(data->Write(out_offset, &kEndOfFileMark, 1));
  StoreLe32(header.data() + kHeaderCountOffset, live);
  PV_RETURN_IF_ERROR(data->Write(0, header.data(), header.size()));
  data->StartSync();
  if (memo_raw) memo_raw->StartSync();

  if (index_) PV_RETURN_IF_ERROR(BuildPackedIndex(new_index, &entries));
  PV_RETURN_IF_ERROR(data->Sync());
  return memo_raw ? memo_raw->Sync() : Status();
}

Status Table::BuildPackedIndex(const std::string& new_index, TagEntries* entries) {
  PV_ASSIGN_OR_RETURN(auto index_raw, OpenEmpty(session_->files(), new_index));
  std::vector<TagDefinition> definitions;
  for (const TagState& t : tags_) definitions.push_back(t.tag->definition());
  PV_RETURN_IF_ERROR(IndexFile::Create(index_raw.get(), definitions));
  PV_ASSIGN_OR_RETURN(auto index, IndexFile::Open(index_raw.get()));
  PV_RETURN_IF_ERROR(index->BeginChange());
  std::uint64_t duplicates = 0;
  PV_RETURN_IF_ERROR(entries->BuildInto(index.get(), &duplicates));
  PV_RETURN_IF_ERROR(index->EndChange());
  if (duplicates != 0) {
    return {StatusCode::kDuplicate,
            path_ + ": " + std::to_string(duplicates) +
                " live records repeat the key of another in a unique tag",
            kUniqueKey};
  }
  return index_raw->Sync();
}

}  // namespace pv::engine
