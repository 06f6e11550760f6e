#include "platform/tool/running_tool.h"

#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <new>
#include <system_error>
#include <utility>

#include "platform/tool/supervisor.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

// A thread that waits for its supervisor cannot handle a signal, so it takes none; the caller's
// handlers run in the others.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

}  // namespace

RunningTool::RunningTool(std::unique_ptr<const ToolPlan> plan, const ToolStreams& streams)
    : plan_(std::move(plan)), streams_(streams) {}

int RunningTool::Start(UniqueFd started_pipe) {
  streams_.has_error_output = HasErrorOutput();
  int error = 0;
  {
    const AllSignalsBlocked blocked;  // the thread inherits it
    try {
      thread_ = std::thread([this, pipe = std::move(started_pipe)] { Run(pipe.get()); });
    } catch (const std::system_error& failure) {
      error = failure.code().value();
    }
  }
  if (error == 0) return 0;
  errno = error;
  return -1;
}

void RunningTool::Run(int started_pipe) {
  try {
    outcome_ = RunSupervised(plan_->order, streams_, started_pipe);
  } catch (const std::bad_alloc&) {
    outcome_.error = ENOMEM;
  }
}

bool RunningTool::Wait() {
  if (getpid() != process_) {
    thread_.detach();
    return false;
  }
  thread_.join();
  return true;
}

}  // namespace vexaplatform
