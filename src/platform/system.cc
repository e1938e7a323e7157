// Which seams are in force on a thread. Tested by system_test.cc.
#include "platform/system.h"

#include <algorithm>
#include <cassert>

namespace pv::platform {
namespace {

thread_local const System* current_system = nullptr;

}  // namespace

std::string Process::ExpandEnvironment(const std::string& text) {
  std::string expanded;
  std::size_t pos = 0;
  while (pos < text.size()) {
    const std::size_t first = text.find('%', pos);
    const std::size_t last =
        first == std::string::npos ? std::string::npos : text.find('%', first + 1);
    if (last == std::string::npos) break;
    expanded.append(text, pos, first - pos);
    const auto value = Environment(text.substr(first + 1, last - first - 1));
    pos = last + 1;
    expanded.append(value ? *value : text.substr(first, last - first + 1));
  }
  return expanded.append(text, std::min(pos, text.size()), std::string::npos);
}

const System& CurrentSystem() {
  return current_system != nullptr ? *current_system : OperatingSystem();
}

ScopedSystem::ScopedSystem(const System& system) : system_(system), previous_(current_system) {
  assert(system.files != nullptr && system.profiles != nullptr && system.process != nullptr &&
         system.code_pages != nullptr && system.trace_windows != nullptr &&
         system.registry != nullptr);
  current_system = &system_;
}

ScopedSystem::~ScopedSystem() { current_system = previous_; }

}  // namespace pv::platform
