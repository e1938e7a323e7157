// Writing the log. Tested by log_test.cc.
#include "support/log.h"

#include <exception>

#include "base/date.h"
#include "platform/file_system.h"
#include "platform/system.h"
#include "pvgroupman/automation/value.h"

namespace pv::support {
namespace {

#if defined(_WIN32)
constexpr std::string_view kLineEnd = "\r\n";
#else
constexpr std::string_view kLineEnd = "\n";
#endif

// Writers of other processes are kept from writing at the same place: the byte lies far beyond
// any log, and nobody is waited for long.
constexpr std::uint64_t kWriterByte = 0x7FFFFFFE;
constexpr std::uint32_t kWriterWaitMs = 200;

// The level is apart from the rest so that asking for it costs nothing.
constinit thread_local std::int32_t log_level = 0;  // 0: not logging

std::string& LogFile() {
  static thread_local std::string file;
  return file;
}

Status Append(const std::string& path, std::string_view text) {
  platform::FileSystem* const files = platform::CurrentSystem().files;
  platform::OpenOptions options;
  options.create = platform::CreateMode::kOpenOrCreate;
  PV_ASSIGN_OR_RETURN(const auto file, files->Open(path, options));
  if (file->read_only()) return Status::Denied(path);
  platform::RangeLock lock;
  PV_RETURN_IF_ERROR(platform::LockWithin(files, file.get(), kWriterByte, 1,
                                          platform::LockKind::kExclusive, kWriterWaitMs, &lock));
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, file->Size());
  return file->Write(size, text.data(), text.size());
}

// Moving the file takes the place of an earlier copy in one step.
Status RollOver(const std::string& path) {
  platform::FileSystem* const files = platform::CurrentSystem().files;
  const auto info = files->Stat(path);
  if (!info.ok() || info->size <= kLogRolloverBytes) return {};
  return files->Rename(path, path + ".old");
}

}  // namespace

void OpenLog(const std::string& file, std::int32_t level) {
  try {
    const CivilDateTime now = platform::CurrentSystem().process->LocalTime();
    const automation::Date date{AutomationFromDateTime(now)};
    std::string text(kLineEnd);
    text += "** Logging Started " + automation::FormatDate(date, "dd mmm yyyy hh:mm:ss") +
            " Level : " + std::to_string(level);
    text += kLineEnd;
    text += "** ";
    text += kLineEnd;
    text += kLineEnd;
    if (!Append(file, text).ok()) return;
    LogFile() = file;
    log_level = level;
  } catch (const std::exception&) {
    // A log that cannot be opened must not stop what it would have recorded.
  }
}

void StopLog() {
  log_level = 0;
  LogFile().clear();
}

bool IsLogging() { return log_level != 0; }

bool LogsAt(std::int32_t level) { return level <= log_level; }

void Log(std::string_view label, std::string_view message, std::int32_t level) {
  if (!IsLogging() || !LogsAt(level)) return;
  try {
    const std::string& path = LogFile();
    if (path.empty()) return;
    if (!RollOver(path).ok()) return;
    std::string line(label);
    if (!line.empty()) line += " - ";
    line += message;
    line += kLineEnd;
    (void)Append(path, line).ok();
  } catch (const std::exception&) {
    // As above.
  }
}

}  // namespace pv::support
