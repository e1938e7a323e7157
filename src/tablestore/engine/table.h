// One open table: its three files, its tags, its record buffer and its place.
//
// Invariants (cited by number in the sources):
//   1. Locks are taken in the order record, append, index, memo, and released in any order. (The
//      byte of a record that is being appended is nobody else's to wait for, and comes last.)
//   2. Under shared access nothing of the data file changes but by who holds the index lock
//      exclusively (when there is an index): who holds it sees data and tags at rest.
//   3. A new record is written beyond the record count before the count moves; the count is one
//      aligned 4-byte word, so it moves at once.
//   4. The mark stands in the index before the first byte of a change and leaves after the last.
//      Whoever takes the index lock and finds it rebuilds the tags (the data file is the truth).
//      An exclusive session may leave it there over many appends (append_run.h).
//   5. Bytes of existing records and memos are overwritten only after the journal has them, save
//      for the deletion byte, which is one byte.
//   6. The record count of the header is read again under the append lock and never written back
//      from memory otherwise.
#ifndef PV_TABLESTORE_ENGINE_TABLE_H_
#define PV_TABLESTORE_ENGINE_TABLE_H_

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "platform/file_system.h"
#include "tablestore/engine/data/data_header.h"
#include "tablestore/engine/data/journal.h"
#include "tablestore/engine/expression/expression.h"
#include "tablestore/engine/index/index_file.h"
#include "tablestore/engine/memo/memo_file.h"
#include "tablestore/engine/operations.h"
#include "tablestore/engine/read_ahead.h"
#include "tablestore/engine/session.h"

namespace pv::engine {

// Byte ranges that are locked. Shared with other programs of the family: never change.
constexpr std::uint64_t kAppendLockOffset = 0x7FFFFFFE;
constexpr std::uint64_t kTableLockOffset = 0x77FFFFFF;
constexpr std::uint64_t kTableLockLength = 0x07FFFFFF;
constexpr std::uint64_t kIndexLockOffset = 0x7FFFFFFE;
constexpr std::uint64_t kMemoLockOffset = 0;
// The last byte of a data file, its end mark, stays below the lock addresses.
constexpr std::uint64_t kMaxDataFileSize = kTableLockOffset - 1;

// One tag with what is needed to keep it up to date.
struct TagState {
  Tag* tag = nullptr;
  std::optional<KeyMaker> keys;
  std::unique_ptr<Expression> filter;  // null when there is none
  std::string unusable;                // why it cannot be kept up to date; empty when it can
};

class AppendRun;
class TagEntries;

class Table {
 public:
  // Opens what is at `path`. Finishes an interrupted compaction and rebuilds the tags after a
  // writer's death first, and says so in the session's notices.
  static Result<std::unique_ptr<Table>> Open(Session* session, const std::string& path,
                                             AccessMode mode);

  // Makes the files of a new table. With `overwrite`, a table of the same name is replaced,
  // unless somebody has it open.
  static Status Create(Session* session, const std::string& path,
                       const std::vector<NewField>& fields, const std::vector<TagRecord>& tags,
                       bool overwrite);

  ~Table();

  // Makes everything durable and closes the files. The Table is of no use afterwards.
  Status Close();
  Status Flush();

  // Moving: each answers an operation code (operations.h) and, on failure, leaves the error in
  // the session.
  std::int32_t Top();
  std::int32_t Bottom();
  std::int32_t Skip(std::int32_t count);
  std::int32_t Go(std::int32_t record);
  void GoEof();
  std::int32_t Seek(std::string_view text);
  std::int32_t SeekNext(std::string_view text);
  bool bof() const { return place_ == Place::kBof || empty_; }
  bool eof() const { return place_ == Place::kEof; }
  Result<std::uint32_t> RecordCount();
  // The current record's number; 0 when there is none.
  std::uint32_t record_number() const { return place_ == Place::kRecord ? record_number_ : 0; }
  void SelectTag(int tag);  // -1 for natural order
  int FindTag(std::string_view name) const;

  // Editing.
  void AppendStart();
  std::int32_t Append();
  std::int32_t Write(std::int32_t record);
  std::int32_t Delete();
  void Recall() {
    if (!has_record()) return;
    Edit()[0] = kLiveMark;
    recalled_ = true;
  }
  std::int32_t Pack();
  std::int32_t Reindex();
  std::int32_t BulkStart();
  std::int32_t BulkEnd();

