#ifndef VEXAPLATFORM_TOOL_TOOL_OUTCOME_H_
#define VEXAPLATFORM_TOOL_TOOL_OUTCOME_H_

#include <cerrno>

#include "vexaplatform/tool_limits.h"

namespace vexaplatform {

// How one run of a tool went.
struct ToolOutcome {
  int error = ECHILD;              // errno when it could not be started
  const char* obstacle = nullptr;  // the order's path that the error is about, if not the program's
  bool started = false;            // the program runs, or ran
  bool supervised = false;         // to its end: what follows is known
  int wait_status = 0;             // as waitpid(2) tells it
  double cpu_seconds = 0;
  bool out_of_time = false;             // it met its wall time
  ToolLimit passed = ToolLimit::kNone;  // for which its supervisor has ended it
  ToolLimit told = ToolLimit::kNone;    // the limit that its messages speak of
  int machine_error = 0;                // errno of what they say the machine refused; 0: of nothing
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_OUTCOME_H_
