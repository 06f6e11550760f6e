#ifndef VEXATHUMB_RENDER_RUNNING_JOB_H_
#define VEXATHUMB_RENDER_RUNNING_JOB_H_

#include <sys/resource.h>
#include <sys/types.h>

#include <chrono>
#include <vector>

#include "posix/unique_fd.h"
#include "render/order.h"
#include "render/shared_answer.h"

namespace vexathumb::render {

// A job whose process runs, as the server sees it.
class RunningJob {
 public:
  using Clock = std::chrono::steady_clock;

  // Forks the process. The descriptors are those of the job's message.
  RunningJob(const OrderRecord& order, std::vector<posix::UniqueFd> descriptors);

  bool has_started() const { return process_ > 0; }
  pid_t process() const { return process_; }
  int reply() const { return descriptors_[kReplyDescriptor].get(); }
  Clock::time_point deadline() const { return deadline_; }

  // It has had the time that it may have.
  void EndByTime();

  // Nobody waits for it any more.
  void Abandon();

  // Says how it ended to whoever waits. `status` is wait4()'s.
  void Answer(int status, const rusage& usage) const;

  // Says that it could not be started.
  void AnswerNotStarted() const;

 private:
  AnswerRecord AnswerOf(int status, const rusage& usage) const;

  OrderRecord order_;
  std::vector<posix::UniqueFd> descriptors_;
  SharedAnswer answer_;
  Clock::time_point deadline_;
  pid_t process_ = -1;
  int start_error_ = 0;
  bool is_out_of_time_ = false;
};

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_RUNNING_JOB_H_
