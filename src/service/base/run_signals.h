#ifndef VEXATHUMB_SERVICE_BASE_RUN_SIGNALS_H_
#define VEXATHUMB_SERVICE_BASE_RUN_SIGNALS_H_

#include <csignal>

namespace vexathumb::service {

// What a long run is told by signals: SIGTERM and SIGINT to stop, SIGUSR1 to say where it is. For
// its lifetime they are blocked but in waits that use waiting_mask(), and afterwards they are
// ignored: the process is about to say how the run went, and to end. One at a time.
class RunSignals {
 public:
  RunSignals();
  RunSignals(const RunSignals&) = delete;
  RunSignals& operator=(const RunSignals&) = delete;
  ~RunSignals();

  const sigset_t& waiting_mask() const { return before_; }

  // How often it has been told to stop. The first time means after the work in hand.
  int StopRequests() const;

  // Whether it has been asked where it is since the last call.
  bool TakeQuestion();

 private:
  sigset_t before_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_RUN_SIGNALS_H_
