// Lines for a trace viewer, if one is open on the user's desktop: a side channel for diagnosis
// beside the log. Nothing here ever fails, and without a viewer a line costs one look for it.
#ifndef PV_SUPPORT_TRACE_H_
#define PV_SUPPORT_TRACE_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pv::support {

// The title of the viewer's window.
constexpr const char* kTraceTitle = "Parvane :: Trace";

// What every message says it is.
constexpr std::uint32_t kTraceKind = 3;

// A line is cut to this many bytes; a zero always follows them.
constexpr std::size_t kLongestTrace = 254;

// Sends one line, in the bytes of the ANSI code page: as many of them as the text has characters,
// and a zero. The viewer is looked for until there is one; from then on this apartment sends to
// it, whether it still runs or not.
void PokeTrace(std::string_view text) noexcept;

// Makes the apartment look for the viewer again, as a new one does.
void ForgetTraceViewer() noexcept;

}  // namespace pv::support

#endif  // PV_SUPPORT_TRACE_H_
