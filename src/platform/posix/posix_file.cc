// Reading, writing and locking one open file. Tested by file_system_test.cc and
// posix_file_system_test.cc.
//
// Range locks are open-file-description locks. Classic fcntl locks belong to the process: two
// opens of a file in one process would never conflict, and closing any descriptor of the file,
// even one that another library opened, would drop them all. These belong to the open file, cure
// both, and still conflict with the classic locks of other programs, so that those keep out.
#include "platform/posix/posix_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/posix/from_errno.h"

namespace pv::platform {
namespace {

constexpr auto kLargestOffset = static_cast<std::uint64_t>(INT64_MAX);

static_assert(sizeof(off_t) == 8, "file offsets must have 64 bits");

}  // namespace

PosixFile::~PosixFile() {
  // Not tried again when interrupted: the descriptor is gone either way.
  ::close(descriptor_);
}

Status PosixFile::RefreshSize() {
  struct stat info;
  if (::fstat(descriptor_, &info) != 0) return FromErrno(errno, path_, "cannot tell the size");
  known_size_ = static_cast<std::uint64_t>(info.st_size);
  return Status::Ok();
}

Result<std::uint64_t> PosixFile::Size() {
  PV_RETURN_IF_ERROR(RefreshSize());
  return known_size_;
}

Result<std::size_t> PosixFile::ReadThrough(MappedRegion* region, std::uint64_t offset, void* out,
                                           std::size_t size) {
  if (!mapped_ || size > MappedRegion::kLongestCopy) return ReadCall(offset, out, size);
  if (WithinKnownSize(offset, size) && region->Cover(descriptor_, offset + size, !read_only_)) {
    if (!region->Admit(offset, size)) return ReadCall(offset, out, size);
    if (region->CopyOut(offset, out, size)) return size;
  }
  return ReadPastKnownSize(region, offset, out, size);
}

Result<std::size_t> PosixFile::ReadPieces(std::span<const Piece> pieces, std::size_t size) {
  std::size_t read = 0;
  while (read < pieces.size()) {
    const std::span<const Piece> rest = pieces.subspan(read);
    std::size_t together = 0;
    if (mapped_ && WithinKnownSize(rest.front().offset, size) &&
        passing_.Cover(descriptor_, known_size_, !read_only_)) {
      together = passing_.CopyOutMany(rest, size, known_size_);
    }
    if (together == 0) {
      PV_ASSIGN_OR_RETURN(const std::size_t got,
                          ReadOnce(rest.front().offset, rest.front().out, size));
      if (got < size) break;
      together = 1;
    }
    read += together;
  }
  return read;
}

Result<std::size_t> PosixFile::ReadPastKnownSize(MappedRegion* region, std::uint64_t offset,
                                                 void* out, std::size_t size) {
  PV_RETURN_IF_ERROR(RefreshSize());
  if (offset >= known_size_) return std::size_t{0};
  size = static_cast<std::size_t>(std::min<std::uint64_t>(size, known_size_ - offset));
  if (region->Cover(descriptor_, known_size_, !read_only_) && region->Admit(offset, size) &&
      region->CopyOut(offset, out, size)) {
    return size;
  }
  return ReadCall(offset, out, size);
}

Result<std::size_t> PosixFile::ReadCall(std::uint64_t offset, void* out, std::size_t size) {
  std::size_t done = 0;
  while (done < size && offset <= kLargestOffset - done) {
    const ssize_t got = RetryInterrupted([&] {
      return ::pread(descriptor_, static_cast<char*>(out) + done, size - done,
                     static_cast<off_t>(offset + done));
    });
    if (got < 0) return FromErrno(errno, path_, "cannot read");
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

Status PosixFile::Write(std::uint64_t offset, const void* data, std::size_t size) {
  if (read_only_) return Status::Denied(path_ + ": cannot write: open for reading only");
  if (size == 0) return Status::Ok();
  if (offset > kLargestOffset || size > kLargestOffset - offset) {
    return Status::Invalid(path_ + ": cannot write: offset out of range");
  }
  if (mapped_ && size <= MappedRegion::kLongestCopy && WithinKnownSize(offset, size) &&
      region_.Cover(descriptor_, offset + size, true) && region_.Admit(offset, size)) {
    if (region_.CopyIn(offset, data, size)) return Status::Ok();
    // The file was cut short, or has a hole here that cannot be filled. The call below says why
    // in the second case; in the first it would put back what somebody took away.
    PV_RETURN_IF_ERROR(RefreshSize());
    if (!WithinKnownSize(offset, size)) {
      return Status::IoError(path_ + ": cannot write: the file was cut short while it was open");
    }
  }
  return WriteCall(offset, data, size);
}

Status PosixFile::WriteCall(std::uint64_t offset, const void* data, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t put = RetryInterrupted([&] {
      return ::pwrite(descriptor_, static_cast<const char*>(data) + done, size - done,
                      static_cast<off_t>(offset + done));
    });
    if (put < 0) return FromErrno(errno, path_, "cannot write");
    if (put == 0) return Status::IoError(path_ + ": cannot write: nothing was taken");
    done += static_cast<std::size_t>(put);
  }
  known_size_ = std::max(known_size_, offset + size);
  return Status::Ok();
}

Status PosixFile::Truncate(std::uint64_t size) {
  if (read_only_) return Status::Denied(path_ + ": cannot resize: open for reading only");
  if (size > kLargestOffset) return Status::Invalid(path_ + ": cannot resize: size out of range");
  PV_RETURN_IF_ERROR(RefreshSize());
  if (size > known_size_) {
    // Not posix_fallocate: where the system cannot allocate, that writes into the file itself,
    // over what others write at the same time.
    const int result = RetryInterrupted([&] {
      return ::fallocate(descriptor_, 0, static_cast<off_t>(known_size_),
                         static_cast<off_t>(size - known_size_));
    });
    if (result == 0) {
      known_size_ = size;
      return Status::Ok();
    }
    if (errno != EOPNOTSUPP && errno != ENOSYS) {
      const Status failure = FromErrno(errno, path_, "cannot extend");
      // Give back what was allocated before the space ran out.
      (void)RetryInterrupted(
          [&] { return ::ftruncate(descriptor_, static_cast<off_t>(known_size_)); });
      return failure;
    }
  }
  if (RetryInterrupted([&] { return ::ftruncate(descriptor_, static_cast<off_t>(size)); }) != 0) {
    return FromErrno(errno, path_, "cannot resize");
  }
  known_size_ = size;
  return Status::Ok();
}

void PosixFile::StartSync() {
#ifdef SYNC_FILE_RANGE_WRITE
  (void)::sync_file_range(descriptor_, 0, 0, SYNC_FILE_RANGE_WRITE);
#endif
}

Status PosixFile::Sync() {
  // Writes out what was copied into the mapping, too.
  if (RetryInterrupted([&] { return ::fdatasync(descriptor_); }) != 0) {
    return FromErrno(errno, path_, "cannot sync");
  }
  return Status::Ok();
}

Status PosixFile::SetLock(std::uint64_t offset, std::uint64_t length, short type,
                          const char* doing) {
  // A length of zero would mean "to the end" to the system.
  if (length == 0 || offset > kLargestOffset || length - 1 > kLargestOffset - offset) {
    return Status::Invalid(path_ + ": " + doing + ": range out of bounds");
  }
  struct flock range = {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = static_cast<off_t>(offset);
  range.l_len = static_cast<off_t>(length);
  if (RetryInterrupted([&] { return ::fcntl(descriptor_, F_OFD_SETLK, &range); }) == 0) {
    return Status::Ok();
  }
  return FromErrno(errno, path_, doing, ErrnoSource::kLock);
}

Status PosixFile::TryLock(std::uint64_t offset, std::uint64_t length, LockKind kind) {
  if (kind == LockKind::kShared) return SetLock(offset, length, F_RDLCK, "cannot lock");
  if (read_only_) return Status::Denied(path_ + ": cannot lock: open for reading only");
  return SetLock(offset, length, F_WRLCK, "cannot lock");
}

Status PosixFile::Unlock(std::uint64_t offset, std::uint64_t length) {
  return SetLock(offset, length, F_UNLCK, "cannot unlock");
}

}  // namespace pv::platform
