// The file seam: every file that the component touches is reached through FileSystem and File.
// posix/ and win32/ implement it on the operating system, memory/ in memory for tests.
//
// Paths are UTF-8 and may mix "/" and "\" as separators on every system.
#ifndef PV_PLATFORM_FILE_SYSTEM_H_
#define PV_PLATFORM_FILE_SYSTEM_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/status.h"

namespace pv::platform {

// Whom else an opener admits. Checked against the other holders at open: kBusy when they clash.
enum class ShareMode : std::uint8_t {
  kDenyNone,   // others may read and write
  kDenyWrite,  // others may read (on POSIX as kDenyAll: flock knows only shared and exclusive)
  kDenyAll,    // nobody else
  // Claims nothing and asks nothing: for reading the files of programs that know nothing of us,
  // which are never kept out and never keep out. (On Windows as kDenyNone: every program claims
  // something there.)
  kUnclaimed,
};

enum class CreateMode : std::uint8_t {
  kOpenExisting,  // kNotFound when it is missing
  kCreateNew,     // kExists when it is there; never follows a symbolic link
  kOpenOrCreate,  // opens what is there; never creates through a symbolic link
};

struct OpenOptions {
  ShareMode share = ShareMode::kDenyNone;
  CreateMode create = CreateMode::kOpenExisting;
  bool read_only = false;
  // The file will be read and written in place at random: use a mapping where there is one.
  bool mapped = false;
};

enum class LockKind : std::uint8_t { kShared, kExclusive };

// One open file. Not for use by two threads at a time. Closing releases its locks.
//
// Files are created readable and writable by their owner only (0600), whatever the umask.
class File {
 public:
  virtual ~File() = default;

  // Reads up to `size` bytes at `offset` into `out`; returns how many there were, fewer only at
  // the end of the file. A file cut short under a mapping gives a short count or an error, never
  // a signal.
  virtual Result<std::size_t> Read(std::uint64_t offset, void* out, std::size_t size) = 0;

  // As Read, for bytes that lie on the way through a file and are not wanted again soon: what is
  // read so does not stay in the process's memory, however large the file is.
  virtual Result<std::size_t> ReadOnce(std::uint64_t offset, void* out, std::size_t size) {
    return Read(offset, out, size);
  }

  // ReadOnce for many pieces of `size` bytes each; quick when neighbours in the file follow each
  // other. Returns how many were read whole, from the first on.
  struct Piece {
    std::uint64_t offset;
    void* out;
  };
  virtual Result<std::size_t> ReadPieces(std::span<const Piece> pieces, std::size_t size);

  // Writes all `size` bytes at `offset`, extending the file as needed (a gap reads as zeros).
  // Visible at once to every reader of the file, in this process and others, and kept when the
  // process dies; Sync alone makes it survive the machine. On failure some of the bytes may have
  // been written.
  virtual Status Write(std::uint64_t offset, const void* data, std::size_t size) = 0;

  // Current size in bytes, asked of the system each time.
  virtual Result<std::uint64_t> Size() = 0;

  // Cuts the file to `size` or extends it with zeros. Growing allocates the blocks, so that
  // later writes inside them cannot fail for want of space.
  virtual Status Truncate(std::uint64_t size) = 0;

  // Lets the system begin to bring to the medium what was written, so that a Sync later on finds
  // less to do.
  virtual void StartSync() {}

  // Returns when all that was written is on the medium.
  virtual Status Sync() = 0;

  // Locks [offset, offset + length) without waiting. kBusy when another File holds an overlapping
  // range in a conflicting way. Locking a range that this File holds replaces the kind. Ranges
  // may lie beyond the end of the file. Locks of two Files conflict inside one process too.
  virtual Status TryLock(std::uint64_t offset, std::uint64_t length, LockKind kind) = 0;

  // Releases the range; OK when it was not held.
  virtual Status Unlock(std::uint64_t offset, std::uint64_t length) = 0;

  // True when only reading is possible (asked for, or all that the permissions gave).
  virtual bool read_only() const = 0;

