// Trace messages between windows.
#ifndef PV_PLATFORM_WIN32_TRACE_WINDOWS_WIN32_H_
#define PV_PLATFORM_WIN32_TRACE_WINDOWS_WIN32_H_

#include "platform/trace_windows.h"

namespace pv::platform {

class Win32TraceWindows : public TraceWindows {
 public:
  TraceHandle Find(const std::string& title) override;
  void Send(TraceHandle window, const TraceMessage& message) override;
  // The listener belongs to the thread that made it. Windows admits any number of a title.
  Result<std::unique_ptr<TraceListener>> Listen(const std::string& title) override;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_WIN32_TRACE_WINDOWS_WIN32_H_