  // The record buffer. Readable while a record is current or being appended.
  bool has_record() const { return place_ == Place::kRecord || place_ == Place::kAppending; }
  const std::uint8_t* record() const { return edited_ ? record_.data() : original_.data(); }
  // The same, to be changed.
  std::uint8_t* Edit() {
    if (!edited_) std::copy_n(original_.data(), header_.layout.record_length, record_.data());
    edited_ = true;
    return record_.data();
  }
  const RecordLayout& layout() const { return header_.layout; }
  // The memo of a field, assigned or read from the file; null with the error in the session.
  const std::string* Memo(std::size_t field);
  void AssignMemo(std::size_t field, std::string_view bytes);

  Session* session() const { return session_; }
  const std::string& path() const { return path_; }
  const std::vector<TagState>& tags() const { return tags_; }
  TableInfo Info();
  TableCheck Check();

  // Handles that lead here; kept by operations.cc.
  Handle handle = 0;
  std::vector<Handle> field_handles;
  std::vector<Handle> tag_handles;

 private:
  enum class Place : std::uint8_t { kBof, kRecord, kEof, kAppending };

  struct MemoSlot {
    bool loaded = false;
    bool assigned = false;
    std::string text;
  };
  // The key of one record in one tag.
  struct TagKey {
    bool present = false;  // the filter admits the record
    std::array<std::uint8_t, kMaxKeyLength + 1> bytes;
  };

  explicit Table(Session* session);

  // table.cc
  Status OpenFiles(const std::string& path);
  Status ReadHeader();
  // Bytes of the data file's header, all of them or kCorrupt; and its record count as it says now.
  Status ReadHeaderBytes(std::uint64_t offset, void* out, std::size_t size);
  Result<std::uint32_t> HeaderCount();
  // `count` whole records of `data`, a file of this table's layout; kCorrupt names the first that
  // is not there.
  Status ReadRecords(platform::File* data, std::uint32_t first, std::uint32_t count,
                     std::uint8_t* out);
  Status RecordMissing(std::uint32_t record) const;
  std::string StrayIndexFault() const;
  Status OpenIndex(const std::string& index_path);
  Status PrepareTags();
  std::string CompanionPath(std::string_view extension) const;
  std::string SortPath() const { return CompanionPath(".cdx.sort"); }
  bool exclusive() const { return mode_ != AccessMode::kShared; }
  // True when nobody else can change the index, and it holds all that was appended.
  bool index_is_ours() const {
    return exclusive() && index_checked_ && !needs_rebuild_ && run_ == nullptr;
  }
  Status CheckWritable();
  Status LoadRecord(std::uint32_t record);
  void ShowRecord(std::uint32_t record);
  Result<std::uint32_t> ValidCount(std::uint32_t header_count);
  enum class Tail : std::uint8_t { kNone, kOurs, kForeign };
  Result<Tail> InspectTail(bool died);
  Status TailFault() const;
  Status CheckTail();
  Status CutTail();
  Status TrimLeftovers();
  void ForgetMemos();

  // Locks. Nothing is locked under exclusive access.
  Status LockData(std::uint64_t offset, platform::RangeLock* lock);
  Status LockMemo(platform::RangeLock* lock);
  // Takes the index lock; on return the index is unmarked and its cache is fresh.
  Status LockIndex(platform::LockKind kind, bool append_lock_held, platform::RangeLock* lock);

  // table_recovery.cc
  Status RecoverIfMarked(bool append_lock_held, platform::RangeLock* lock);
  // Inside a bracket; `duplicates` counts live records left out of unique tags.
  Status RebuildTags(IndexFile* index, const std::vector<TagState>& tags, platform::File* data,
                     std::uint32_t records, std::uint64_t* duplicates);
  Status EnsureJournal(std::size_t size, std::uint64_t* offset);

  // table_walk.cc
  void NoteStep(std::int32_t count);
  void EndWalk();
  std::uint64_t AheadAge() const;
  bool AheadIsFresh();
  std::int32_t StepAhead();
  void LookAhead(bool forward);

  // table_navigate.cc
  std::int32_t LandOn(const TagPosition& position, bool forward);
  std::int32_t LandOnRecord(std::uint32_t record);
  std::int32_t GoToEnd(bool first);
  std::int32_t SkipInTag(std::int32_t count);
  std::int32_t SkipNaturally(std::int32_t count);
  std::int32_t SeekKey(std::string_view text, bool after_current);
  Status FindPlaceInTag();
  void LeaveRecord(Place place);
  TagState& selected() { return tags_[static_cast<std::size_t>(selected_)]; }

  // append_run.cc
  Status EndAppendRun();
  Status PrepareAppendRun();
  Status CheckUniqueInRun();

