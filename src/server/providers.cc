// Finds and loads provider libraries. Tested by providers_test.cc.
#include "server/providers.h"

#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "automation/provider.h"
#include "base/text.h"
#include "platform/system.h"

namespace pv::server {
namespace {

using automation::Object;
using automation::Ref;

// Which library holds the classes whose ProgIDs begin so.
struct KnownProvider {
  std::string_view prefix;
  const char* library;
};
constexpr KnownProvider kProviders[] = {
    {"ADODB.", "libpv-adodb.so"},
    {"Cardweave.", "libpv-converter.so"},
};

// Where providers may lie, best first.
std::vector<std::string> Folders() {
  platform::Process& process = *platform::CurrentSystem().process;
  if (const auto set = process.Environment("PVGROUP_PROVIDERS"); set && !set->empty()) {
    return {*set};
  }
  const std::string own = process.OwnFolder();
  return {own, own + "../providers", own + PV_PROVIDERS_FROM_LIBRARY,
          own + PV_PROVIDERS_FROM_PROGRAM};
}

// Loads the library and enters its classes.
Status Load(const char* library) {
  Result<void*> function = Status::NotFound({});
  std::string last;
  for (const std::string& folder : Folders()) {
    const std::string path = platform::JoinPath(folder, library);
    function = platform::CurrentSystem().process->LoadFunction(path, automation::kProviderFunction);
    if (function.ok()) {
      last = path;
      break;
    }
    if (function.status().code() != StatusCode::kNotFound) return function.status();
  }
  if (!function.ok()) return Status::NotFound(std::string(library) + " is not installed");
  const automation::Provider* provider =
      reinterpret_cast<automation::ProviderFunction>(*function)();
  if (std::strcmp(provider->build, automation::kProviderBuild) != 0) {
    return Status::Unsupported(last + " belongs to version " + provider->build + ", this is " +
                               automation::kProviderBuild);
  }
  for (const automation::ProviderClass& entry : std::span(provider->classes, provider->count)) {
    automation::RegisterClass(entry.prog_id, entry.factory);
  }
  return Status::Ok();
}

Ref<Object> FindClass(std::string_view prog_id, std::string* reason) {
  for (const KnownProvider& known : kProviders) {
    if (!EqualsIgnoreCase(prog_id.substr(0, known.prefix.size()), known.prefix)) continue;
    const Status loaded = Load(known.library);
    if (!loaded.ok()) {
      *reason = loaded.message();
      return nullptr;
    }
    for (const std::string& name : automation::RegisteredClasses()) {
      if (EqualsIgnoreCase(name, prog_id)) return automation::CreateObject(prog_id);
    }
    *reason = std::string(known.library) + " has no such class";
  }
  return nullptr;
}

}  // namespace

void UseProviders() { automation::SetClassFinder(&FindClass); }

}  // namespace pv::server
