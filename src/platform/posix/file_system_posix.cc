// Names, folders and opening on POSIX systems. Tested by file_system_test.cc and
// posix_file_system_test.cc.
#include "platform/posix/file_system_posix.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/posix/from_errno.h"
#include "platform/posix/posix_file.h"

namespace pv::platform {
namespace {

constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;

// How often an open starts again because the name moved on meanwhile.
constexpr int kOpenTries = 100;

// O_NONBLOCK: opening a pipe that lies under the name must not wait for its other end.
constexpr int kAlways = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return number_; }
  int release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

Status CheckPath(const std::string& path) {
  if (path.empty()) return Status::Invalid("a file name is empty");
  if (path.find('\0') != std::string::npos) {
    return Status::Invalid(path.substr(0, path.find('\0')) + ": the name holds a zero character");
  }
  return Status::Ok();
}

int OpenCall(const std::string& path, int flags) {
  return RetryInterrupted([&] { return ::open(path.c_str(), flags | kAlways, kFileMode); });
}

bool IsRefusal(int error) {
  return error == EACCES || error == EPERM || error == EROFS || error == ETXTBSY;
}

// What one try at an open gave: a descriptor, or -1 with errno in `error`.
struct Opened {
  int descriptor = -1;
  int error = 0;
  bool created = false;
  bool read_only = false;
};

Opened OpenExisting(const std::string& path, bool read_only) {
  Opened opened;
  opened.read_only = read_only;
  opened.descriptor = OpenCall(path, read_only ? O_RDONLY : O_RDWR);
  opened.error = errno;
  if (opened.descriptor < 0 && !read_only && IsRefusal(opened.error)) {
    opened.descriptor = OpenCall(path, O_RDONLY);
    opened.read_only = true;
    // When that fails too, the first refusal is the one to tell.
  }
  return opened;
}

Opened Create(const std::string& path, bool read_only) {
  Opened opened;
  opened.read_only = read_only;
  // O_EXCL fails on any link under the name, so nothing is created through one.
  opened.descriptor =
      OpenCall(path, (read_only ? O_RDONLY : O_RDWR) | O_CREAT | O_EXCL | O_NOFOLLOW);
  opened.error = errno;
  opened.created = opened.descriptor >= 0;
  return opened;
}

bool IsLink(const std::string& path) {
  struct stat info;
  return ::lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

}  // namespace

std::string PosixPath(const std::string& path) {
  std::string result = path;
  std::replace(result.begin(), result.end(), '\\', '/');
  return result;
}

Result<std::unique_ptr<File>> PosixFileSystem::Open(const std::string& given,
                                                    const OpenOptions& options) {
  const std::string path = PosixPath(given);
  PV_RETURN_IF_ERROR(CheckPath(path));
  for (int tries = 0; tries < kOpenTries; ++tries) {
    Opened opened;
    if (options.create != CreateMode::kCreateNew) {
      opened = OpenExisting(path, options.read_only);
    }
    if (options.create == CreateMode::kCreateNew ||
        (opened.descriptor < 0 && opened.error == ENOENT &&
         options.create == CreateMode::kOpenOrCreate)) {
      opened = Create(path, options.read_only);
      if (opened.error == EEXIST && options.create == CreateMode::kOpenOrCreate &&
          opened.descriptor < 0) {
        if (IsLink(path)) return FromErrno(ELOOP, path, "cannot create through a symbolic link");
        continue;  // somebody was quicker: open theirs
      }
    }
    if (opened.descriptor < 0) {
      return FromErrno(opened.error, path,
                       options.create == CreateMode::kCreateNew ? "cannot create" : "cannot open");
    }
    Descriptor descriptor(opened.descriptor);
    if (opened.created && ::fchmod(descriptor.get(), kFileMode) != 0) {
      return FromErrno(errno, path, "cannot set the permissions");
    }
    const int share = options.share == ShareMode::kDenyNone ? LOCK_SH : LOCK_EX;
    if (options.share != ShareMode::kUnclaimed &&
        RetryInterrupted([&] { return ::flock(descriptor.get(), share | LOCK_NB); }) != 0) {
      return FromErrno(errno, path, "cannot open: in use by another program", ErrnoSource::kLock);
    }
    struct stat held;
    if (::fstat(descriptor.get(), &held) != 0) return FromErrno(errno, path, "cannot open");
    if (!S_ISREG(held.st_mode)) {
      return Status::Invalid(path + ": cannot open: not a regular file");
    }
    // Between the open and the share mode the file may have been replaced: what is held then has
    // no name any more, and what is written into it would be lost.
    struct stat named;
    if (::stat(path.c_str(), &named) != 0 || named.st_ino != held.st_ino ||
        named.st_dev != held.st_dev) {
      continue;
    }
    return std::unique_ptr<File>(
        std::make_unique<PosixFile>(descriptor.release(), path, opened.read_only, options.mapped,
                                    static_cast<std::uint64_t>(held.st_size)));
  }
  return Status::Busy(path + ": cannot open: the file is being replaced again and again");
}

Result<FileInfo> PosixFileSystem::Stat(const std::string& given) {
  const std::string path = PosixPath(given);
  PV_RETURN_IF_ERROR(CheckPath(path));
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return FromErrno(errno, path, "cannot look up");
  FileInfo result;
  result.is_directory = S_ISDIR(info.st_mode);
  result.is_symlink = IsLink(path);
  result.size = S_ISREG(info.st_mode) ? static_cast<std::uint64_t>(info.st_size) : 0;
  return result;
}

Status PosixFileSystem::Remove(const std::string& given) {
  const std::string path = PosixPath(given);
  PV_RETURN_IF_ERROR(CheckPath(path));
  if (::unlink(path.c_str()) != 0) return FromErrno(errno, path, "cannot remove");
  return Status::Ok();
}

Status PosixFileSystem::Rename(const std::string& from, const std::string& to) {
  const std::string old_path = PosixPath(from);
  const std::string new_path = PosixPath(to);
  PV_RETURN_IF_ERROR(CheckPath(old_path));
  PV_RETURN_IF_ERROR(CheckPath(new_path));
  if (::rename(old_path.c_str(), new_path.c_str()) != 0) {
    return FromErrno(errno, old_path, "cannot rename to " + new_path);
  }
  return Status::Ok();
}

Result<std::vector<std::string>> PosixFileSystem::List(const std::string& given) {
  const std::string folder = PosixPath(given);
  PV_RETURN_IF_ERROR(CheckPath(folder));
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(folder.c_str()), &::closedir);
  if (stream == nullptr) return FromErrno(errno, folder, "cannot list");
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(stream.get());
    if (entry == nullptr) {
      if (errno != 0) return FromErrno(errno, folder, "cannot list");
      return names;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
}

Status PosixFileSystem::CreateFolders(const std::string& given) {
  const std::string folder = PosixPath(given);
  PV_RETURN_IF_ERROR(CheckPath(folder));
  std::size_t end = 0;
  while (end < folder.size()) {
    const std::size_t start = folder.find_first_not_of('/', end);
    if (start == std::string::npos) break;
    end = std::min(folder.find('/', start), folder.size());
    const std::string part = folder.substr(0, end);
    if (::mkdir(part.c_str(), kFolderMode) == 0) {
      if (::chmod(part.c_str(), kFolderMode) != 0) {
        return FromErrno(errno, part, "cannot set the permissions");
      }
      continue;
    }
    // On a read-only file system the refusal may come before the news that it exists.
    const int error = errno;
    struct stat info;
    if (::stat(part.c_str(), &info) != 0) return FromErrno(error, part, "cannot make the folder");
    if (!S_ISDIR(info.st_mode)) {
      return Status::Exists(part + ": cannot make the folder: a file has the name");
    }
  }
  return Status::Ok();
}

Status PosixFileSystem::SyncFolder(const std::string& given) {
  const std::string folder = PosixPath(given);
  PV_RETURN_IF_ERROR(CheckPath(folder));
  const Descriptor descriptor(OpenCall(folder, O_RDONLY | O_DIRECTORY));
  if (descriptor.get() < 0) return FromErrno(errno, folder, "cannot sync");
  // EINVAL: a file system that has nothing to sync for a folder.
  if (RetryInterrupted([&] { return ::fsync(descriptor.get()); }) != 0 && errno != EINVAL) {
    return FromErrno(errno, folder, "cannot sync");
  }
  return Status::Ok();
}

void PosixFileSystem::SleepMicroseconds(std::uint32_t microseconds) {
  timespec left;
  left.tv_sec = microseconds / 1'000'000;
  left.tv_nsec = static_cast<long>(microseconds % 1'000'000) * 1000;
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

namespace {

std::uint64_t Microseconds(clockid_t clock) {
  timespec now;
  ::clock_gettime(clock, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000;
}

}  // namespace

std::uint64_t PosixFileSystem::MonotonicMicroseconds() { return Microseconds(CLOCK_MONOTONIC); }

std::uint64_t PosixFileSystem::RoughMicroseconds() { return Microseconds(CLOCK_MONOTONIC_COARSE); }

}  // namespace pv::platform
