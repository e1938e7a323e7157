// Which seams are in force on a thread. Tested by system_test.cc.
#include "platform/system.h"

#include <cassert>

namespace pv::platform {
namespace {

thread_local const System* current_system = nullptr;

}  // namespace

const System& CurrentSystem() {
  return current_system != nullptr ? *current_system : OperatingSystem();
}

ScopedSystem::ScopedSystem(const System& system) : system_(system), previous_(current_system) {
  assert(system.files != nullptr && system.profiles != nullptr && system.process != nullptr &&
         system.code_pages != nullptr && system.trace_windows != nullptr);
  current_system = &system_;
}

ScopedSystem::~ScopedSystem() { current_system = previous_; }

}  // namespace pv::platform
