// Trace messages over local datagram sockets.
#ifndef PV_PLATFORM_POSIX_TRACE_WINDOWS_POSIX_H_
#define PV_PLATFORM_POSIX_TRACE_WINDOWS_POSIX_H_

#include <mutex>
#include <string>
#include <vector>

#include "platform/trace_windows.h"

namespace pv::platform {

// The socket's folder is XDG_RUNTIME_DIR, else /run/user/UID, else /tmp/pvgroup-UID; it counts
// only when it belongs to the user and nobody else may write into it.
class PosixTraceWindows : public TraceWindows {
 public:
  ~PosixTraceWindows() override;
  TraceHandle Find(const std::string& title) override;
  void Send(TraceHandle window, const TraceMessage& message) override;
  Result<std::unique_ptr<TraceListener>> Listen(const std::string& title) override;

 private:
  TraceHandle LookFor(const std::string& title);

  std::mutex mutex_;
  std::vector<std::string> found_;  // paths of sockets; a handle is a position, from 1 on
  int sender_ = -1;                 // one socket sends to all of them
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_POSIX_TRACE_WINDOWS_POSIX_H_
