#ifndef VEXAPLATFORM_TOOL_RUNNING_TOOL_H_
#define VEXAPLATFORM_TOOL_RUNNING_TOOL_H_

#include <sys/types.h>
#include <unistd.h>

#include <memory>
#include <thread>

#include "platform/tool/tool_outcome.h"
#include "platform/tool/tool_plan.h"
#include "platform/tool/tool_streams.h"
#include "posix/unique_fd.h"

namespace vexaplatform {

// A tool that runs under its supervisor while this process's thread goes on.
class RunningTool {
 public:
  explicit RunningTool(std::unique_ptr<const ToolPlan> plan, const ToolStreams& streams = {});

  // 0, or -1 with errno set when the supervisor cannot be started. Closes the descriptor
  // `started_pipe`, if there is one, when the tool runs or cannot.
  int Start(vexathumb::posix::UniqueFd started_pipe);

  // Waits until nothing of it is left. A process that has only a copy of this, by fork, waits for
  // nothing: false.
  bool Wait();

  const ToolPlan& plan() const { return *plan_; }

  // Once it has been waited for.
  const ToolOutcome& outcome() const { return outcome_; }

 private:
  void Run(int started_pipe);

  const std::unique_ptr<const ToolPlan> plan_;
  ToolStreams streams_;
  ToolOutcome outcome_;
  std::thread thread_;
  pid_t process_ = getpid();
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_RUNNING_TOOL_H_
