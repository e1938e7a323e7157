// The file seam on POSIX systems with open-file-description locks (Linux).
#ifndef PV_PLATFORM_POSIX_FILE_SYSTEM_POSIX_H_
#define PV_PLATFORM_POSIX_FILE_SYSTEM_POSIX_H_

#include <string>

#include "platform/file_system.h"

namespace pv::platform {

class PosixFileSystem : public FileSystem {
 public:
  Result<std::unique_ptr<File>> Open(const std::string& path, const OpenOptions& options) override;
  Result<FileInfo> Stat(const std::string& path) override;
  Status Remove(const std::string& path) override;
  Status Rename(const std::string& from, const std::string& to) override;
  Result<std::vector<std::string>> List(const std::string& folder) override;
  Status CreateFolders(const std::string& folder) override;
  Status SyncFolder(const std::string& folder) override;
  void SleepMicroseconds(std::uint32_t microseconds) override;
  std::uint64_t MonotonicMicroseconds() override;
  std::uint64_t RoughMicroseconds() override;
};

// `path` with "/" for every "\".
std::string PosixPath(const std::string& path);

}  // namespace pv::platform

#endif  // PV_PLATFORM_POSIX_FILE_SYSTEM_POSIX_H_
