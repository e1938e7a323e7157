// What every file system shares: waiting for locks, whole-file helpers and paths. Tested by
// file_system_test.cc.
#include "platform/file_system.h"

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "base/text.h"

namespace pv::platform {
namespace {

// Pauses between two tries at a lock: locks are mostly held for microseconds, so the first pause
// is short; the last is short enough that a waiter is not starved by a busy holder.
constexpr std::uint32_t kFirstPause = 20;
constexpr std::uint32_t kLongestPause = 500;

constexpr std::string_view kSeparators = "/\\";

template <typename Try>
Status RetryWhileBusy(FileSystem* files, std::uint32_t milliseconds, Try once) {
  Status status = once();
  if (status.code() != StatusCode::kBusy || milliseconds == 0) return status;
  const std::uint64_t deadline =
      files->MonotonicMicroseconds() + std::uint64_t{milliseconds} * 1000;
  std::uint32_t pause = kFirstPause;
  while (status.code() == StatusCode::kBusy) {
    const std::uint64_t now = files->MonotonicMicroseconds();
    if (now >= deadline) break;
    files->SleepMicroseconds(
        static_cast<std::uint32_t>(std::min<std::uint64_t>(pause, deadline - now)));
    pause = std::min(pause * 2, kLongestPause);
    status = once();
  }
  return status;
}

}  // namespace

Result<std::size_t> File::ReadPieces(std::span<const Piece> pieces, std::size_t size) {
  std::size_t read = 0;
  for (const Piece& p : pieces) {
    PV_ASSIGN_OR_RETURN(const std::size_t got, ReadOnce(p.offset, p.out, size));
    if (got < size) break;
    ++read;
  }
  return read;
}

RangeLock& RangeLock::operator=(RangeLock&& other) noexcept {
  if (this != &other) {
    Release();
    file_ = std::exchange(other.file_, nullptr);
    offset_ = other.offset_;
    length_ = other.length_;
  }
  return *this;
}

void RangeLock::Release() {
  if (file_ == nullptr) return;
  // Nothing can be done about a refusal here: the lock goes when the file is closed.
  (void)file_->Unlock(offset_, length_);
  file_ = nullptr;
}

Status LockWithin(FileSystem* files, File* file, std::uint64_t offset, std::uint64_t length,
                  LockKind kind, std::uint32_t milliseconds, RangeLock* lock) {
  lock->Release();
  PV_RETURN_IF_ERROR(
      RetryWhileBusy(files, milliseconds, [&] { return file->TryLock(offset, length, kind); }));
  lock->file_ = file;
  lock->offset_ = offset;
  lock->length_ = length;
  return Status::Ok();
}

Result<std::unique_ptr<File>> OpenWithin(FileSystem* files, const std::string& path,
                                         const OpenOptions& options, std::uint32_t milliseconds) {
  std::unique_ptr<File> file;
  PV_RETURN_IF_ERROR(RetryWhileBusy(files, milliseconds, [&]() -> Status {
    PV_ASSIGN_OR_RETURN(file, files->Open(path, options));
    return Status::Ok();
  }));
  return file;
}

Result<std::string> FindIgnoringCase(FileSystem* files, const std::string& path) {
  const Result<FileInfo> exact = files->Stat(path);
  if (exact.ok()) return path;
  if (exact.status().code() != StatusCode::kNotFound) return exact.status();
  const std::string folder(FolderOf(path));
  const std::string_view wanted = NameOf(path);
  if (wanted.empty()) return exact.status();
  Result<std::vector<std::string>> names = files->List(folder.empty() ? "." : folder);
  if (!names.ok()) return names.status();
  const std::string* best = nullptr;
  for (const std::string& name : *names) {
    if (EqualsIgnoreCase(name, wanted) && (best == nullptr || name < *best)) best = &name;
  }
  if (best == nullptr) return exact.status();
  return folder + *best;
}

Result<std::string> ReadWholeFile(FileSystem* files, const std::string& path, std::uint64_t limit) {
  OpenOptions options;
  options.read_only = true;
  PV_ASSIGN_OR_RETURN(const std::unique_ptr<File> file, files->Open(path, options));
  return ReadWholeFile(file.get(), limit);
}

Result<std::string> ReadWholeFile(File* file, std::uint64_t limit) {
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, file->Size());
  if (size > limit) {
    return Status::Limit(file->path() + ": " + std::to_string(size) + " bytes, more than the " +
                         std::to_string(limit) + " that are read");
  }
  std::string content(static_cast<std::size_t>(size), '\0');
  PV_ASSIGN_OR_RETURN(const std::size_t got, file->Read(0, content.data(), content.size()));
  content.resize(got);
  return content;
}

Status ReplaceFile(FileSystem* files, const std::string& path, std::string_view content) {
  // A name of its own for each writer, so that two of them never write into one file. It is open
  // to others from the start: the name `path` must at no moment lead to a file that refuses them.
  static std::atomic<std::uint32_t> counter{0};
  OpenOptions options;
  options.create = CreateMode::kCreateNew;
  std::string beside;
  Result<std::unique_ptr<File>> file = Status::Exists(path);
  for (int i = 0; i < 100 && file.status().code() == StatusCode::kExists; ++i) {
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".%08x%04x.tmp",
                  static_cast<unsigned>(files->MonotonicMicroseconds() & 0xFFFFFFFF),
                  static_cast<unsigned>(counter++ & 0xFFFF));
    beside = path + suffix;
    file = files->Open(beside, options);
  }
  if (!file.ok()) return file.status();
  Status status = (*file)->Write(0, content.data(), content.size());
  if (status.ok()) status = (*file)->Sync();
  file->reset();
  if (status.ok()) status = files->Rename(beside, path);
  if (!status.ok()) {
    (void)files->Remove(beside);  // the first failure is the one worth telling
    return status;
  }
  const std::string_view folder = FolderOf(path);
  return files->SyncFolder(folder.empty() ? "." : std::string(folder));
}

std::string JoinPath(std::string_view folder, std::string_view name) {
  const std::size_t start = name.find_first_not_of(kSeparators);
  name = start == std::string_view::npos ? std::string_view() : name.substr(start);
  std::string path(folder);
  if (folder.empty()) return path.append(name);
  if (kSeparators.find(folder.back()) == std::string_view::npos) {
    // The folder's own kind of separator, for messages that show the path.
    const std::size_t last = folder.find_last_of(kSeparators);
    path.push_back(last == std::string_view::npos ? '/' : folder[last]);
  }
  return path.append(name);
}

std::string_view FolderOf(std::string_view path) {
  const std::size_t last = path.find_last_of(kSeparators);
  return last == std::string_view::npos ? std::string_view() : path.substr(0, last + 1);
}

std::string_view NameOf(std::string_view path) { return path.substr(FolderOf(path).size()); }

std::string_view WithoutExtension(std::string_view path) {
  return path.substr(0, path.size() - ExtensionOf(path).size());
}

std::string_view ExtensionOf(std::string_view path) {
  const std::string_view name = NameOf(path);
  const std::size_t point = name.rfind('.');
  // A point in front makes a hidden file, no extension.
  if (point == std::string_view::npos || name.find_first_not_of('.') > point) return {};
  return name.substr(point);
}

}  // namespace pv::platform
