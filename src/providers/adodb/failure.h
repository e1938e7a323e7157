// From a Status to the error that hosts see.
#ifndef PV_PROVIDERS_ADODB_FAILURE_H_
#define PV_PROVIDERS_ADODB_FAILURE_H_

#include <cstdint>
#include <string>

#include "base/status.h"
#include "providers/adodb/error_numbers.h"
#include "pvgroupman/automation/error.h"

namespace pv::adodb {

// Throws one of ADO's errors from 3001 to 3709.
[[noreturn]] inline void Raise(std::int32_t number, const char* source,
                               const std::string& detail = {}) {
  std::string text = TextOfNumber(number);
  if (!detail.empty()) text += " (" + detail + ")";
  throw automation::Error(number, source, std::move(text));
}

// Throws a failure as the error that its detail numbers.
inline void Check(const Status& status, const char* source) {
  if (status.ok()) return;
  throw automation::Error(status.detail() != 0 ? status.detail() : kErrInvalidArgument, source,
                          status.message());
}

// The value of a result, or its failure thrown.
template <typename T>
T Check(Result<T> result, const char* source) {
  Check(result.status(), source);
  return std::move(result).value();
}

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_FAILURE_H_
