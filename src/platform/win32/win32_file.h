// One open file on Windows.
#ifndef PV_PLATFORM_WIN32_WIN32_FILE_H_
#define PV_PLATFORM_WIN32_WIN32_FILE_H_

#include <string>
#include <utility>
#include <vector>

#include "platform/file_system.h"
#include "platform/win32/windows_api.h"

namespace pv::platform {

// Owns a handle from CreateFileW.
class Handle {
 public:
  explicit Handle(HANDLE handle = INVALID_HANDLE_VALUE) : handle_(handle) {}
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Handle() {
    if (ok()) ::CloseHandle(handle_);
  }
  bool ok() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

class Win32File : public File {
 public:
  Win32File(Handle handle, std::string path, bool read_only)
      : handle_(std::move(handle)), path_(std::move(path)), read_only_(read_only) {}
  ~Win32File() override;

  Result<std::size_t> Read(std::uint64_t offset, void* out, std::size_t size) override;
  Status Write(std::uint64_t offset, const void* data, std::size_t size) override;
  Result<std::uint64_t> Size() override;
  Status Truncate(std::uint64_t size) override;
  Status Sync() override;
  Status TryLock(std::uint64_t offset, std::uint64_t length, LockKind kind) override;
  Status Unlock(std::uint64_t offset, std::uint64_t length) override;
  bool read_only() const override { return read_only_; }
  const std::string& path() const override { return path_; }

 private:
  struct Range {
    std::uint64_t first;
    std::uint64_t last;
    LockKind kind;
  };

  Status CheckRange(std::uint64_t offset, std::uint64_t length, const char* doing) const;
  bool LockCall(const Range& range);
  void UnlockCall(const Range& range);
  // Takes out of `held_` and unlocks what overlaps [first, last].
  std::vector<Range> ReleaseOverlapping(std::uint64_t first, std::uint64_t last);
  // Locks the parts of `ranges` that lie outside [first, last].
  bool RestoreOutside(const std::vector<Range>& ranges, std::uint64_t first, std::uint64_t last);

  Handle handle_;
  std::string path_;
  bool read_only_;
  std::vector<Range> held_;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_WIN32_WIN32_FILE_H_