  // The path that it was opened by, in the system's form, for messages.
  virtual const std::string& path() const = 0;
};

struct FileInfo {
  bool is_directory = false;
  bool is_symlink = false;  // of the path itself; the other members describe what it leads to
  std::uint64_t size = 0;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // Opens a file. When writing was wanted and is not permitted (permissions, a read-only file
  // system), an existing file is opened for reading and says so in read_only(). kBusy on a
  // clash of share modes. The name must still lead to the opened file once the share mode is
  // held, else the open is done again: who waits for a file that is being replaced gets the new
  // one.
  virtual Result<std::unique_ptr<File>> Open(const std::string& path,
                                             const OpenOptions& options) = 0;

  // kNotFound when there is nothing.
  virtual Result<FileInfo> Stat(const std::string& path) = 0;

  virtual Status Remove(const std::string& path) = 0;

  // Renames a file within its folder, replacing `to` in one step. Open Files stay usable.
  virtual Status Rename(const std::string& from, const std::string& to) = 0;

  // Names (not paths) in a folder, in no particular order, without "." and "..".
  virtual Result<std::vector<std::string>> List(const std::string& folder) = 0;

  // Makes the folder and its missing parents, each 0700 whatever the umask. OK when it exists.
  virtual Status CreateFolders(const std::string& folder) = 0;

  // Makes creations, renames and removals in the folder survive the machine.
  virtual Status SyncFolder(const std::string& folder) = 0;

  // Waits. The in-memory implementation only advances its clock.
  virtual void SleepMicroseconds(std::uint32_t microseconds) = 0;
  virtual std::uint64_t MonotonicMicroseconds() = 0;
  // The same clock, read at less cost and up to ten milliseconds behind. Compare it with itself.
  virtual std::uint64_t RoughMicroseconds() { return MonotonicMicroseconds(); }
};

// Holds a range lock; unlocks when it dies. Movable.
class RangeLock {
 public:
  RangeLock() = default;
  RangeLock(RangeLock&& other) noexcept { *this = std::move(other); }
  RangeLock& operator=(RangeLock&& other) noexcept;
  ~RangeLock() { Release(); }

  bool held() const { return file_ != nullptr; }
  void Release();

 private:
  friend Status LockWithin(FileSystem*, File*, std::uint64_t, std::uint64_t, LockKind,
                           std::uint32_t, RangeLock*);
  File* file_ = nullptr;
  std::uint64_t offset_ = 0;
  std::uint64_t length_ = 0;
};

// Takes the lock, trying again with growing pauses for up to `milliseconds`; kBusy after that.
Status LockWithin(FileSystem* files, File* file, std::uint64_t offset, std::uint64_t length,
                  LockKind kind, std::uint32_t milliseconds, RangeLock* lock);

// Opens a file, trying again with growing pauses for up to `milliseconds` while it is kBusy.
Result<std::unique_ptr<File>> OpenWithin(FileSystem* files, const std::string& path,
                                         const OpenOptions& options, std::uint32_t milliseconds);

// The path itself, or, where the system minds letter case and there is no such name, the one of
// its folder whose name differs in letter case only (the first in byte order when there are
// several); kNotFound.
Result<std::string> FindIgnoringCase(FileSystem* files, const std::string& path);

// Reads a whole file; kLimit when it is larger than `limit` bytes.
Result<std::string> ReadWholeFile(FileSystem* files, const std::string& path, std::uint64_t limit);
Result<std::string> ReadWholeFile(File* file, std::uint64_t limit);

// Replaces a file's content in one step (a new file beside it, synced, then renamed).
Status ReplaceFile(FileSystem* files, const std::string& path, std::string_view content);

// Path handling, both separators understood.
std::string JoinPath(std::string_view folder, std::string_view name);  // one separator between
std::string_view FolderOf(std::string_view path);                      // with its separator, or ""
std::string_view NameOf(std::string_view path);
// The path without the extension of its last component; and that extension with its point, or "".
std::string_view WithoutExtension(std::string_view path);
std::string_view ExtensionOf(std::string_view path);

}  // namespace pv::platform

#endif  // PV_PLATFORM_FILE_SYSTEM_H_
