// The pages of one index file: reading and writing them, the free list, the change counter and the
// mark.
#ifndef PV_TABLESTORE_ENGINE_INDEX_PAGE_STORE_H_
#define PV_TABLESTORE_ENGINE_INDEX_PAGE_STORE_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "platform/file_system.h"
#include "tablestore/engine/index/page_format.h"

namespace pv::engine::tree {

class PageStore {
 public:
  explicit PageStore(platform::File* file);

  const std::string& path() const { return file_->path(); }

  // kCorrupt with kErrIndexDamaged: "<path>: tag <tag>, page at <offset>: <what>".
  Status Damaged(std::string_view tag, std::uint32_t page, std::string_view what) const;
  // The same for what is wrong with the file as a whole.
  Status Damaged(std::string_view what) const;

  // Reads the directory's header anew; the epoch moves when the change counter has.
  Status Refresh();
  // Moves whenever everything read before must be forgotten.
  std::uint64_t epoch() const { return epoch_; }
  // A number that no store of the process has given before, for telling whether a tree changed.
  std::uint64_t NewVersion() { return ++version_; }
  // The counter as last read. True when the file's differs now.
  bool CounterMoved();

  // Reads one whole page into 512 bytes; a page outside the file is damage.
  Status ReadPage(std::string_view tag, std::uint32_t offset, std::uint8_t* out) {
    return ReadPageBy(&platform::File::Read, tag, offset, out);
  }
  // The same for a page that a walk passes.
  Status ReadPageOnce(std::string_view tag, std::uint32_t offset, std::uint8_t* out) {
    return ReadPageBy(&platform::File::ReadOnce, tag, offset, out);
  }

  // Inside a bracket only.
  Status Write(std::uint64_t offset, const void* data, std::size_t size) {
    return file_->Write(offset, data, size);
  }
  // A page that nothing uses; its content is not defined until it is written.
  Result<std::uint32_t> Allocate(std::string_view tag);
  Status Free(std::uint32_t offset);

  // The bracket (IndexFile describes it).
  Status BeginChange();
  Status EndChange();
  void AbandonChange();
  // OK when entries may be changed: inside a bracket that did not begin with the mark of a dead
  // writer, unless a rebuild has been done in it.
  Status CheckChange() const;
  bool in_bracket() const { return in_bracket_; }
  void NoteFailure() { failed_ = true; }
  // From the first on entries cannot be changed, nor the bracket ended well, until the second.
  void NoteRebuilding();
  void NoteRebuilt();
  Result<bool> IsMarked();

  std::uint32_t free_head() const { return free_head_; }
  void set_free_head(std::uint32_t offset) { free_head_ = offset; }

  // Size in bytes; kept while the change counter stands still, for only holders of the index
  // lock change it.
  Result<std::uint64_t> Size();
  Status SetSize(std::uint64_t size);

  platform::File* file() { return file_; }

 private:
  using Reader = Result<std::size_t> (platform::File::*)(std::uint64_t, void*, std::size_t);

  Status ReadHeader(bool* marked);
  Status ReadPageBy(Reader reader, std::string_view tag, std::uint32_t offset, std::uint8_t* out);

  platform::File* file_;
  bool loaded_ = false;
  std::uint32_t counter_ = 0;
  std::uint32_t free_head_ = 0;
  std::array<std::uint8_t, 28> header_{};  // of the directory, as last read
  std::uint64_t epoch_ = 1;
  std::uint64_t version_;
  std::uint64_t size_ = 0;  // 0 when not known

  bool in_bracket_ = false;
  bool must_rebuild_ = false;
  bool failed_ = false;
};

}  // namespace pv::engine::tree

#endif  // PV_TABLESTORE_ENGINE_INDEX_PAGE_STORE_H_
