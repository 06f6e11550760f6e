#ifndef VEXAPLATFORM_HTTP_PIPE_SIGNAL_BLOCK_H_
#define VEXAPLATFORM_HTTP_PIPE_SIGNAL_BLOCK_H_

#include <csignal>

namespace vexaplatform {

// While it lives, writing to a client that is gone fails with EPIPE and nothing else. Only the
// calling thread is concerned; the host's disposition of SIGPIPE and a SIGPIPE that was pending
// before stay what they are.
class PipeSignalBlock {
 public:
  PipeSignalBlock();
  PipeSignalBlock(const PipeSignalBlock&) = delete;
  PipeSignalBlock& operator=(const PipeSignalBlock&) = delete;
  ~PipeSignalBlock();

 private:
  sigset_t pipe_signal_;
  sigset_t callers_mask_;
  bool was_pending_;
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_PIPE_SIGNAL_BLOCK_H_
