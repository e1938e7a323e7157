// Environment, folders, clock and identifiers. Tested by system_test.cc.
#include "platform/posix/process_posix.h"

#include <dlfcn.h>
#include <link.h>
#include <pwd.h>
#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/text.h"
#include "platform/posix/from_errno.h"

namespace pv::platform {
namespace {

// An address that dladdr finds the executable or library of this code by.
const char kInThisFile = 0;

std::string ExecutablePath() {
  std::string path(256, '\0');
  for (;;) {
    const ssize_t size = ::readlink("/proc/self/exe", path.data(), path.size());
    if (size < 0) return {};
    if (static_cast<std::size_t>(size) < path.size()) {
      path.resize(static_cast<std::size_t>(size));
      return path;
    }
    path.resize(path.size() * 2);  // perhaps cut: ask again with room to spare
  }
}

std::string HomeFolder() {
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
  std::vector<char> buffer(16384);
  passwd entry;
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
      found == nullptr || found->pw_dir == nullptr) {
    return {};
  }
  return found->pw_dir;
}

std::string WithoutEndSeparators(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string FolderFrom(const char* variable, const char* below_home) {
  // A relative folder in these variables is to be passed over.
  if (const char* set = std::getenv(variable); set != nullptr && *set == '/') {
    return WithoutEndSeparators(set);
  }
  const std::string home = HomeFolder();
  return home.empty() ? home : JoinPath(home, below_home);
}

}  // namespace

std::optional<std::string> PosixProcess::Environment(const std::string& name) {
  const char* const value = std::getenv(name.c_str());
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

std::string PosixProcess::HostFolder() { return std::string(FolderOf(ExecutablePath())); }

std::string PosixProcess::HostName() {
  std::string name(NameOf(ExecutablePath()));
  if (EqualsIgnoreCase(ExtensionOf(name), ".exe")) name.resize(name.size() - 4);
  return name;
}

std::string PosixProcess::OwnFolder() {
  Dl_info info;
  link_map* map = nullptr;
  // The executable has no name there; what it was started as need not lead to it.
  if (::dladdr1(&kInThisFile, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) != 0 &&
      map != nullptr && map->l_name != nullptr && *map->l_name != '\0') {
    if (char* const path = ::realpath(map->l_name, nullptr)) {
      std::string folder(FolderOf(path));
      std::free(path);
      return folder;
    }
  }
  return HostFolder();
}

namespace {

Result<void*> Load(const std::string& library, const std::string& name) {
  void* const handle = ::dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return Status::Unsupported(::dlerror());
  void* const address = ::dlsym(handle, name.c_str());
  if (address == nullptr) return Status::Unsupported(library + ": no function " + name);
  return address;
}

}  // namespace

Result<void*> PosixProcess::LoadFunction(const std::string& library, const std::string& name) {
  // A name without a folder would be sought wherever the system keeps libraries.
  if (FolderOf(library).empty()) return Status::Invalid(library + ": the library needs a path");
  if (::access(library.c_str(), F_OK) != 0) return FromErrno(errno, library, "cannot load");
  return Load(library, name);
}

Result<void*> PosixProcess::LoadSystemFunction(const std::string& library,
                                               const std::string& name) {
  if (!FolderOf(library).empty()) return Status::Unsupported(library + ": a name without a folder");
  return Load(library, name);
}

std::string PosixProcess::ConfigFolder() { return FolderFrom("XDG_CONFIG_HOME", ".config"); }

std::string PosixProcess::DataFolder() { return FolderFrom("XDG_DATA_HOME", ".local/share"); }

CivilDateTime PosixProcess::LocalTime() {
  const time_t now = ::time(nullptr);
  tm local = {};
  ::localtime_r(&now, &local);
  return {{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday},
          local.tm_hour,
          local.tm_min,
          local.tm_sec > 59 ? 59 : local.tm_sec};  // a leap second has no place in a stored time
}

std::optional<std::array<std::uint8_t, 16>> PosixProcess::NewIdentifier() {
  std::array<std::uint8_t, 16> id;
  ssize_t got = 0;
  do {
    got = ::getrandom(id.data(), id.size(), 0);
  } while (got < 0 && errno == EINTR);
  if (got != static_cast<ssize_t>(id.size())) return std::nullopt;
  id[6] = static_cast<std::uint8_t>((id[6] & 0x0F) | 0x40);
  id[8] = static_cast<std::uint8_t>((id[8] & 0x3F) | 0x80);
  return id;
}

void PosixProcess::ShowMessage(std::string_view title, std::string_view text) {
  std::string line(title);
  line.append(": ").append(text);
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  }
  line.push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace pv::platform
