// Ending long work at a good moment when the user asks for it.
#ifndef PV_CLI_STOP_SIGNAL_H_
#define PV_CLI_STOP_SIGNAL_H_

namespace pv::cli {

// While it lives, the first Ctrl-C only makes asked() true; a second one ends the program.
class StopOnInterrupt {
 public:
  StopOnInterrupt();
  ~StopOnInterrupt();
  StopOnInterrupt(const StopOnInterrupt&) = delete;
  StopOnInterrupt& operator=(const StopOnInterrupt&) = delete;

  bool asked() const;

 private:
  void (*previous_interrupt_)(int);
  void (*previous_terminate_)(int);
};

}  // namespace pv::cli

#endif  // PV_CLI_STOP_SIGNAL_H_
