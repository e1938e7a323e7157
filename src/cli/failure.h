// How a run of pvgroup ends, and the one exception in which a verb gives up.
#ifndef PV_CLI_FAILURE_H_
#define PV_CLI_FAILURE_H_

#include <cstdint>
#include <stdexcept>
#include <string>

#include "base/status.h"

namespace pv::cli {

// Exit codes. Scripts depend on them: never change one.
enum ExitCode : int {
  kDone = 0,
  kFindings = 1,     // done, but rows were rejected, an address was not found, faults were found
  kUsage = 2,        // the command line, or a definition on it, is wrong; nothing was done
  kUnavailable = 3,  // a group, file or folder is missing or cannot be read or written
  kLocked = 4,       // somebody else holds the table or record
  kDamaged = 5,      // a file contradicts its format
  kInterrupted = 130,
};

// Ends a verb. main prints "pvgroup: " and the message, on one line, and exits with the code.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

ExitCode ExitCodeOf(const Status& status);

// For codes of the table engine and for the numbers of the public classes' errors alike.
ExitCode ExitCodeOf(std::int32_t number);

// Throws the Failure for a Status that is not OK.
void Check(const Status& status);

// The value, or the Failure for the Status.
template <typename T>
T Take(Result<T> result) {
  Check(result.status());
  return std::move(result).value();
}

}  // namespace pv::cli

#endif  // PV_CLI_FAILURE_H_
