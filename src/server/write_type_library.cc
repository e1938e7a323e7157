// Prints the type library's IDL text; the Windows build compiles it.
#include <cstdio>
#include <string>

#include "platform/memory/memory_system.h"
#include "server/class_list.h"
#include "server/type_library.h"

int main() {
  // Constructors look for the user's groups; here they find an empty machine.
  pv::platform::MemorySystem machine;
  const pv::platform::ScopedSystem scope(machine.system());
  pv::server::RegisterPublicClasses();
  const pv::Result<std::string> text = pv::server::TypeLibraryText();
  if (!text.ok()) {
    std::fprintf(stderr, "write_type_library: %s\n", text.status().message().c_str());
    return 1;
  }
  return std::fwrite(text->data(), 1, text->size(), stdout) == text->size() ? 0 : 1;
}
