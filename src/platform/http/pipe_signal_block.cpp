#include "platform/http/pipe_signal_block.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>

namespace vexaplatform {

PipeSignalBlock::PipeSignalBlock() {
  sigset_t pending;
  sigpending(&pending);
  was_pending_ = sigismember(&pending, SIGPIPE) == 1;
  sigemptyset(&pipe_signal_);
  sigaddset(&pipe_signal_, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_signal_, &callers_mask_);
}

PipeSignalBlock::~PipeSignalBlock() {
  const int error = errno;
  if (!was_pending_) {
    const timespec at_once{};
    while (sigtimedwait(&pipe_signal_, nullptr, &at_once) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &callers_mask_, nullptr);
  errno = error;
}

}  // namespace vexaplatform
