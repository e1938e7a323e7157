// A machine made up for tests. Tested by system_test.cc.
#include "platform/memory/memory_system.h"

#include "base/bytes.h"

namespace pv::platform {

std::optional<std::string> FakeProcess::Environment(const std::string& name) {
  const auto it = environment.find(name);
  if (it == environment.end()) return std::nullopt;
  return it->second;
}

std::optional<std::array<std::uint8_t, 16>> FakeProcess::NewIdentifier() {
  if (!has_identifiers) return std::nullopt;
  std::array<std::uint8_t, 16> id = {0, 0, 0, 0, 0, 0, 0x40, 0};
  StoreBe64(id.data() + 8, (next_identifier++ & 0x3FFFFFFFFFFFFFFF) | 0x8000000000000000);
  return id;
}

Result<void*> FakeProcess::LoadFunction(const std::string& library, const std::string&) {
  const auto it = libraries.find(library);
  if (it == libraries.end()) return Status::NotFound(library + ": no such file");
  return it->second;
}

void FakeProcess::ShowMessage(std::string_view title, std::string_view text) {
  messages.emplace_back(title, text);
}

Result<std::shared_ptr<const CodePage>> FakeCodePages::Load(int number) {
  return OperatingSystem().code_pages->Load(number);
}

TraceHandle FakeTraceWindows::Find(const std::string& title) {
  ++searches;
  const auto it = open.find(title);
  return it == open.end() ? 0 : it->second;
}

void FakeTraceWindows::Send(TraceHandle window, const TraceMessage& message) {
  sent.emplace_back(window, message);
}

Result<std::unique_ptr<TraceListener>> FakeTraceWindows::Listen(const std::string& title) {
  return Status::Unsupported(title + ": no window can be opened in memory");
}

}  // namespace pv::platform
