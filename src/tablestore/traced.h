// The frame of every public operation: entry, exit and errors go to the log under the operation's
// label, and whatever is thrown leaves as an automation error with that label as its source.
#ifndef PV_TABLESTORE_TRACED_H_
#define PV_TABLESTORE_TRACED_H_

#include <string>
#include <type_traits>

#include "pvgroupman/automation/error.h"
#include "support/log.h"

namespace pv::tablestore {

// Logs "Exit error ", the number and the description.
inline void LogError(const char* label, const automation::Error& error) {
  if (!support::LogsAt(support::kLogErrors)) return;
  support::Log(label, "Exit error " + std::to_string(error.number()) + " " + error.description(),
               support::kLogErrors);
}

// Runs `body` in the frame.
template <typename Body>
auto Traced(const char* label, const Body& body) -> decltype(body()) {
  const bool trace = support::LogsAt(support::kLogTrace);
  if (trace) support::Log(label, "Entry", support::kLogTrace);
  try {
    if constexpr (std::is_void_v<decltype(body())>) {
      body();
      if (support::LogsAt(support::kLogTrace)) support::Log(label, "Exit", support::kLogTrace);
    } else {
      auto result = body();
      if (support::LogsAt(support::kLogTrace)) support::Log(label, "Exit", support::kLogTrace);
      return result;
    }
  } catch (...) {
    const automation::Error error = automation::CurrentError().WithSource(label);
    LogError(label, error);
    throw error;
  }
}

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_TRACED_H_
