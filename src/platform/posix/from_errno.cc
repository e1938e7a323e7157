// Sorts the system's error numbers. Tested by posix_file_system_test.cc.
#include "platform/posix/from_errno.h"

#include <cerrno>
#include <system_error>

namespace pv::platform {
namespace {

StatusCode CodeOf(int error, ErrnoSource source) {
  if (source == ErrnoSource::kLock && error == EACCES) return StatusCode::kBusy;
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return StatusCode::kNotFound;
    case EEXIST:
    case ENOTEMPTY:
      return StatusCode::kExists;
    case EAGAIN:
    case EBUSY:
    case ETXTBSY:
      return StatusCode::kBusy;
    case EACCES:
    case EPERM:
    case EROFS:
    case ELOOP:  // a symbolic link where none is followed
      return StatusCode::kDenied;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return StatusCode::kNoSpace;
    case EINVAL:
    case EISDIR:
    case ENAMETOOLONG:
      return StatusCode::kInvalid;
    case ENOSYS:
    case EOPNOTSUPP:
      return StatusCode::kUnsupported;
    default:
      return StatusCode::kIoError;
  }
}

}  // namespace

Status FromErrno(int error, const std::string& path, std::string_view doing, ErrnoSource source) {
  std::string message = path;
  message.append(": ").append(doing).append(": ");
  message += std::generic_category().message(error);
  return Status(CodeOf(error, source), std::move(message), error);
}

}  // namespace pv::platform
