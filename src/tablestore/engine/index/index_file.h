// The compound index: one file, many tags, each a B+ tree of 512-byte pages. This layer knows
// keys as bytes and record numbers; what a key means is the expression's business, and locks are
// the table's. The format is described in docs/index-file.md.
//
// Invariants:
//   1. No page is written outside a BeginChange/EndChange bracket, and the bracket is only opened
//      by who holds the index lock exclusively (or the whole file).
//   2. BeginChange sets the mark before anything else is written; EndChange takes it off last,
//      in the same write that moves the change counter. A mark seen by a new holder of the lock
//      therefore means that a writer died, and the trees must be rebuilt.
//   3. Within a tag, entries are ordered by (key bytes, record number); no two are equal.
//   4. Everything read from a page is checked before it is used; a page that fails is kCorrupt
//      with the file, the tag and the page's offset.
#ifndef PV_TABLESTORE_ENGINE_INDEX_INDEX_FILE_H_
#define PV_TABLESTORE_ENGINE_INDEX_INDEX_FILE_H_

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "platform/file_system.h"

namespace pv::engine {

constexpr std::size_t kPageSize = 512;

namespace tree {
class TagTree;
}

// What a tag's header says (or, for a new file, shall say).
struct TagDefinition {
  std::string name;        // at most 10 bytes, upper case
  std::string expression;  // as stored
  std::string filter;      // empty when there is none
  bool unique = false;     // a second entry with the same key is refused
  bool candidate = false;  // option 0x04 on disk: unique, and never null
  bool descending = false;
  bool nullable = false;  // option 0x02
  std::uint16_t key_length = 0;
  std::uint8_t fill_byte = 0x20;   // trailing bytes of a key that are not stored
  bool foreign_collation = false;  // bytes 494-501 name one: must not be changed by us
};

// A position in a tag: an entry, or before the first or past the last. It holds the decoded leaf,
// so that walking inside a leaf touches no file. It goes stale when the tag changes: the tag then
// finds its place again by the entry's key and record number.
class TagPosition {
 public:
  bool on_entry() const { return state_ == State::kOnEntry; }
  bool before_first() const { return state_ == State::kBeforeFirst; }
  bool past_last() const { return state_ == State::kPastLast; }
  std::uint32_t record() const { return record_; }         // on_entry() only
  const std::uint8_t* key() const { return key_.data(); }  // on_entry() only

 private:
  friend class tree::TagTree;
  enum class State : std::uint8_t { kBeforeFirst, kOnEntry, kPastLast };
  State state_ = State::kPastLast;
  std::uint32_t record_ = 0;
  std::array<std::uint8_t, 256> key_{};
  // A copy of the leaf, good while version_ is the tag's, and the entry's place in it.
  std::uint64_t version_ = 0;
  std::uint32_t page_offset_ = 0;
  std::uint32_t count_ = 0;
  std::uint32_t index_ = 0;
  std::uint32_t key_offset_ = 0;  // of the entry's key bytes in the page
  std::uint32_t dup_ = 0;
  std::uint32_t trim_ = 0;  // of the entry's key, without trailing fill
  alignas(64) std::array<std::uint8_t, kPageSize + 8> page_{};
};

class IndexFile;

// One tag of an index file. Reading needs the index lock (shared) or exclusive access to the
// file; Next and Previous need it only when they say so (see StepNeedsLock).
//
// "First" and "last", "next" and "previous" are in the tag's own direction: a descending tag
// walks its stored order backwards.
class Tag {
 public:
  virtual ~Tag() = default;
  virtual const TagDefinition& definition() const = 0;

  // The file does not say which byte fills the keys of a tag (a blank for character keys, zero
  // for all others), so Open takes a blank for granted: who knows the kind of the key says so
  // before the tag is first used. Later calls that change it make every position stale.
  virtual void SetFillByte(std::uint8_t fill) = 0;

  virtual Status First(TagPosition* position) = 0;
  virtual Status Last(TagPosition* position) = 0;

  // One entry on or back. From before-first, Next goes to the first entry; from past-last,
  // Previous goes to the last. Past the ends the state says so; that is not an error.
  virtual Status Next(TagPosition* position) = 0;
  virtual Status Previous(TagPosition* position) = 0;

  // True when the step would read the file: the next entry is on another leaf, or the file's
  // change counter has moved since the leaf was read. False lets a sharing reader step without
  // taking the lock.
  virtual bool StepNeedsLock(const TagPosition& position, bool forward) = 0;

  // Lists the record numbers of the entries that a walk from `position` will come to, up to `count`
  // and the rest of the leaf that the last of them is in; `end` is then the last one's position.
  // A position that went stale gives an empty list. Damage on the way, keys out of order among it,
  // is an error, and the list is not to be used: the walk itself comes to it and says so.
  virtual Status ListAhead(const TagPosition& position, bool forward, std::size_t count,
                           std::vector<std::uint32_t>* records, TagPosition* end) = 0;

