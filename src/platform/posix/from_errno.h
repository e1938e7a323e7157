// The one place that sorts the system's error numbers: busy apart from broken, full apart from
// forbidden.
#ifndef PV_PLATFORM_POSIX_FROM_ERRNO_H_
#define PV_PLATFORM_POSIX_FROM_ERRNO_H_

#include <string>
#include <string_view>

#include "base/status.h"

namespace pv::platform {

enum class ErrnoSource {
  kCall,
  kLock,  // a refused lock says EACCES or EAGAIN: both mean that somebody else has it
};

// The failure of `doing` ("cannot open") on `path`; the message ends in the system's own text and
// `detail` is `error`.
Status FromErrno(int error, const std::string& path, std::string_view doing,
                 ErrnoSource source = ErrnoSource::kCall);

}  // namespace pv::platform

#endif  // PV_PLATFORM_POSIX_FROM_ERRNO_H_
