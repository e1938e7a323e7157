// The files of a memory file system at one moment.
#ifndef PV_PLATFORM_MEMORY_MEMORY_IMAGE_H_
#define PV_PLATFORM_MEMORY_MEMORY_IMAGE_H_

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace pv::platform {

// Cheap to copy: contents are shared until one side changes them. Paths are in normal form:
// absolute, "/" between the parts, none at the end.
struct MemoryImage {
  struct File {
    std::uint64_t id = 0;  // stays with the file when it is renamed
    std::shared_ptr<const std::string> content;
  };
  std::map<std::string, File> files;
  std::set<std::string> folders;  // without "/", which is always there
  std::map<std::string, std::string> symlinks;

  // The content of a file; nullptr when there is none of that name.
  const std::string* Find(const std::string& path) const {
    const auto it = files.find(path);
    return it == files.end() ? nullptr : it->second.content.get();
  }
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_MEMORY_MEMORY_IMAGE_H_
