// Windows that show trace lines: finding one by its title, sending to it, and being one.
//
// A message has the three fields of the system's "copy data" message. Where there are no windows
// it is a datagram to a local socket that bears the window's title and lies in the user's runtime
// folder: the two numbers in little-endian order, then the bytes.
#ifndef PV_PLATFORM_TRACE_WINDOWS_H_
#define PV_PLATFORM_TRACE_WINDOWS_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/status.h"

namespace pv::platform {

// One message. The number of its bytes travels beside them.
struct TraceMessage {
  std::uint32_t kind = 0;
  std::string bytes;

  bool operator==(const TraceMessage&) const = default;
};

// A window that was found; 0 is none.
using TraceHandle = std::uintptr_t;

// The receiving end. The title is free again when it dies.
class TraceListener {
 public:
  virtual ~TraceListener() = default;

  // The next message, or nothing when none came within `milliseconds` or a signal arrived.
  // kCorrupt for a message that contradicts itself; the next call goes on behind it.
  virtual Result<std::optional<TraceMessage>> Receive(std::uint32_t milliseconds) = 0;
};

class TraceWindows {
 public:
  virtual ~TraceWindows() = default;

  // The window with this title, or 0. Costs little when there is none.
  virtual TraceHandle Find(const std::string& title) = 0;

  // Sends a message. What cannot be delivered, to a handle that has gone stale for example, is
  // lost without a word. On Windows this waits until the receiver has dealt with it; elsewhere
  // it never waits, and what a receiver that hangs has no room for is lost.
  virtual void Send(TraceHandle window, const TraceMessage& message) = 0;

  // Opens a window with this title. kBusy when another program of the user has one.
  virtual Result<std::unique_ptr<TraceListener>> Listen(const std::string& title) = 0;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_TRACE_WINDOWS_H_
