// The file seam on Windows.
//
// What differs from the other implementations: range locks are mandatory (a read or write of
// another File inside a locked range is kBusy), so locks belong behind the data; kDenyWrite and
// kDenyAll differ; who may open a file is inherited from its folder, which lies in the user's own
// profile; SyncFolder has nothing to do, names being journaled.
#ifndef PV_PLATFORM_WIN32_FILE_SYSTEM_WIN32_H_
#define PV_PLATFORM_WIN32_FILE_SYSTEM_WIN32_H_

#include "platform/file_system.h"

namespace pv::platform {

class Win32FileSystem : public FileSystem {
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
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_WIN32_FILE_SYSTEM_WIN32_H_
