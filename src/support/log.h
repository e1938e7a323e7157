// The component's log: one plain-text file for the whole apartment, switched by
// Database.SetLogging. Each line is written with its own open and close; nothing here ever fails
// towards its caller.
#ifndef PV_SUPPORT_LOG_H_
#define PV_SUPPORT_LOG_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace pv::support {

// Levels of lines, as LogLevel of the interface numbers them.
constexpr std::int32_t kLogErrors = 1;
constexpr std::int32_t kLogTrace = 3;

// A longer file is moved to the same name with ".old" before the next line.
constexpr std::uint64_t kLogRolloverBytes = 65'536;

// Starts logging lines up to `level` to a file and writes a heading into it. Logging stays as it
// was when the file cannot be written.
void OpenLog(const std::string& file, std::int32_t level);

// Ends logging.
void StopLog();

// True between a successful OpenLog and StopLog.
bool IsLogging();

// True when a line of this level would be written: ask before building one.
bool LogsAt(std::int32_t level);

// Writes the line "label - message", or the message alone when the label is empty.
void Log(std::string_view label, std::string_view message, std::int32_t level);

}  // namespace pv::support

#endif  // PV_SUPPORT_LOG_H_
