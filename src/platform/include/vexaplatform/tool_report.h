#ifndef VEXAPLATFORM_VEXAPLATFORM_TOOL_REPORT_H_
#define VEXAPLATFORM_VEXAPLATFORM_TOOL_REPORT_H_

#include <string>

#include "vexa/types.h"
#include "vexaplatform/tool_limits.h"

namespace vexaplatform {

enum class ToolEnding {
  kNone,        // no tool has been run yet
  kSucceeded,   // exit status 0
  kExited,      // another exit status
  kSignalled,   // ended by a signal
  kNotStarted,  // missing, not executable, no resources, a destination that cannot be written
  kLimited,     // met one of its limits
  kIncomplete,  // said that it succeeded, but left an empty or a cut picture
};

// How the last external tool of the calling thread ended, and which program it was. A caller of the
// library learns from it why there is no thumbnail, which the library itself does not tell.
struct ToolReport {
  ToolEnding ending = ToolEnding::kNone;
  std::string program;  // path
  int detail = 0;       // exit status, signal number, errno or ToolLimit, by `ending`
};

// Each thread has its own. Throws std::bad_alloc only.
VEXAPLATFORM_API ToolReport LastToolRun();

// Forgets it, so that a later kNone means that no tool was run since.
VEXAPLATFORM_API void ForgetLastToolRun();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_TOOL_REPORT_H_
