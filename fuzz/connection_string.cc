// Any bytes as a connection string: what it reads is written and read again as the same, and
// without its password nowhere in sight.
#include "providers/adodb/connection_string.h"

#include <string>
#include <string_view>

#include "fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using pv::adodb::ConnectionString;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto parsed = ConnectionString::Parse(text);
  if (!parsed.ok()) return 0;
  const std::string written = parsed->Text();
  const auto again = ConnectionString::Parse(written);
  PV_REQUIRE(again.ok() && again->Text() == written);
  const auto shown = ConnectionString::Parse(parsed->TextWithoutSecrets());
  PV_REQUIRE(shown.ok() && shown->Find("PWD") == nullptr);
  parsed->Redacted(written);
  return 0;
}
