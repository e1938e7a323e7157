// The registry of systems that have none: a text file of the user's, over any file system.
//
// HKEY_CLASSES_ROOT is HKEY_LOCAL_MACHINE\SOFTWARE\Classes. Other machines cannot be reached.
#ifndef PV_PLATFORM_REGISTRY_FILE_H_
#define PV_PLATFORM_REGISTRY_FILE_H_

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/file_system.h"
#include "platform/registry.h"
#include "platform/registry_text.h"
#include "platform/system.h"

namespace pv::platform {

// The largest file that is read or written, in bytes.
constexpr std::uint64_t kLargestRegistry = std::uint64_t{16} << 20;

// Below the user's configuration folder.
constexpr const char* kRegistryFile = "pvgroup/registry.txt";

// Each change replaces the file in one step; writers wait for each other, so that none loses what
// another has set. A file that cannot be understood is refused (1009, naming file and line) and
// never written over. Safe to share between threads.
class FileRegistry : public Registry {
 public:
  // Both must outlive it.
  FileRegistry(FileSystem* files, Process* process) : files_(files), process_(process) {}

  // Always 53.
  Result<RegistryKey> Connect(const std::string& machine, RegistryKey root) override;
  Result<RegistryKey> Open(RegistryKey parent, const std::string& path,
                           std::uint32_t access) override;
  Result<RegistryKey> Create(RegistryKey parent, const std::string& path,
                             std::uint32_t access) override;
  void Close(RegistryKey key) override;
  Status DeleteKey(RegistryKey parent, const std::string& path) override;
  Status DeleteValue(RegistryKey key, const std::string& name) override;
  Result<RegistryValue> QueryValue(RegistryKey key, const std::string& name) override;
  Status SetValue(RegistryKey key, const std::string& name, const RegistryValue& value) override;
  Result<RegistryInfo> QueryInfo(RegistryKey key) override;
  Result<std::string> EnumKey(RegistryKey key, std::uint32_t index) override;
  Result<std::string> EnumValue(RegistryKey key, std::uint32_t index) override;

  // Keys that are open; 0 when every caller has closed its own.
  std::size_t OpenKeys() const;

 private:
  using Path = std::vector<std::string>;  // from the predefined key downwards
  struct Handle {
    Path path;
    std::uint32_t access = 0;
    bool predefined = false;
  };

  Result<std::string> FilePath() const;
  Result<Handle> HandleOf(RegistryKey key) const;
  // The path of a key below another one.
  Result<Path> PathBelow(RegistryKey parent, const std::string& path) const;
  RegistryKey Add(Path path, std::uint32_t access);
  // The registry as the file has it now; valid until the next call.
  Result<const RegistryNode*> Load();
  Result<const RegistryNode*> Understand(std::string content, const std::string& file);
  // The node of an open key that may be read. A predefined key has one even when nothing is stored.
  Result<const RegistryNode*> NodeOf(RegistryKey key);
  // Runs `change` on the registry while nobody else may write, and stores it when that answers
  // true.
  Status Change(const std::function<Result<bool>(RegistryNode*)>& change);

  FileSystem* const files_;
  Process* const process_;
  mutable std::mutex mutex_;
  std::map<RegistryKey, Handle> open_;
  RegistryKey next_ = 1;
  // What was read last, and its meaning: the file is parsed again only when it has changed.
  std::string content_;
  std::unique_ptr<RegistryNode> tree_;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_REGISTRY_FILE_H_
