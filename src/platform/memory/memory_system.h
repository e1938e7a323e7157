// A complete set of seams for tests: files in memory, settings over them, a process that is what
// the test says, and the real code pages.
//
//   MemorySystem machine;
//   machine.process.environment["PV_HOME"] = "/data";
//   ScopedSystem scope(machine.system());
#ifndef PV_PLATFORM_MEMORY_MEMORY_SYSTEM_H_
#define PV_PLATFORM_MEMORY_MEMORY_SYSTEM_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/ini_file.h"
#include "platform/memory/memory_file_system.h"
#include "platform/registry_file.h"
#include "platform/system.h"

namespace pv::platform {

class FakeProcess : public Process {
 public:
  // Set freely.
  std::map<std::string, std::string> environment;
  std::string host_folder = "/app/";
  std::string host_name = "host";
  std::string own_folder = "/app/";
  // Shared libraries by path, and what they say when they cannot be loaded.
  std::map<std::string, Result<void*>> libraries;
  std::string config_folder = "/home/user/.config";
  std::string data_folder = "/home/user/.local/share";
  CivilDateTime time{{2024, 2, 29}, 13, 45, 0};
  bool has_identifiers = true;
  std::uint64_t next_identifier = 1;  // the last eight bytes of the next one, big-endian
  // What ShowMessage was told: title and text.
  std::vector<std::pair<std::string, std::string>> messages;

  std::optional<std::string> Environment(const std::string& name) override;
  std::string HostFolder() override { return host_folder; }
  std::string HostName() override { return host_name; }
  std::string OwnFolder() override { return own_folder; }
  Result<void*> LoadFunction(const std::string& library, const std::string& name) override;
  // As the operating system's: what readers load does not depend on where their files lie.
  Result<void*> LoadSystemFunction(const std::string& library, const std::string& name) override {
    return OperatingSystem().process->LoadSystemFunction(library, name);
  }
  std::string ConfigFolder() override { return config_folder; }
  std::string DataFolder() override { return data_folder; }
  CivilDateTime LocalTime() override { return time; }
  std::optional<std::array<std::uint8_t, 16>> NewIdentifier() override;
  void ShowMessage(std::string_view title, std::string_view text) override;
};

// The operating system's code pages with a system page that can be set.
class FakeCodePages : public CodePages {
 public:
  int system_page = 1252;

  Result<std::shared_ptr<const CodePage>> Load(int number) override;
  int SystemPage() override { return system_page; }
};

// Windows that are open because the test says so, and what was sent to them.
class FakeTraceWindows : public TraceWindows {
 public:
  // Set freely.
  std::map<std::string, TraceHandle> open;
  std::vector<std::pair<TraceHandle, TraceMessage>> sent;
  int searches = 0;

  TraceHandle Find(const std::string& title) override;
  void Send(TraceHandle window, const TraceMessage& message) override;
  // kUnsupported: nothing arrives here.
  Result<std::unique_ptr<TraceListener>> Listen(const std::string& title) override;
};

class MemorySystem {
 public:
  MemorySystem() = default;
  explicit MemorySystem(const MemoryImage& image) : files(image) {}

  // Points to the members below.
  System system() { return {&files, &profiles, &process, &code_pages, &trace_windows, &registry}; }

  MemoryFileSystem files;
  IniProfiles profiles{&files};
  FakeProcess process;
  FakeCodePages code_pages;
  FakeTraceWindows trace_windows;
  FileRegistry registry{&files, &process};
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_MEMORY_MEMORY_SYSTEM_H_
