#ifndef VEXAPLATFORM_VEXAPLATFORM_TOOL_FOLDERS_H_
#define VEXAPLATFORM_VEXAPLATFORM_TOOL_FOLDERS_H_

#include "vexa/types.h"

namespace vexaplatform {

// Removes the private folders of tools whose run has left them: one outlives its run only where the
// host and the supervisor of the tool are killed at once. Those of this user that nothing has been
// made in for an hour, longer than any tool may run. For programs to call now and then. Throws
// std::bad_alloc only.
VEXAPLATFORM_API void SweepToolFolders();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_TOOL_FOLDERS_H_
