// Reading, writing and locking one open file on Windows. Tested by file_system_test.cc.
//
// The system's range locks belong to the handle, as they should, but can neither be converted nor
// released in part, and two overlapping ones of one handle conflict with each other. So each file
// keeps the list of what it holds; a range that overlaps it is locked by releasing those, locking
// the new one, and locking again what lay outside it. That is not one step: between them another
// file may come first, which then shows as kBusy.
#include "platform/win32/win32_file.h"

#include <algorithm>

namespace pv::platform {
namespace {

constexpr auto kLargestOffset = static_cast<std::uint64_t>(INT64_MAX);
constexpr std::size_t kLongestCall = std::size_t{1} << 30;

OVERLAPPED At(std::uint64_t offset) {
  OVERLAPPED position = {};
  position.Offset = static_cast<DWORD>(offset);
  position.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return position;
}

}  // namespace

Win32File::~Win32File() {
  // The system gives up the locks of a file that is closed, but at a time of its own.
  for (const Range& range : held_) UnlockCall(range);
}

Result<std::size_t> Win32File::Read(std::uint64_t offset, void* out, std::size_t size) {
  std::size_t done = 0;
  while (done < size && offset <= kLargestOffset - done) {
    OVERLAPPED position = At(offset + done);
    DWORD got = 0;
    if (!::ReadFile(handle_.get(), static_cast<char*>(out) + done,
                    static_cast<DWORD>(std::min(size - done, kLongestCall)), &got, &position)) {
      const DWORD error = ::GetLastError();
      if (error == ERROR_HANDLE_EOF) break;
      return FromWindowsError(error, path_, "cannot read");
    }
    if (got == 0) break;
    done += got;
  }
  return done;
}

Status Win32File::Write(std::uint64_t offset, const void* data, std::size_t size) {
  if (read_only_) return Status::Denied(path_ + ": cannot write: open for reading only");
  if (size == 0) return Status::Ok();
  if (offset > kLargestOffset || size > kLargestOffset - offset) {
    return Status::Invalid(path_ + ": cannot write: offset out of range");
  }
  std::size_t done = 0;
  while (done < size) {
    OVERLAPPED position = At(offset + done);
    DWORD put = 0;
    if (!::WriteFile(handle_.get(), static_cast<const char*>(data) + done,
                     static_cast<DWORD>(std::min(size - done, kLongestCall)), &put, &position)) {
      return FromWindowsError(::GetLastError(), path_, "cannot write");
    }
    if (put == 0) return Status::IoError(path_ + ": cannot write: nothing was taken");
    done += put;
  }
  return Status::Ok();
}

Result<std::uint64_t> Win32File::Size() {
  LARGE_INTEGER size;
  if (!::GetFileSizeEx(handle_.get(), &size)) {
    return FromWindowsError(::GetLastError(), path_, "cannot tell the size");
  }
  return static_cast<std::uint64_t>(size.QuadPart);
}

Status Win32File::Truncate(std::uint64_t size) {
  if (read_only_) return Status::Denied(path_ + ": cannot resize: open for reading only");
  if (size > kLargestOffset) return Status::Invalid(path_ + ": cannot resize: size out of range");
  LARGE_INTEGER end;
  end.QuadPart = static_cast<LONGLONG>(size);
  if (!::SetFilePointerEx(handle_.get(), end, nullptr, FILE_BEGIN) ||
      !::SetEndOfFile(handle_.get())) {
    return FromWindowsError(::GetLastError(), path_, "cannot resize");
  }
  return Status::Ok();
}

Status Win32File::Sync() {
  if (read_only_) return Status::Ok();  // the call needs the right to write
  if (!::FlushFileBuffers(handle_.get())) {
    return FromWindowsError(::GetLastError(), path_, "cannot sync");
  }
  return Status::Ok();
}

Status Win32File::CheckRange(std::uint64_t offset, std::uint64_t length, const char* doing) const {
  if (length == 0 || offset > kLargestOffset || length - 1 > kLargestOffset - offset) {
    return Status::Invalid(path_ + ": " + doing + ": range out of bounds");
  }
  return Status::Ok();
}

bool Win32File::LockCall(const Range& range) {
  const std::uint64_t length = range.last - range.first + 1;
  OVERLAPPED position = At(range.first);
  DWORD flags = LOCKFILE_FAIL_IMMEDIATELY;
  if (range.kind == LockKind::kExclusive) flags |= LOCKFILE_EXCLUSIVE_LOCK;
  if (!::LockFileEx(handle_.get(), flags, 0, static_cast<DWORD>(length),
                    static_cast<DWORD>(length >> 32), &position)) {
    return false;
  }
  held_.push_back(range);
  return true;
}

void Win32File::UnlockCall(const Range& range) {
  const std::uint64_t length = range.last - range.first + 1;
  OVERLAPPED position = At(range.first);
  ::UnlockFileEx(handle_.get(), 0, static_cast<DWORD>(length), static_cast<DWORD>(length >> 32),
                 &position);
}

std::vector<Win32File::Range> Win32File::ReleaseOverlapping(std::uint64_t first,
                                                            std::uint64_t last) {
  const auto apart = std::partition(held_.begin(), held_.end(), [&](const Range& range) {
    return range.last < first || range.first > last;
  });
  std::vector<Range> released(apart, held_.end());
  held_.erase(apart, held_.end());
  for (const Range& range : released) UnlockCall(range);
  return released;
}

bool Win32File::RestoreOutside(const std::vector<Range>& ranges, std::uint64_t first,
                               std::uint64_t last) {
  bool all = true;
  for (const Range& range : ranges) {
    if (range.first < first) all = LockCall({range.first, first - 1, range.kind}) && all;
    if (range.last > last) all = LockCall({last + 1, range.last, range.kind}) && all;
  }
  return all;
}

Status Win32File::TryLock(std::uint64_t offset, std::uint64_t length, LockKind kind) {
  PV_RETURN_IF_ERROR(CheckRange(offset, length, "cannot lock"));
  if (kind == LockKind::kExclusive && read_only_) {
    return Status::Denied(path_ + ": cannot lock: open for reading only");
  }
  const Range wanted{offset, offset + length - 1, kind};
  for (const Range& range : held_) {
    if (range.kind == kind && range.first <= wanted.first && range.last >= wanted.last) {
      return Status::Ok();
    }
  }
  const std::vector<Range> released = ReleaseOverlapping(wanted.first, wanted.last);
  if (!LockCall(wanted)) {
    const DWORD error = ::GetLastError();
    for (const Range& range : released) (void)LockCall(range);
    return FromWindowsError(error, path_, "cannot lock");
  }
  if (!RestoreOutside(released, wanted.first, wanted.last)) {
    return Status::Busy(path_ + ": cannot lock: lost a part of the range to another");
  }
  return Status::Ok();
}

Status Win32File::Unlock(std::uint64_t offset, std::uint64_t length) {
  PV_RETURN_IF_ERROR(CheckRange(offset, length, "cannot unlock"));
  const std::uint64_t last = offset + length - 1;
  if (!RestoreOutside(ReleaseOverlapping(offset, last), offset, last)) {
    return Status::Busy(path_ + ": cannot unlock a part of a range: lost the rest to another");
  }
  return Status::Ok();
}

}  // namespace pv::platform
