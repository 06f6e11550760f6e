#ifndef VEXAPLATFORM_VEXAPLATFORM_TOOL_REPORT_H_
#define VEXAPLATFORM_VEXAPLATFORM_TOOL_REPORT_H_

#include <string>
#include <vector>

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

// How an external tool ended, and which program it was. A caller of the library learns from it why
// there is no thumbnail, which the library itself does not tell.
struct ToolReport {
  ToolEnding ending = ToolEnding::kNone;
  std::string program;  // path
  int detail = 0;       // exit status, signal number, errno or ToolLimit, by `ending`
  std::string written;  // path of the file that it was to write; "" when there is none, or too long
  std::string limit;    // of kLimited: which one and how much, in words

  // errno of what the machine kept from it whatever the ending, as far as its messages and its
  // limits tell: ENOSPC when it had no room, ENOMEM when it met its limit of memory on a machine
  // that has less, ETIMEDOUT when it waited through most of its time. 0: nothing.
  int machine_error = 0;
};

// The last run of the calling thread; each has its own. Throws std::bad_alloc only.
VEXAPLATFORM_API ToolReport LastToolRun();

// All runs that have ended, the first one first; of very many the last 16. Throws std::bad_alloc
// only.
VEXAPLATFORM_API std::vector<ToolReport> ToolRuns();

// Forgets them, so that a later kNone means that no tool was run since.
VEXAPLATFORM_API void ForgetToolRuns();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_TOOL_REPORT_H_
