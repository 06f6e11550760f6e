#ifndef VEXAPLATFORM_TOOL_LANDLOCK_H_
#define VEXAPLATFORM_TOOL_LANDLOCK_H_

#include <vector>

#include "platform/tool/tool_launch.h"

namespace vexaplatform {

// Version of the kernel's Landlock; 0 where there is none.
int LandlockVersion();

// Makes a ruleset of the rights that this kernel knows: all that no rule grants is denied. A rule
// for a path that does not exist grants nothing. A descriptor, closed on exec; -1 with errno.
// Allocates no memory.
int MakeLandlockRuleset(const std::vector<PathRule>& rules);

// Puts the calling thread, and what it executes, under the ruleset. 0, or -1 with errno.
int EnterLandlockRuleset(int ruleset);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_LANDLOCK_H_
