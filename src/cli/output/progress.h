// Tells on standard error how far an import has come.
#ifndef PV_CLI_OUTPUT_PROGRESS_H_
#define PV_CLI_OUTPUT_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace pv::cli {

class Progress {
 public:
  // On a terminal one line is rewritten a few times a second, once the work has lasted a moment;
  // elsewhere, when `wanted`, a line "progress: …" is printed each half second; else nothing.
  Progress(std::string what, std::uint64_t total_bytes, bool wanted);
  ~Progress() { Clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Cheap; to be called often. What it says was done is done.
  void Update(std::uint64_t bytes, std::uint64_t rows) {
    if (enabled_ && ++calls_ % 256 == 0) Tell(bytes, rows);
  }

  // Takes the line off the terminal.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;
  void Tell(std::uint64_t bytes, std::uint64_t rows);

  std::string what_;
  std::uint64_t total_bytes_;
  bool terminal_;
  bool enabled_;
  bool shown_ = false;
  std::uint32_t calls_ = 0;
  Clock::time_point start_;
  Clock::time_point next_;
};

}  // namespace pv::cli

#endif  // PV_CLI_OUTPUT_PROGRESS_H_
