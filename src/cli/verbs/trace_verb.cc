// The trace verb. Tested by tests/cli/test_trace.py.
#include <cstdint>
#include <cstdio>

#include "base/code_page.h"
#include "cli/output/terminal.h"
#include "cli/stop_signal.h"
#include "cli/verbs/verbs.h"
#include "platform/system.h"
#include "support/configuration.h"
#include "support/trace.h"

namespace pv::cli {
namespace {

// How long a signal that comes between two looks can go unnoticed.
constexpr std::uint32_t kLookMilliseconds = 500;

void PrintLine(const platform::TraceMessage& message, const CodePage& page) {
  const CivilDateTime now = platform::CurrentSystem().process->LocalTime();
  std::string_view bytes = message.bytes;
  if (!bytes.empty() && bytes.back() == '\0') bytes.remove_suffix(1);
  std::string line;
  AppendVisible(&line, page.Decode(bytes));
  std::printf("%02d:%02d:%02d %s\n", now.hour, now.minute, now.second, line.c_str());
  // Who reads this through a pipe wants each line when it comes.
  if (std::fflush(stdout) != 0) throw Failure(kUnavailable, "cannot write to standard output");
}

ExitCode Trace(std::uint64_t lines) {
  const auto listener = Take(platform::CurrentSystem().trace_windows->Listen(support::kTraceTitle));
  const auto page = support::CurrentCodePage();
  const StopOnInterrupt stop;
  Tell("waiting for trace lines; Ctrl-C ends it");
  for (std::uint64_t printed = 0; lines == 0 || printed < lines;) {
    if (stop.asked()) return kInterrupted;
    const auto message = listener->Receive(kLookMilliseconds);
    if (!message.ok() && message.status().code() != StatusCode::kCorrupt) Check(message.status());
    if (!message.ok()) {
      Tell(message.status().message());
    } else if (*message && (*message)->kind == support::kTraceKind) {
      PrintLine(**message, *page);
      ++printed;
    }
  }
  return kDone;
}

}  // namespace

void AddTraceVerb(Verb app, CommonOptions* common) {
  const Verb verb = AddVerb(
      app, common, "trace",
      "Show the component's trace lines as they come.\n\n"
      "Programs that use the component send them while this runs and waste no time on them\n"
      "otherwise; a line that comes faster than it can be printed is lost. Each line is printed\n"
      "with the time of day. Only one such viewer can run for a user.",
      {"trace", "trace --lines 100 > trace.txt"});
  verb.RemoveOption("--data");
  auto lines = std::make_shared<std::uint64_t>(0);
  verb.AddOption("--lines", lines.get(), "End after this many lines").TypeName("N");
  verb.Runs([=] { return Trace(*lines); });
}

}  // namespace pv::cli
