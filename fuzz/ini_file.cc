// The input is three lines, a section's name, a key's and a value, and behind them the content of
// a settings file: what is written must be read back, and nothing else may change.
#include "platform/ini_file.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "fuzz/require.h"

namespace {

std::string_view TakeLine(std::string_view* rest) {
  const std::size_t end = std::min(rest->find('\n'), rest->size());
  const std::string_view line = rest->substr(0, end);
  rest->remove_prefix(std::min(end + 1, rest->size()));
  return line;
}

// Blanks and quotes around a value are not its own; characters beyond ASCII may be none.
bool ReadsBackAsItIs(std::string_view value) {
  const auto edge = [](char c) { return c == ' ' || c == '\t' || c == '"' || c == '\''; };
  return std::all_of(value.begin(), value.end(), [](char c) { return c >= ' ' && c <= '~'; }) &&
         (value.empty() || (!edge(value.front()) && !edge(value.back())));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using pv::platform::ReadIniValue;
  using pv::platform::WriteIniValue;
  std::string_view content(reinterpret_cast<const char*>(data), size);
  const std::string_view section = TakeLine(&content);
  const std::string_view key = TakeLine(&content);
  const std::string_view value = TakeLine(&content);
  const auto page = pv::CodePage::Windows1252();

  const auto other = ReadIniValue(content, "Settings", "GroupDataFolder", *page);
  ReadIniValue(content, section, key, *page);
  const auto written = WriteIniValue(content, section, key, value, *page);
  if (!written.ok()) {
    PV_REQUIRE(!written.status().message().empty());
    return 0;
  }
  const auto back = ReadIniValue(*written, section, key, *page);
  PV_REQUIRE(back.has_value());
  if (ReadsBackAsItIs(value)) {
    PV_REQUIRE(*back == value);
    const auto twice = WriteIniValue(*written, section, key, value, *page);
    PV_REQUIRE(twice.ok() && *twice == *written);
  }
  // Another key keeps what it had.
  const auto after = ReadIniValue(*written, "Settings", "GroupDataFolder", *page);
  if (after != other) {
    const auto now = ReadIniValue(*written, "Settings", "GroupDataFolder", *page);
    PV_REQUIRE(now == back);
  }
  return 0;
}
