// The registry's file: whatever its bytes, it is refused with file and line or keeps its meaning
// when it is written again.
#include "platform/registry_text.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/require.h"

namespace {

using pv::platform::ReadRegistryText;
using pv::platform::WriteRegistryText;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto read = ReadRegistryText(text, "registry.txt");
  if (!read.ok()) {
    PV_REQUIRE(read.status().code() == pv::StatusCode::kCorrupt);
    PV_REQUIRE(read.status().message().starts_with("registry.txt: line "));
    return 0;
  }
  const std::string written = WriteRegistryText(**read);
  const auto again = ReadRegistryText(written, "registry.txt");
  PV_REQUIRE(again.ok());
  PV_REQUIRE(WriteRegistryText(**again) == written);
  return 0;
}
