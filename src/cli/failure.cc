// Sorts failures by exit code. Tested by failure_test.cc.
#include "cli/failure.h"

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/operations.h"

namespace pv::cli {
namespace {

// Numbers that the group classes raise themselves.
constexpr std::int32_t kGroupOpen = 2407;
constexpr std::int32_t kGroupGone = 2409;
constexpr std::int32_t kInvalidArgument = 5;

// The converter's, for an address book that contradicts its format.
constexpr std::int32_t kBookDamaged = 321;

}  // namespace

ExitCode ExitCodeOf(const Status& status) {
  if (status.detail() < 0) return ExitCodeOf(status.detail());
  switch (status.code()) {
    case StatusCode::kOk:
      return kDone;
    case StatusCode::kBusy:
      return kLocked;
    case StatusCode::kCorrupt:
      return kDamaged;
    case StatusCode::kExists:
    case StatusCode::kInvalid:
    case StatusCode::kLimit:
      return kUsage;
    case StatusCode::kDuplicate:
      return kFindings;
    case StatusCode::kNotFound:
    case StatusCode::kDenied:
    case StatusCode::kNoSpace:
    case StatusCode::kIoError:
    case StatusCode::kUnsupported:
      break;
  }
  return kUnavailable;
}

ExitCode ExitCodeOf(std::int32_t number) {
  switch (number) {
    case engine::kSuccess:
      return kDone;
    case engine::kUniqueKey:
      return kFindings;
    case engine::kLocked:
    case engine::kErrFileBusy:
    case kGroupOpen:
      return kLocked;
    case engine::kErrNotTable:
    case engine::kErrDataDamaged:
    case engine::kErrIndexDamaged:
    case engine::kErrMemoDamaged:
    case engine::kErrMemoMissing:
    case kBookDamaged:
      return kDamaged;
    case engine::kErrFileExists:
    case engine::kErrTagLimit:
    case engine::kErrExpression:
    case engine::kErrFieldLimit:
    case engine::kErrFieldType:
    case engine::kErrFieldValue:
    case engine::kErrFieldReadOnly:
    case kInvalidArgument:
      return kUsage;
    case kGroupGone:
    default:
      return kUnavailable;
  }
}

void Check(const Status& status) {
  if (!status.ok()) throw Failure(ExitCodeOf(status), status.message());
}

}  // namespace pv::cli
