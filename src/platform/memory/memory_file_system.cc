// Files in memory. Tested by memory_file_system_test.cc and, with the same cases as the system's
// own, by file_system_test.cc.
#include "platform/memory/memory_file_system.h"

#include <algorithm>
#include <optional>

namespace pv::platform {
namespace {

constexpr auto kLargestOffset = static_cast<std::uint64_t>(INT64_MAX);

// Links followed in one look-up before it is taken for a ring.
constexpr int kMostLinks = 40;

// Absolute, "/" between the parts, none at the end, no "." and ".."; the working folder is "/".
std::string Normal(std::string_view path) {
  std::string result;
  for (std::size_t pos = 0; pos < path.size();) {
    const std::size_t end = std::min(path.find_first_of("/\\", pos), path.size());
    const std::string_view part = path.substr(pos, end - pos);
    pos = end + 1;
    if (part.empty() || part == ".") continue;
    if (part == "..") {
      result.resize(result.empty() ? 0 : result.rfind('/'));
    } else {
      result.append("/").append(part);
    }
  }
  return result.empty() ? "/" : result;
}

std::string ParentOf(const std::string& normal) {
  const std::size_t last = normal.rfind('/');
  return last == 0 ? "/" : normal.substr(0, last);
}

Status FromFault(Fault fault, const std::string& path) {
  switch (fault) {
    case Fault::kNoSpace:
    case Fault::kShortWrite:
      return Status::NoSpace(path + ": no space left (commanded)");
    case Fault::kIoError:
      return Status::IoError(path + ": input/output error (commanded)");
    case Fault::kBusy:
      return Status::Busy(path + ": in use (commanded)");
    case Fault::kDenied:
      return Status::Denied(path + ": permission denied (commanded)");
  }
  return Status::IoError(path);
}

}  // namespace

// One file's content and who holds what of it. Lives as long as a name or an open File.
struct MemoryFileSystem::Node {
  struct Lock {
    const void* owner;
    std::uint64_t first;
    std::uint64_t last;
    LockKind kind;
  };

  std::uint64_t id = 0;
  std::shared_ptr<std::string> content = std::make_shared<std::string>();
  std::vector<Lock> locks;
  int sharers = 0;
  bool held_alone = false;

  // The content to be changed in place, a copy of its own when an image shares it.
  std::string* Own() {
    if (content.use_count() > 1) content = std::make_shared<std::string>(*content);
    return content.get();
  }

  // Takes what `owner` holds out of [first, last], keeping the parts outside.
  void DropLocks(const void* owner, std::uint64_t first, std::uint64_t last) {
    std::vector<Lock> kept;
    for (const Lock& lock : locks) {
      if (lock.owner != owner || lock.last < first || lock.first > last) {
        kept.push_back(lock);
        continue;
      }
      if (lock.first < first) kept.push_back({owner, lock.first, first - 1, lock.kind});
      if (lock.last > last) kept.push_back({owner, last + 1, lock.last, lock.kind});
    }
    locks = std::move(kept);
  }
};

class MemoryFile : public File {
 public:
  using Node = MemoryFileSystem::Node;

  // The caller holds the mutex and has checked the share mode.
  MemoryFile(MemoryFileSystem* files, std::shared_ptr<Node> node, std::string path, bool read_only,
             ShareMode share)
      : files_(files),
        node_(std::move(node)),
        path_(std::move(path)),
        read_only_(read_only),
        share_(share) {
    if (share_ == ShareMode::kDenyNone) {
      ++node_->sharers;
    } else if (share_ != ShareMode::kUnclaimed) {
      node_->held_alone = true;
    }
    ++files_->open_files_;
  }

  ~MemoryFile() override {
    const std::lock_guard<std::mutex> guard(files_->mutex_);
    node_->DropLocks(this, 0, UINT64_MAX);
    if (share_ == ShareMode::kDenyNone) {
      --node_->sharers;
    } else if (share_ != ShareMode::kUnclaimed) {
      node_->held_alone = false;
    }
    --files_->open_files_;
  }

