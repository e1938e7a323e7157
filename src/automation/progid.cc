// The table of classes that can be made by name. Tested by progid_test.cc.
#include "pvgroupman/automation/progid.h"

#include <map>
#include <mutex>

#include "base/text.h"
#include "pvgroupman/automation/error.h"

namespace pv::automation {
namespace {

struct Registration {
  std::string prog_id;  // as it was registered
  ObjectFactory factory;
};

// Keyed by the lower-case ProgID.
struct Registry {
  std::mutex mutex;
  std::map<std::string, Registration, std::less<>> classes;
};

Registry& TheRegistry() {
  static auto* registry = new Registry;  // never destroyed: objects may be made until the end
  return *registry;
}

}  // namespace

void RegisterClass(std::string_view prog_id, ObjectFactory factory) {
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.classes[ToLower(prog_id)] = {std::string(prog_id), factory};
}

void UnregisterClass(std::string_view prog_id) {
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.classes.erase(ToLower(prog_id));
}

Ref<Object> CreateObject(std::string_view prog_id) {
  Registry& registry = TheRegistry();
  ObjectFactory factory = nullptr;
  {
    const std::lock_guard lock(registry.mutex);
    const auto at = registry.classes.find(ToLower(prog_id));
    if (at != registry.classes.end()) factory = at->second.factory;
  }
  if (factory == nullptr) {
    throw Error(kErrCannotCreate, std::string(prog_id),
                std::string(StandardDescription(kErrCannotCreate)) + ": no class is known as \"" +
                    std::string(prog_id) + "\"");
  }
  try {
    return factory();
  } catch (...) {
    throw CurrentError(std::string(prog_id));
  }
}

std::vector<std::string> RegisteredClasses() {
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  std::vector<std::string> names;
  for (const auto& [key, registration] : registry.classes) names.push_back(registration.prog_id);
  return names;
}

}  // namespace pv::automation
