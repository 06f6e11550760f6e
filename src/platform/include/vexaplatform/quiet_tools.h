#ifndef VEXAPLATFORM_VEXAPLATFORM_QUIET_TOOLS_H_
#define VEXAPLATFORM_VEXAPLATFORM_QUIET_TOOLS_H_

#include "vexa/types.h"

namespace vexaplatform {

// While one lives, what the tools that its thread starts complain of does not come to this
// process's standard error: for a host to whom that is not addressed, and which has other threads
// that write there. The reports of the runs tell the same as ever. It goes on the thread that made
// it.
class VEXAPLATFORM_API QuietTools {
 public:
  QuietTools();
  ~QuietTools();
  QuietTools(const QuietTools&) = delete;
  QuietTools& operator=(const QuietTools&) = delete;
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_QUIET_TOOLS_H_
