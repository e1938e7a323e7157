// Lines for a trace viewer. Tested by trace_test.cc.
#include "support/trace.h"

#include <algorithm>
#include <array>
#include <exception>
#include <string>

#include "base/text.h"
#include "platform/system.h"
#include "support/configuration.h"

namespace pv::support {
namespace {

constinit thread_local platform::TraceHandle viewer = 0;

}  // namespace

void PokeTrace(std::string_view text) noexcept {
  try {
    platform::TraceWindows* const windows = platform::CurrentSystem().trace_windows;
    if (viewer == 0) viewer = windows->Find(kTraceTitle);
    if (viewer == 0) return;
    const std::string bytes = CurrentCodePage()->Encode(text);
    // Characters are counted, bytes are copied: of a double-byte text only the front fits. A text
    // with fewer bytes than characters leaves zeros.
    std::array<char, kLongestTrace + 1> buffer = {};
    const std::size_t length = std::min(Utf16Length(text), kLongestTrace);
    std::copy_n(bytes.begin(), std::min(length, bytes.size()), buffer.begin());
    windows->Send(viewer, {kTraceKind, std::string(buffer.data(), length + 1)});
  } catch (const std::exception&) {
    // Tracing must not stop what it would have shown.
  }
}

void ForgetTraceViewer() noexcept { viewer = 0; }

}  // namespace pv::support