  // table_edit.cc
  Status MakeKeys(const std::uint8_t* record, std::uint32_t number, std::vector<TagKey>* keys);
  Status CheckUnique(const std::vector<TagKey>& keys, const std::vector<TagKey>* old_keys,
                     std::uint32_t number);
  void MakeBlank();
  Status RepeatedKey(const std::string& tag, std::uint32_t holder) const;
  Status WriteNewMemos(const std::uint8_t* old_record, bool in_place_allowed,
                       platform::RangeLock* memo_lock, std::vector<std::uint32_t>* in_place);
  void LeaveToRebuild();
  Status ReserveDataSpace(std::uint64_t end);
  Status WriteCount(std::uint32_t count);
  Status AppendLocked(bool append_to_tags);
  Status WriteLocked(std::uint32_t number);
  Status ApplyInPlace(std::uint32_t number, const std::vector<std::uint32_t>& memo_blocks,
                      const std::vector<TagKey>& old_keys, const std::vector<TagKey>& new_keys);
  void MergeUnchangedFields(const std::uint8_t* on_disk);
  Status AssignAutoIncrement();
  Status ChangeTags(const std::vector<TagKey>& old_keys, const std::vector<TagKey>& new_keys,
                    std::uint32_t number);

  // table_pack.cc
  static Status FinishInterruptedPack(Session* session, const std::string& path);
  static Result<bool> PackIsCommitted(Session* session, const std::string& path);
  Status PackInto(const std::string& new_data, const std::string& new_index,
                  const std::string& new_memo);
  Status BuildPackedIndex(const std::string& new_index, TagEntries* entries);

  Session* session_;
  AccessMode mode_ = AccessMode::kShared;
  std::string path_;        // of the data file, as found
  std::string index_path_;  // empty when there is none
  std::string memo_path_;
  std::string stray_index_;  // an index file that the header does not own to
  std::unique_ptr<platform::File> data_;
  std::unique_ptr<platform::File> index_raw_;
  std::unique_ptr<platform::File> memo_raw_;
  std::unique_ptr<IndexFile> index_;
  std::unique_ptr<MemoFile> memo_;
  DataHeader header_;
  std::vector<TagState> tags_;

  std::uint32_t count_ = 0;         // last known record count that the file's size bears out
  std::uint32_t header_count_ = 0;  // what the header said when count_ was settled
  bool reported_short_ = false;
  bool tail_checked_ = false;
  CivilDate header_date_;               // as this handle wrote it last
  std::uint64_t data_capacity_ = 0;     // file size under exclusive access, with room for appends
  std::uint32_t appends_ = 0;           // since opening
  std::uint32_t appends_in_a_row_ = 0;  // with nobody asking for the index
  std::unique_ptr<AppendRun> run_;      // under exclusive access; the mark is ours meanwhile
  bool dirty_ = false;                  // something was written since the last flush
  bool needs_rebuild_ = false;          // a change failed half-way: the mark stands
  bool bulk_ = false;
  std::unique_ptr<TagEntries> bulk_entries_;  // while records were only appended, from the first
  bool index_checked_ = false;                // under exclusive access: no mark stood since opening

  Place place_ = Place::kEof;
  bool empty_ = true;  // the last Top or Bottom found nothing
  std::uint32_t record_number_ = 0;
  std::vector<std::uint8_t> record_;    // the buffer, good once the record is edited_
  std::vector<std::uint8_t> blank_;     // a new record
  std::vector<std::uint8_t> original_;  // as the record was when it was read
  std::vector<MemoSlot> memos_;         // one per field; only memo fields use theirs
  bool edited_ = false;
  bool memos_touched_ = false;
  bool recalled_ = false;  // the record is to be live, whatever others made of it meanwhile

  // Moving one record at a time, in a row; see table_walk.cc.
  static constexpr std::uint32_t kStepsOfWalk = 64;
  std::uint32_t walked_ = 0;
  std::int32_t last_step_ = 0;
  std::optional<ReadAhead> ahead_;  // there is one as long as the table is open
  TagPosition ahead_end_;           // the last that was fetched
  std::size_t ahead_count_ = 0;     // records to be fetched next
  std::uint64_t ahead_epoch_ = 0;   // of the index, and the time, when they were fetched
  std::uint64_t ahead_time_ = 0;

  int selected_ = -1;
  TagPosition position_;
  bool position_valid_ = false;    // position_ belongs to the current record
  bool position_follows_ = false;  // position_ is the entry after the current record's place

  Journal journal_;
  std::vector<TagKey> old_keys_;
  std::vector<TagKey> new_keys_;
  std::vector<std::uint8_t> on_disk_;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_TABLE_H_