  // Goes to the first entry, in the tag's direction, whose key is not before `key`, comparing
  // the first `length` bytes of the stored keys with it (length <= key length); past-last when
  // there is none. `equal` says whether those bytes are equal. In a descending tag "not before"
  // means stored key <= key.
  virtual Status Seek(const std::uint8_t* key, std::size_t length, TagPosition* position,
                      bool* equal) = 0;

  // Goes to exactly (key, record), or, when it is not there, to the entry that follows its place.
  virtual Status SeekEntry(const std::uint8_t* key, std::uint32_t record, TagPosition* position,
                           bool* equal) = 0;

  // The record of any entry with this whole key; 0 when there is none. Stops at the first found.
  virtual Result<std::uint32_t> FindKey(const std::uint8_t* key) = 0;

  // Inside a bracket only. Insert: kExists-coded Status::Duplicate is the caller's business (it
  // asks FindKey first); inserting an entry that is already there is kCorrupt. Remove returns
  // false when the entry is not there. kLimit when the file or the tree would grow beyond what it
  // can be. Quick when the Insert follows a FindKey of the same key.
  virtual Status Insert(const std::uint8_t* key, std::uint32_t record) = 0;
  virtual Result<bool> Remove(const std::uint8_t* key, std::uint32_t record) = 0;

  // Number of entries, by walking the leaves.
  virtual Result<std::uint64_t> CountEntries() = 0;

  // Checks the whole tree: page links, bounds, key order, interior keys, every page once. Each
  // finding is one sentence; an empty list means sound.
  virtual std::vector<std::string> Verify() = 0;
};

// Makes the tree of one tag from entries that come in ascending (key, record) order.
class TagBuilder {
 public:
  virtual ~TagBuilder() = default;
  virtual Status Add(const std::uint8_t* key, std::uint32_t record) = 0;
  virtual Status Finish() = 0;
};

class IndexFile {
 public:
  virtual ~IndexFile() = default;

  // Writes a new index with empty tags into an empty file.
  static Status Create(platform::File* file, const std::vector<TagDefinition>& tags);

  // Reads the directory and every tag's header. `file` must outlive the result. A tag whose
  // header is damaged is an error that names it; the trees are not read.
  static Result<std::unique_ptr<IndexFile>> Open(platform::File* file);

  // In the order of their headers in the file, which is that of their creation.
  virtual const std::vector<std::unique_ptr<Tag>>& tags() const = 0;

  // True while the mark stands in the file.
  virtual Result<bool> IsMarked() = 0;

  // The change bracket (invariants 1 and 2). Brackets do not nest. `BeginChange` also notices
  // that others changed the file since (change counter) and drops what was cached. `EndChange`
  // takes the mark off; after a failure inside the bracket call AbandonChange instead, which
  // leaves the mark in the file, so that the next holder rebuilds.
  // A bracket that begins with a mark, or in which something failed, ends well only when the tags
  // were rebuilt in it: until then Insert, Remove and EndChange are kCorrupt. A failed EndChange
  // has abandoned the change.
  virtual Status BeginChange() = 0;
  virtual Status EndChange() = 0;
  virtual void AbandonChange() = 0;

  // Drops cached pages when others have changed the file. Call after taking the lock.
  virtual Status Refresh() = 0;

  // Moves when a Refresh finds that others have changed the file; true when one would.
  virtual std::uint64_t epoch() const = 0;
  virtual bool HasMoved() = 0;

  // Inside a bracket: empties every tag (pages go back or are reused) and hands out one builder
  // at a time. After all tags are built the file is cut to its used length.
  virtual Status BeginRebuild() = 0;
  virtual Result<std::unique_ptr<TagBuilder>> BuildTag(std::size_t tag) = 0;
  virtual Status FinishRebuild() = 0;

  // Our own 16 bytes of the directory's header, which old readers ignore (zero in every file that
  // others made). On disk: never change.
  //   0  4  the mark: "PVW1" while a writer is changing the file, else zero
  //   4  4  zero
  //   8  4  LE offset of the reserved pages, 0 when there are none
  //  12  4  LE their number
  static constexpr std::uint64_t kOwnAreaOffset = 24;

  // Reserves `count` consecutive pages that no tree will use and no Verify reports, at the end of
  // the file, and notes them in the own area; returns their offset. Earlier reserved pages are
  // given up to the free list. Inside a bracket only. BeginRebuild gives them up too.
  virtual Result<std::uint64_t> ReservePages(std::uint32_t count) = 0;

  // What the own area says now (read from the file), checked against the file's size and that no
  // tag's header lies in it; both zero when there are none or the area is nonsense.
  struct Reserved {
    std::uint64_t offset = 0;
    std::uint32_t pages = 0;
  };
  virtual Result<Reserved> ReservedPages() = 0;

  // Faults of the directory, of the free list, and pages that two claim, for `verify`; what is
  // wrong inside a tag is for its own Verify to say. Pages that belong to nothing are no fault:
  // other programs leave some, and a rebuild reuses them.
  virtual std::vector<std::string> Verify() = 0;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_INDEX_INDEX_FILE_H_