  Result<std::size_t> Read(std::uint64_t offset, void* out, std::size_t size) override {
    PV_RETURN_IF_ERROR(files_->Begin(Call::kRead, path_));
    const std::lock_guard<std::mutex> guard(files_->mutex_);
    const std::string& content = *node_->content;
    if (offset >= content.size()) return std::size_t{0};
    return content.copy(static_cast<char*>(out), size, static_cast<std::size_t>(offset));
  }

  Status Write(std::uint64_t offset, const void* data, std::size_t size) override {
    bool short_write = false;
    const Status fault = files_->Begin(Call::kWrite, path_, &short_write);
    if (!fault.ok() && !short_write) return fault;
    if (read_only_) return Status::Denied(path_ + ": cannot write: open for reading only");
    if (size == 0) return fault;
    const std::lock_guard<std::mutex> guard(files_->mutex_);
    const std::string_view bytes(static_cast<const char*>(data), short_write ? size / 2 : size);
    PV_RETURN_IF_ERROR(files_->WriteNode(node_.get(), path_, offset, bytes));
    return fault;
  }

  Result<std::uint64_t> Size() override {
    PV_RETURN_IF_ERROR(files_->Begin(Call::kStat, path_));
    const std::lock_guard<std::mutex> guard(files_->mutex_);
    return std::uint64_t{node_->content->size()};
  }

  Status Truncate(std::uint64_t size) override {
    PV_RETURN_IF_ERROR(files_->Begin(Call::kTruncate, path_));
    if (read_only_) return Status::Denied(path_ + ": cannot resize: open for reading only");
    if (size > kLargestOffset) return Status::Invalid(path_ + ": cannot resize: out of range");
    if (size > MemoryFileSystem::kLargestFile) return Status::NoSpace(path_ + ": cannot extend");
    const std::lock_guard<std::mutex> guard(files_->mutex_);
    node_->Own()->resize(static_cast<std::size_t>(size));
    Event event{Event::Kind::kTruncate, node_->id, path_};
    event.size = size;
    files_->Record(std::move(event));
    return Status::Ok();
  }

  Status Sync() override {
    PV_RETURN_IF_ERROR(files_->Begin(Call::kSync, path_));
    const std::lock_guard<std::mutex> guard(files_->mutex_);
    files_->Record({Event::Kind::kSync, node_->id, path_});
    return Status::Ok();
  }

  Status TryLock(std::uint64_t offset, std::uint64_t length, LockKind kind) override {
    PV_RETURN_IF_ERROR(files_->Begin(Call::kLock, path_));
    PV_RETURN_IF_ERROR(CheckRange(offset, length));
    if (kind == LockKind::kExclusive && read_only_) {
      return Status::Denied(path_ + ": cannot lock: open for reading only");
    }
    const std::uint64_t last = offset + length - 1;
    const std::lock_guard<std::mutex> guard(files_->mutex_);
    for (const Node::Lock& lock : node_->locks) {
      if (lock.owner != this && lock.first <= last && lock.last >= offset &&
          (kind == LockKind::kExclusive || lock.kind == LockKind::kExclusive)) {
        return Status::Busy(path_ + ": cannot lock: locked by another");
      }
    }
    node_->DropLocks(this, offset, last);
    node_->locks.push_back({this, offset, last, kind});
    return Status::Ok();
  }

  Status Unlock(std::uint64_t offset, std::uint64_t length) override {
    PV_RETURN_IF_ERROR(CheckRange(offset, length));
    const std::lock_guard<std::mutex> guard(files_->mutex_);
    node_->DropLocks(this, offset, offset + length - 1);
    return Status::Ok();
  }

  bool read_only() const override { return read_only_; }
  const std::string& path() const override { return path_; }

