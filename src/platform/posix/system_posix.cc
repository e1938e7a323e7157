// The operating system's own set of seams. Tested by system_test.cc.
#include "platform/ini_file.h"
#include "platform/posix/code_pages_posix.h"
#include "platform/posix/file_system_posix.h"
#include "platform/posix/process_posix.h"
#include "platform/posix/trace_windows_posix.h"
#include "platform/registry_file.h"
#include "platform/system.h"

namespace pv::platform {
namespace {

struct PosixSystem {
  PosixFileSystem files;
  IniProfiles profiles{&files};
  PosixProcess process;
  PosixCodePages code_pages;
  PosixTraceWindows trace_windows;
  FileRegistry registry{&files, &process};
  System seams{&files, &profiles, &process, &code_pages, &trace_windows, &registry};
};

}  // namespace

const System& OperatingSystem() {
  // Never destroyed: objects that die at the process's end may still write through it.
  static const PosixSystem* const system = new PosixSystem;
  return system->seams;
}

}  // namespace pv::platform
