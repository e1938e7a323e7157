// Prints progress. Tested end to end by tests/cli.
#include "cli/output/progress.h"

#include <algorithm>
#include <cstdio>

#include "cli/output/terminal.h"

namespace pv::cli {

Progress::Progress(std::string what, std::uint64_t total_bytes, bool wanted)
    : what_(std::move(what)),
      total_bytes_(total_bytes),
      terminal_(ErrorsAreTerminal()),
      enabled_(terminal_ || wanted),
      start_(Clock::now()),
      next_(start_ + std::chrono::milliseconds(terminal_ ? 400 : 0)) {}

void Progress::Tell(std::uint64_t bytes, std::uint64_t rows) {
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(terminal_ ? 200 : 500);
  const double seconds = std::max(std::chrono::duration<double>(now - start_).count(), 1e-3);
  if (!terminal_) {
    std::fprintf(stderr, "progress: %s %llu rows\n", what_.c_str(),
                 static_cast<unsigned long long>(rows));
    std::fflush(stderr);
    return;
  }
  const double share =
      total_bytes_ == 0
          ? 1.0
          : std::min(1.0, static_cast<double>(bytes) / static_cast<double>(total_bytes_));
  const double left = share > 0 ? seconds * (1 - share) / share : 0;
  std::fprintf(stderr, "\r\x1B[K%s %3.0f%%  %llu rows  %.0f rows/s  %.0f s left", what_.c_str(),
               share * 100, static_cast<unsigned long long>(rows),
               static_cast<double>(rows) / seconds, left);
  std::fflush(stderr);
  shown_ = true;
}

void Progress::Clear() {
  if (shown_) std::fprintf(stderr, "\r\x1B[K");
  shown_ = false;
}

}  // namespace pv::cli
