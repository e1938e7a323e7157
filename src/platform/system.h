// Everything else that the component asks of the operating system, and the set of seams that is
// in force. Tests put their own set in force with ScopedSystem.
#ifndef PV_PLATFORM_SYSTEM_H_
#define PV_PLATFORM_SYSTEM_H_

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/code_page.h"
#include "base/date.h"
#include "base/status.h"
#include "platform/file_system.h"
#include "platform/registry.h"
#include "platform/trace_windows.h"

namespace pv::platform {

// One value of a private-profile file.
struct ProfileEntry {
  std::string key;
  std::string value;
};

// Private-profile (INI) files. Section and key names are compared without regard to letter case;
// the file's bytes are text in the ANSI code page `page`.
class Profiles {
 public:
  virtual ~Profiles() = default;

  // The value's text, or nothing when file, section or key is missing. Blanks around the value
  // and one pair of enclosing quotes (single or double) are taken off, as Windows does.
  virtual std::optional<std::string> Read(const std::string& file, std::string_view section,
                                          std::string_view key, const CodePage& page) = 0;

  // Sets one value, keeping every other line of the file as it is; the file and the section are
  // created when missing. The file is replaced in one step.
  virtual Status Write(const std::string& file, std::string_view section, std::string_view key,
                       std::string_view value, const CodePage& page) = 0;

  // Sets several values of one section. In files of ours this is one step; where the system's own
  // functions do the work, a failure may leave the first of them set.
  virtual Status WriteAll(const std::string& file, std::string_view section,
                          const std::vector<ProfileEntry>& entries, const CodePage& page) {
    for (const ProfileEntry& entry : entries) {
      PV_RETURN_IF_ERROR(Write(file, section, entry.key, entry.value, page));
    }
    return {};
  }
};

// The running process and its machine.
class Process {
 public:
  virtual ~Process() = default;

  virtual std::optional<std::string> Environment(const std::string& name) = 0;
  // Text with every %NAME% of a variable that is set replaced by its value; others stay.
  virtual std::string ExpandEnvironment(const std::string& text);
  // Folder of the running executable, ending in a separator, and its name without ".exe".
  virtual std::string HostFolder() = 0;
  virtual std::string HostName() = 0;
  // Folder of the executable or shared library that holds this code, ending in a separator.
  virtual std::string OwnFolder() = 0;
  // Loads a shared library, for good, and gives the address of one of its functions. kNotFound
  // when there is no such file; kUnsupported with the system's reason when it cannot be loaded, or
  // has no such function.
  virtual Result<void*> LoadFunction(const std::string& library, const std::string& name) = 0;
  // The same of a library of the system's own, by its name alone ("libm.so.6"). Any failure to
  // load it is kUnsupported.
  virtual Result<void*> LoadSystemFunction(const std::string& library, const std::string& name) = 0;
  // XDG_CONFIG_HOME and XDG_DATA_HOME or their defaults below the home folder; on Windows the
  // user's local application-data folder. No separator at the end; empty when there is no home.
  virtual std::string ConfigFolder() = 0;
  virtual std::string DataFolder() = 0;
  // Local wall clock time.
  virtual CivilDateTime LocalTime() = 0;
  // Sixteen random bytes of a version-4 identifier, in the order in which its text shows them;
  // nothing when the system has none to give.
  virtual std::optional<std::array<std::uint8_t, 16>> NewIdentifier() = 0;
  // A box with an OK button on Windows; one line on standard error elsewhere.
  virtual void ShowMessage(std::string_view title, std::string_view text) = 0;
};

// Code pages by Windows number.
class CodePages {
 public:
  virtual ~CodePages() = default;
  // kUnsupported for a number that the system does not know. Loaded pages are kept.
  virtual Result<std::shared_ptr<const CodePage>> Load(int number) = 0;
  // The system's ANSI page on Windows, 1252 elsewhere.
  virtual int SystemPage() = 0;
};

// The seams in force. Members are never null.
struct System {
  FileSystem* files = nullptr;
  Profiles* profiles = nullptr;
  Process* process = nullptr;
  CodePages* code_pages = nullptr;
  TraceWindows* trace_windows = nullptr;
  Registry* registry = nullptr;
};

// The set in force on this thread: the operating system's unless a ScopedSystem lives.
const System& CurrentSystem();

// Puts `system` in force on this thread until it dies. Scopes nest.
class ScopedSystem {
 public:
  explicit ScopedSystem(const System& system);
  ~ScopedSystem();
  ScopedSystem(const ScopedSystem&) = delete;
  ScopedSystem& operator=(const ScopedSystem&) = delete;

 private:
  System system_;
  const System* previous_;
};

// The operating system's own set (posix/ or win32/, chosen in CMake).
const System& OperatingSystem();

}  // namespace pv::platform

#endif  // PV_PLATFORM_SYSTEM_H_
