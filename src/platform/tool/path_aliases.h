#ifndef VEXAPLATFORM_TOOL_PATH_ALIASES_H_
#define VEXAPLATFORM_TOOL_PATH_ALIASES_H_

#include <string>

#include "platform/tool/tool_order.h"
#include "platform/tool/tool_paths.h"

namespace vexaplatform {

// convert expands, numbers and evaluates what it finds in a path, takes a file named like the path
// with its frame for the source, and knows no long ones. So it is given links of harmless names in
// the order's private folder, always: rewrites the order's arguments and adds the links. False
// with errno when a relative path cannot be made absolute.
bool GiveAliases(const ToolPaths& paths, ToolOrder* order);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_PATH_ALIASES_H_
