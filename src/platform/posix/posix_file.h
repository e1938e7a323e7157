// One open file: positioned input and output, through a mapping where that was asked for.
#ifndef PV_PLATFORM_POSIX_POSIX_FILE_H_
#define PV_PLATFORM_POSIX_POSIX_FILE_H_

#include <cerrno>
#include <string>

#include "platform/file_system.h"
#include "platform/posix/mapped_region.h"

namespace pv::platform {

// Calls a system function again for as long as a signal interrupts it.
template <typename Call>
auto RetryInterrupted(Call call) -> decltype(call()) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

class PosixFile : public File {
 public:
  // Owns `descriptor`; `size` is the file's size at the open.
  PosixFile(int descriptor, std::string path, bool read_only, bool mapped, std::uint64_t size)
      : descriptor_(descriptor),
        read_only_(read_only),
        mapped_(mapped),
        known_size_(size),
        path_(std::move(path)) {}
  ~PosixFile() override;

  Result<std::size_t> Read(std::uint64_t offset, void* out, std::size_t size) override {
    return ReadThrough(&region_, offset, out, size);
  }
  Result<std::size_t> ReadOnce(std::uint64_t offset, void* out, std::size_t size) override {
    // One call for much costs less than mapping it.
    if (size > kLongestInPassing) return ReadCall(offset, out, size);
    return ReadThrough(&passing_, offset, out, size);
  }
  Result<std::size_t> ReadPieces(std::span<const Piece> pieces, std::size_t size) override;
  Status Write(std::uint64_t offset, const void* data, std::size_t size) override;
  Result<std::uint64_t> Size() override;
  Status Truncate(std::uint64_t size) override;
  void StartSync() override;
  Status Sync() override;
  Status TryLock(std::uint64_t offset, std::uint64_t length, LockKind kind) override;
  Status Unlock(std::uint64_t offset, std::uint64_t length) override;
  bool read_only() const override { return read_only_; }
  const std::string& path() const override { return path_; }

 private:
  static constexpr std::size_t kLongestInPassing = std::size_t{64} << 10;

  bool WithinKnownSize(std::uint64_t offset, std::size_t size) const {
    return size <= known_size_ && offset <= known_size_ - size;
  }
  Status RefreshSize();
  Result<std::size_t> ReadThrough(MappedRegion* region, std::uint64_t offset, void* out,
                                  std::size_t size);
  Result<std::size_t> ReadPastKnownSize(MappedRegion* region, std::uint64_t offset, void* out,
                                        std::size_t size);
  Result<std::size_t> ReadCall(std::uint64_t offset, void* out, std::size_t size);
  Status WriteCall(std::uint64_t offset, const void* data, std::size_t size);
  Status SetLock(std::uint64_t offset, std::uint64_t length, short type, const char* doing);

  int descriptor_;
  bool read_only_;
  bool mapped_;
  // Mapped files only: the size when it was last asked for. The mapping reads as zeros between
  // the file's end and the end of its last page, so no copy may pass this.
  std::uint64_t known_size_;
  MappedRegion region_;
  MappedRegion passing_{MappedRegion::Passing()};
  std::string path_;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_POSIX_POSIX_FILE_H_