 private:
  Status CheckRange(std::uint64_t offset, std::uint64_t length) const {
    if (length == 0 || offset > kLargestOffset || length - 1 > kLargestOffset - offset) {
      return Status::Invalid(path_ + ": lock range out of bounds");
    }
    return Status::Ok();
  }

  MemoryFileSystem* const files_;
  const std::shared_ptr<Node> node_;
  const std::string path_;
  const bool read_only_;
  const ShareMode share_;
};

// Where a path leads: its normal form with every link followed, and what lies there.
struct MemoryFileSystem::Resolved {
  Status status;          // not OK when links form a ring
  std::string path;       // links followed, the last one too
  std::string link_path;  // the last part not followed
  bool is_link = false;
  std::shared_ptr<Node> node;
  bool is_folder = false;
  bool has_parent = false;
};

MemoryFileSystem::MemoryFileSystem() = default;
MemoryFileSystem::MemoryFileSystem(const MemoryImage& image) { Restore(image); }
MemoryFileSystem::~MemoryFileSystem() = default;

Status MemoryFileSystem::Begin(Call kind, const std::string& path, bool* short_write) {
  Hook hook;
  {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (in_hook_) return Status::Ok();
    if (hook_ && Includes(hook_kinds_, kind)) {
      hook = hook_;
      in_hook_ = true;
    }
  }
  if (hook) {
    hook(kind, path);
    const std::lock_guard<std::mutex> guard(mutex_);
    in_hook_ = false;
  }
  const std::lock_guard<std::mutex> guard(mutex_);
  if (kind == Call::kSleep || !Includes(fault_kinds_, kind)) return Status::Ok();
  ++calls_;
  if (fault_at_ == 0 || calls_ < fault_at_ || (calls_ > fault_at_ && !fault_persistent_)) {
    return Status::Ok();
  }
  ++fault_hits_;
  if (short_write != nullptr) *short_write = fault_ == Fault::kShortWrite;
  return FromFault(fault_, path);
}

bool MemoryFileSystem::IsFolder(const std::string& normal) const {
  return normal == "/" || folders_.contains(normal);
}

MemoryFileSystem::Resolved MemoryFileSystem::Resolve(const std::string& path) const {
  Resolved result;
  std::string rest = Normal(path);
  std::string done;  // resolved so far, "" for "/"
  int links = 0;
  bool passed_link = false;  // the last part of `path` was a link and is being followed
  while (!rest.empty() && rest != "/") {
    const std::size_t end = std::min(rest.find('/', 1), rest.size());
    const std::string part = rest.substr(0, end);
    const std::string after = rest.substr(end);
    const auto link = symlinks_.find(done + part);
    if (after.empty() && !passed_link) {
      result.link_path = done + part;
      result.is_link = link != symlinks_.end();
      passed_link = result.is_link;
    }
    if (link == symlinks_.end()) {
      done += part;
      rest = after;
      continue;
    }
    if (++links > kMostLinks) {
      result.status = Status::Denied(path + ": too many symbolic links");
      return result;
    }
    const bool absolute = link->second.starts_with('/');
    rest = Normal((absolute ? "" : done + "/") + link->second + after);
    done.clear();
  }
  result.path = done.empty() ? "/" : done;
  if (result.link_path.empty()) result.link_path = result.path;
  result.is_folder = IsFolder(result.path);
  result.has_parent = result.path != "/" && IsFolder(ParentOf(result.path));
  if (const auto it = files_.find(result.path); it != files_.end()) result.node = it->second;
  return result;
}

void MemoryFileSystem::Record(Event event) {
  if (recording_) events_.push_back(std::move(event));
}

std::shared_ptr<MemoryFileSystem::Node> MemoryFileSystem::CreateNode(const std::string& normal) {
  auto node = std::make_shared<Node>();
  node->id = next_id_++;
  files_[normal] = node;
  Record({Event::Kind::kCreate, node->id, normal});
  return node;
}

Status MemoryFileSystem::WriteNode(Node* node, const std::string& path, std::uint64_t offset,
                                   std::string_view bytes) {
  if (offset > kLargestOffset || bytes.size() > kLargestOffset - offset) {
    return Status::Invalid(path + ": cannot write: offset out of range");
  }
  if (offset + bytes.size() > kLargestFile) {
    return Status::NoSpace(path + ": cannot write: larger than this file system takes");
  }
  const auto begin = static_cast<std::size_t>(offset);
  std::string* const content = node->Own();
  if (content->size() < begin + bytes.size()) content->resize(begin + bytes.size());
  bytes.copy(content->data() + begin, bytes.size());
  if (recording_) {
    Event event{Event::Kind::kWrite, node->id, path};
    event.offset = offset;
    event.size = bytes.size();
    event.bytes = bytes;
    events_.push_back(std::move(event));
  }
  return Status::Ok();
}

Result<std::unique_ptr<File>> MemoryFileSystem::Open(const std::string& path,
                                                     const OpenOptions& options) {
  PV_RETURN_IF_ERROR(Begin(Call::kOpen, path));
  if (path.empty() || path.find('\0') != std::string::npos) {
    return Status::Invalid("a file name is empty or holds a zero character");
  }
  const std::lock_guard<std::mutex> guard(mutex_);
  const Resolved found = Resolve(path);
  PV_RETURN_IF_ERROR(found.status);
  std::shared_ptr<Node> node = found.node;
  if (options.create == CreateMode::kCreateNew &&
      (node != nullptr || found.is_link || found.is_folder)) {
    return Status::Exists(path + ": cannot create: it exists");
  }
  if (found.is_folder) return Status::Invalid(path + ": cannot open: not a regular file");
  if (node == nullptr) {
    if (options.create == CreateMode::kOpenExisting || !found.has_parent) {
      return Status::NotFound(path + ": cannot open: no such file or folder");
    }
    if (found.is_link) {
      return Status::Denied(path + ": cannot create through a symbolic link");
    }
    if (read_only_) return Status::Denied(path + ": cannot create: read-only file system");
    node = CreateNode(found.path);
  }
  const bool claims = options.share != ShareMode::kUnclaimed;
  const bool alone = claims && options.share != ShareMode::kDenyNone;
  if ((claims && node->held_alone) || (alone && node->sharers > 0)) {
    return Status::Busy(path + ": cannot open: in use by another");
  }
  return std::unique_ptr<File>(std::make_unique<MemoryFile>(
      this, std::move(node), found.path, options.read_only || read_only_, options.share));
}

Result<FileInfo> MemoryFileSystem::Stat(const std::string& path) {
  PV_RETURN_IF_ERROR(Begin(Call::kStat, path));
  if (path.empty()) return Status::Invalid("a file name is empty");
  const std::lock_guard<std::mutex> guard(mutex_);
  const Resolved found = Resolve(path);
  PV_RETURN_IF_ERROR(found.status);
  if (found.node == nullptr && !found.is_folder) {
    return Status::NotFound(path + ": no such file or folder");
  }
  FileInfo info;
  info.is_directory = found.is_folder;
  info.is_symlink = found.is_link;
  info.size = found.node != nullptr ? found.node->content->size() : 0;
  return info;
}

Status MemoryFileSystem::Remove(const std::string& path) {
  PV_RETURN_IF_ERROR(Begin(Call::kRemove, path));
  if (path.empty()) return Status::Invalid("a file name is empty");
  const std::lock_guard<std::mutex> guard(mutex_);
  const Resolved found = Resolve(path);
  PV_RETURN_IF_ERROR(found.status);
  if (read_only_) return Status::Denied(path + ": cannot remove: read-only file system");
  if (found.is_link) {
    symlinks_.erase(found.link_path);
    return Status::Ok();
  }
  if (found.is_folder) return Status::Invalid(path + ": cannot remove: it is a folder");
  if (found.node == nullptr) return Status::NotFound(path + ": cannot remove: no such file");
  Record({Event::Kind::kRemove, found.node->id, found.path});
  files_.erase(found.path);
  return Status::Ok();
}

Status MemoryFileSystem::Rename(const std::string& from, const std::string& to) {
  PV_RETURN_IF_ERROR(Begin(Call::kRename, from));
  if (from.empty() || to.empty()) return Status::Invalid("a file name is empty");
  const std::lock_guard<std::mutex> guard(mutex_);
  const Resolved source = Resolve(from);
  const Resolved target = Resolve(to);
  PV_RETURN_IF_ERROR(source.status);
  if (source.node == nullptr || source.is_link) {
    return Status::NotFound(from + ": cannot rename: no such file");
  }
  if (target.is_folder) return Status::Invalid(to + ": cannot rename: it is a folder");
  if (!target.is_link && !target.has_parent) {
    return Status::NotFound(to + ": cannot rename: no such folder");
  }
  if (read_only_) return Status::Denied(from + ": cannot rename: read-only file system");
  // A link under the new name is itself replaced, not what it leads to.
  if (source.path == target.link_path) return Status::Ok();
  symlinks_.erase(target.link_path);
  Event event{Event::Kind::kRename, source.node->id, source.path};
  event.to = target.link_path;
  Record(std::move(event));
  files_.erase(source.path);
  files_[target.link_path] = source.node;
  return Status::Ok();
}

Result<std::vector<std::string>> MemoryFileSystem::List(const std::string& folder) {
  PV_RETURN_IF_ERROR(Begin(Call::kList, folder));
  if (folder.empty()) return Status::Invalid("a folder name is empty");
  const std::lock_guard<std::mutex> guard(mutex_);
  const Resolved found = Resolve(folder);
  PV_RETURN_IF_ERROR(found.status);
  if (!found.is_folder) return Status::NotFound(folder + ": cannot list: no such folder");
  std::vector<std::string> names;
  const auto add = [&](const std::string& path) {
    if (ParentOf(path) == found.path) names.emplace_back(NameOf(path));
  };
  for (const auto& [path, node] : files_) add(path);
  for (const auto& [path, target] : symlinks_) add(path);
  for (const std::string& path : folders_) add(path);
  return names;
}

void MemoryFileSystem::MakeFolders(const std::string& normal) {
  if (IsFolder(normal)) return;
  MakeFolders(ParentOf(normal));
  folders_.insert(normal);
  Record({Event::Kind::kCreateFolder, 0, normal});
}

Status MemoryFileSystem::CreateFolders(const std::string& folder) {
  PV_RETURN_IF_ERROR(Begin(Call::kCreateFolder, folder));
  if (folder.empty()) return Status::Invalid("a folder name is empty");
  const std::lock_guard<std::mutex> guard(mutex_);
  const Resolved found = Resolve(folder);
  PV_RETURN_IF_ERROR(found.status);
  if (found.is_folder) return Status::Ok();
  for (std::string part = found.path; part != "/"; part = ParentOf(part)) {
    if (files_.contains(part)) {
      return Status::Exists(part + ": cannot make the folder: a file has the name");
    }
  }
  if (found.is_link) return Status::NotFound(folder + ": cannot make the folder: a broken link");
  if (read_only_) return Status::Denied(folder + ": cannot make the folder: read-only");
  MakeFolders(found.path);
  return Status::Ok();
}

Status MemoryFileSystem::SyncFolder(const std::string& folder) {
  PV_RETURN_IF_ERROR(Begin(Call::kSync, folder));
  if (folder.empty()) return Status::Invalid("a folder name is empty");
  const std::lock_guard<std::mutex> guard(mutex_);
  const Resolved found = Resolve(folder);
  PV_RETURN_IF_ERROR(found.status);
  if (!found.is_folder) return Status::NotFound(folder + ": cannot sync: no such folder");
  Record({Event::Kind::kSyncFolder, 0, found.path});
  return Status::Ok();
}

void MemoryFileSystem::SleepMicroseconds(std::uint32_t microseconds) {
  (void)Begin(Call::kSleep, "");
  const std::lock_guard<std::mutex> guard(mutex_);
  clock_ += microseconds;
}

std::uint64_t MemoryFileSystem::MonotonicMicroseconds() {
  const std::lock_guard<std::mutex> guard(mutex_);
  return clock_;
}

void MemoryFileSystem::Put(const std::string& path, std::string_view content) {
  const std::lock_guard<std::mutex> guard(mutex_);
  const Resolved found = Resolve(path);
  MakeFolders(ParentOf(found.path));
  const std::shared_ptr<Node> node = found.node != nullptr ? found.node : CreateNode(found.path);
  node->Own()->clear();
  Record({Event::Kind::kTruncate, node->id, found.path});
  (void)WriteNode(node.get(), found.path, 0, content);
}

std::string MemoryFileSystem::Get(const std::string& path) {
  const std::lock_guard<std::mutex> guard(mutex_);
  const Resolved found = Resolve(path);
  return found.node != nullptr ? *found.node->content : std::string();
}

bool MemoryFileSystem::Has(const std::string& path) {
  const std::lock_guard<std::mutex> guard(mutex_);
  const Resolved found = Resolve(path);
  return found.node != nullptr || found.is_folder;
}

void MemoryFileSystem::PlantSymlink(const std::string& path, const std::string& target) {
  const std::lock_guard<std::mutex> guard(mutex_);
  const std::string normal = Normal(path);
  MakeFolders(ParentOf(normal));
  symlinks_[normal] = target;
}

void MemoryFileSystem::SetReadOnly(bool read_only) {
  const std::lock_guard<std::mutex> guard(mutex_);
  read_only_ = read_only;
}

int MemoryFileSystem::OpenFileCount() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return open_files_;
}

