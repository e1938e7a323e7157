// The memo file: texts of any length, each in a run of blocks. The format is described in
// docs/memo-file.md.
//
// Invariants:
//   1. Blocks are taken from the end only, under the memo lock, and the header's next free block
//      moves before the new block number is given out. A writer that dies leaves waste, never a
//      block that two memos share.
//      What the header says is not trusted to be beyond the last memo: no byte that is in the file
//      already is ever given out.
//   2. A rewrite in place is staged at the end of the file first, so that it can be finished after
//      a crash, and the file is cut back to where it ended.
#ifndef PV_TABLESTORE_ENGINE_MEMO_MEMO_FILE_H_
#define PV_TABLESTORE_ENGINE_MEMO_MEMO_FILE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/status.h"
#include "platform/file_system.h"

namespace pv::engine {

constexpr std::size_t kMemoHeaderSize = 512;
constexpr std::size_t kMemoEntryHeader = 8;  // type and length, 4 bytes each
constexpr std::uint16_t kNewMemoBlockSize = 64;
// The memo lock and old programs allow no more.
constexpr std::uint64_t kMaxMemoFileSize = 0x7FFFFFFF;
constexpr std::uint64_t kMaxMemoLength = 0x7FFFFFFF - kMemoEntryHeader;

// Entry types. On disk: never change.
enum class MemoType : std::uint32_t { kPicture = 0, kText = 1 };

class MemoFile {
 public:
  // Writes the header of an empty memo file.
  static Status Create(platform::File* file, std::uint16_t block_size);

  // Checks the header. `file` must outlive the result.
  static Result<std::unique_ptr<MemoFile>> Open(platform::File* file);

  // The same without looking at the header: for a file whose header is damaged.
  static std::unique_ptr<MemoFile> Assume(platform::File* file, std::uint16_t block_size);

  std::uint32_t block_size() const { return block_size_; }
  platform::File* file() { return file_; }

  struct Entry {
    std::uint32_t type = 0;
    std::uint32_t length = 0;  // of the text
    std::uint32_t blocks = 0;  // that it occupies
  };

  // The entry header of a block, checked: the block lies behind the file header and inside the
  // file, the type is known, the length stays inside the file.
  Result<Entry> Inspect(std::uint32_t block);

  // The bytes of the memo at `block`; block 0 is the empty memo.
  Result<std::string> Read(std::uint32_t block);

  // Takes blocks for `text` and writes it; returns its block. Under the memo lock.
  Result<std::uint32_t> Append(std::string_view text, MemoType type);

  // Writes the bytes of an entry, header and padding included, at the end of the file; returns
  // where. The caller cuts the file back to that offset when they are no longer needed. Under the
  // memo lock.
  Result<std::uint64_t> Stage(std::string_view entry_bytes);

  // The bytes that an entry of this text has on disk, padded to whole blocks.
  std::string EntryBytes(std::string_view text, MemoType type) const;

  std::uint32_t BlocksFor(std::uint64_t text_length) const;
  std::uint64_t OffsetOf(std::uint32_t block) const { return std::uint64_t{block} * block_size_; }

  // As the header says now.
  Result<std::uint32_t> NextFree();

  // The block after everything that the header or the file's size accounts for. kCorrupt when the
  // header's count lies far beyond the end of the file.
  Result<std::uint64_t> FirstFreeBlock();

 private:
  MemoFile(platform::File* file, std::uint32_t block_size) : file_(file), block_size_(block_size) {}

  Status Damaged(std::uint32_t block, const std::string& why) const;

  platform::File* file_;
  std::uint32_t block_size_;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_MEMO_MEMO_FILE_H_
