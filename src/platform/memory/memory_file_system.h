// A file system in memory: the ground of crash, fault and sharing tests. It keeps the whole
// contract of the seam, minds letter case in names, records every change in order, and fails calls
// on command.
#ifndef PV_PLATFORM_MEMORY_MEMORY_FILE_SYSTEM_H_
#define PV_PLATFORM_MEMORY_MEMORY_FILE_SYSTEM_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_system.h"
#include "platform/memory/memory_image.h"

namespace pv::platform {

// Kinds of calls, to be joined with |.
enum class Call : std::uint32_t {
  kOpen = 1,
  kRead = 2,
  kWrite = 4,
  kTruncate = 8,
  kSync = 16,  // of a file or a folder
  kLock = 32,  // TryLock; unlocking never fails
  kRename = 64,
  kRemove = 128,
  kStat = 256,  // also File::Size
  kList = 512,
  kCreateFolder = 1024,
  kSleep = 2048,  // shown to hooks, never failed nor counted in kAny
  kChange = kWrite | kTruncate | kSync | kRename | kRemove | kCreateFolder,
  kAny = 2047,
};
constexpr Call operator|(Call a, Call b) {
  return static_cast<Call>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
constexpr bool Includes(Call kinds, Call kind) {
  return (static_cast<std::uint32_t>(kinds) & static_cast<std::uint32_t>(kind)) != 0;
}

enum class Fault : std::uint8_t {
  kNoSpace,
  kIoError,
  kShortWrite,  // half of the bytes are written, then kNoSpace; as kNoSpace for other calls
  kBusy,
  kDenied,
};

// One change, as recorded.
struct Event {
  enum class Kind : std::uint8_t {
    kCreate,
    kWrite,
    kTruncate,
    kSync,
    kRename,
    kRemove,
    kCreateFolder,
    kSyncFolder,
  };
  Kind kind;
  std::uint64_t file = 0;    // the file's identity; 0 for folders
  std::string path;          // normal form; as opened, for changes made through an open file
  std::string to = {};       // kRename
  std::uint64_t offset = 0;  // kWrite
  std::uint64_t size = 0;    // kWrite: of `bytes`; kTruncate: the new size
  std::string bytes = {};    // kWrite
};

// Different Files may be used by different threads; the methods that are not of the seam are for
// one thread while no other uses the file system. All Files must be gone before it dies.
class MemoryFileSystem : public FileSystem {
 public:
  // The most bytes that one file can have; more is kNoSpace.
  static constexpr std::uint64_t kLargestFile = std::uint64_t{1} << 30;

  MemoryFileSystem();
  explicit MemoryFileSystem(const MemoryImage& image);
  ~MemoryFileSystem() override;

  Result<std::unique_ptr<File>> Open(const std::string& path, const OpenOptions& options) override;
  Result<FileInfo> Stat(const std::string& path) override;
  Status Remove(const std::string& path) override;
  Status Rename(const std::string& from, const std::string& to) override;
  Result<std::vector<std::string>> List(const std::string& folder) override;
  Status CreateFolders(const std::string& folder) override;
  Status SyncFolder(const std::string& folder) override;
  // Advances the clock only.
  void SleepMicroseconds(std::uint32_t microseconds) override;
  std::uint64_t MonotonicMicroseconds() override;

  // Setting the scene; neither counted nor failed. Missing folders are made.
  void Put(const std::string& path, std::string_view content);  // recorded as changes
  std::string Get(const std::string& path);                     // "" when there is none
  bool Has(const std::string& path);
  void PlantSymlink(const std::string& path, const std::string& target);
  // From now on nothing can be created, renamed, removed or opened for writing.
  void SetReadOnly(bool read_only);
  int OpenFileCount() const;

  // Whole state, without locks and open files. Files open at a Restore keep what they have, but
  // no name leads to them any more. Restore begins a new recording.
  MemoryImage Snapshot() const;
  void Restore(const MemoryImage& image);

  // The changes since construction, the last Restore or StartRecording; see CrashReplay.
  void StartRecording();
  void StopRecording();
  const std::vector<Event>& Events() const { return events_; }
  const MemoryImage& RecordingBase() const { return recording_base_; }

  // Fails the n-th call from now on (from 1) of the given kinds; with `persistent` it and all
  // later ones. Replaces an earlier fault and starts the count anew. A loop over every place:
  //   for (int n = 1;; ++n) { ...restore...; files.FailCall(n, kinds, fault); ...work...;
  //     if (!files.FaultHit()) break; ... }
  void FailCall(std::uint64_t n, Call kinds, Fault fault, bool persistent = false);
  void ClearFault();
  // True when a call has failed by command since FailCall.
  bool FaultHit() const { return fault_hits_ > 0; }
  // Calls of the fault's kinds since FailCall; without a fault, of every kind since ClearFault.
  std::uint64_t CallCount() const { return calls_; }

  // Called before each call of the given kinds, with the path as given (or as opened). What the
  // hook itself does is neither shown to it, nor counted, nor failed: another program can act at
  // any point of the one under test. An empty function takes it off.
  using Hook = std::function<void(Call kind, const std::string& path)>;
  void SetHook(Call kinds, Hook hook);

 private:
  friend class MemoryFile;
  struct Node;
  struct Resolved;

  Status Begin(Call kind, const std::string& path, bool* short_write = nullptr);
  Resolved Resolve(const std::string& path) const;
  bool IsFolder(const std::string& normal) const;
  void Record(Event event);
  std::shared_ptr<Node> CreateNode(const std::string& normal);
  Status WriteNode(Node* node, const std::string& path, std::uint64_t offset,
                   std::string_view bytes);
  void MakeFolders(const std::string& normal);
  MemoryImage SnapshotLocked() const;

  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<Node>> files_;
  std::set<std::string> folders_;
  std::map<std::string, std::string> symlinks_;
  std::uint64_t next_id_ = 1;
  std::uint64_t clock_ = 1'000'000;
  bool read_only_ = false;
  int open_files_ = 0;

  bool recording_ = true;
  std::vector<Event> events_;
  MemoryImage recording_base_;

  Call fault_kinds_ = Call::kAny;
  Fault fault_ = Fault::kIoError;
  std::uint64_t fault_at_ = 0;  // 0: none
  bool fault_persistent_ = false;
  std::uint64_t fault_hits_ = 0;
  std::uint64_t calls_ = 0;

  Call hook_kinds_ = Call::kAny;
  Hook hook_;
  bool in_hook_ = false;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_MEMORY_MEMORY_FILE_SYSTEM_H_