MemoryImage MemoryFileSystem::SnapshotLocked() const {
  MemoryImage image;
  for (const auto& [path, node] : files_) image.files[path] = {node->id, node->content};
  image.folders = folders_;
  image.symlinks = symlinks_;
  return image;
}

MemoryImage MemoryFileSystem::Snapshot() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return SnapshotLocked();
}

void MemoryFileSystem::Restore(const MemoryImage& image) {
  const std::lock_guard<std::mutex> guard(mutex_);
  files_.clear();
  folders_ = image.folders;
  symlinks_ = image.symlinks;
  for (const auto& [path, file] : image.files) {
    auto node = std::make_shared<Node>();
    node->id = next_id_++;
    // Shared with the image until either side writes; Own() never changes what is shared.
    node->content = std::const_pointer_cast<std::string>(file.content);
    files_[path] = std::move(node);
  }
  recording_ = true;
  events_.clear();
  recording_base_ = SnapshotLocked();
}

void MemoryFileSystem::StartRecording() {
  const std::lock_guard<std::mutex> guard(mutex_);
  recording_ = true;
  events_.clear();
  recording_base_ = SnapshotLocked();
}

void MemoryFileSystem::StopRecording() {
  const std::lock_guard<std::mutex> guard(mutex_);
  recording_ = false;
}

void MemoryFileSystem::FailCall(std::uint64_t n, Call kinds, Fault fault, bool persistent) {
  const std::lock_guard<std::mutex> guard(mutex_);
  fault_at_ = n;
  fault_kinds_ = kinds;
  fault_ = fault;
  fault_persistent_ = persistent;
  fault_hits_ = 0;
  calls_ = 0;
}

void MemoryFileSystem::ClearFault() {
  const std::lock_guard<std::mutex> guard(mutex_);
  fault_at_ = 0;
  fault_kinds_ = Call::kAny;
  fault_hits_ = 0;
  calls_ = 0;
}

void MemoryFileSystem::SetHook(Call kinds, Hook hook) {
  const std::lock_guard<std::mutex> guard(mutex_);
  hook_kinds_ = kinds;
  hook_ = std::move(hook);
}

}  // namespace pv::platform
