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
  ClassFinder finder = nullptr;
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

void SetClassFinder(ClassFinder finder) {
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.finder = finder;
}

Ref<Object> CreateObject(std::string_view prog_id) {
  Registry& registry = TheRegistry();
  ObjectFactory factory = nullptr;
  ClassFinder finder = nullptr;
  {
    const std::lock_guard lock(registry.mutex);
    const auto at = registry.classes.find(ToLower(prog_id));
    if (at != registry.classes.end()) factory = at->second.factory;
    finder = registry.finder;
  }
  std::string reason;
  try {
    if (factory != nullptr) return factory();
    if (finder != nullptr) {
      if (Ref<Object> found = finder(prog_id, &reason)) return found;
    }
  } catch (...) {
    throw CurrentError(std::string(prog_id));
  }
  std::string description = StandardDescription(kErrCannotCreate);
  description.append(": no class is known as \"").append(prog_id).append("\"");
  if (!reason.empty()) description.append(" (").append(reason).append(")");
  throw Error(kErrCannotCreate, std::string(prog_id), std::move(description));
}

std::vector<std::string> RegisteredClasses() {
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  std::vector<std::string> names;
  for (const auto& [key, registration] : registry.classes) names.push_back(registration.prog_id);
  return names;
}

}  // namespace pv::automation
