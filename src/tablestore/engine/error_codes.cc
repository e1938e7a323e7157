// The engine's negative codes. Tested by operations_test.cc.
#include "tablestore/engine/error_codes.h"

namespace pv::engine {

const char* ErrorMessage(std::int32_t code) {
  switch (code) {
#define PV_ENGINE_ERROR_CASE(name, number, message) \
  case name:                                        \
    return message;
    PV_ENGINE_ERRORS(PV_ENGINE_ERROR_CASE)
#undef PV_ENGINE_ERROR_CASE
    default:
      return nullptr;
  }
}

std::int32_t ErrorCodeOf(const Status& status, bool locking) {
  if (status.ok()) return 0;
  if (status.detail() < 0 && ErrorMessage(status.detail()) != nullptr) return status.detail();
  switch (status.code()) {
    case StatusCode::kNotFound:
      return kErrFileMissing;
    case StatusCode::kExists:
      return kErrFileExists;
    case StatusCode::kBusy:
      return locking ? 50 : kErrFileBusy;
    case StatusCode::kDenied:
      return kErrFileDenied;
    case StatusCode::kNoSpace:
      return kErrDiskFull;
    case StatusCode::kDuplicate:
      return 20;
    case StatusCode::kCorrupt:
      return kErrDataDamaged;
    case StatusCode::kLimit:
      return kErrFieldLimit;
    case StatusCode::kIoError:
      return kErrInputOutput;
    case StatusCode::kOk:
    case StatusCode::kInvalid:
    case StatusCode::kUnsupported:
      break;
  }
  return kErrUnexpected;
}

}  // namespace pv::engine
