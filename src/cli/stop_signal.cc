// Signals that ask for the end. Tested by tests/cli/test_interrupted.py.
#include "cli/stop_signal.h"

#include <csignal>

namespace pv::cli {
namespace {

volatile std::sig_atomic_t stop_asked = 0;

extern "C" void OnStopSignal(int signal) {
  stop_asked = 1;
  std::signal(signal, SIG_DFL);
}

}  // namespace

StopOnInterrupt::StopOnInterrupt() {
  stop_asked = 0;
  previous_interrupt_ = std::signal(SIGINT, OnStopSignal);
  previous_terminate_ = std::signal(SIGTERM, OnStopSignal);
}

StopOnInterrupt::~StopOnInterrupt() {
  std::signal(SIGINT, previous_interrupt_);
  std::signal(SIGTERM, previous_terminate_);
}

bool StopOnInterrupt::asked() const { return stop_asked != 0; }

}  // namespace pv::cli
