#ifndef VEXAPLATFORM_TOOL_TOOL_PLAN_H_
#define VEXAPLATFORM_TOOL_TOOL_PLAN_H_

#include <memory>
#include <string>

#include "platform/tool/tool_order.h"
#include "platform/tool/tool_paths.h"

namespace vexaplatform {

// What is to be run, and what is done with the result.
struct ToolPlan {
  Tool tool = Tool::kOther;
  ToolPaths paths;     // of the caller's vector
  std::string staged;  // what mv writes, to be renamed to its destination; may be empty
  int output = -1;     // the caller's descriptor of what a tool on files writes
  ToolOrder order;
};

// Prepares the run of a program under the settings of now: limits, environment and, for the tools
// that are known, confinement: to the files that its vector names, with aliases, or to none where
// the vector is not understood. Null with errno when it
// must not be run. Throws std::bad_alloc only.
std::unique_ptr<ToolPlan> PlanTool(const char* program, const char* const argv[]);

// The same for a program that reads one open file and writes another, the caller's descriptor
// `output`: confined to these, whichever program it is.
std::unique_ptr<ToolPlan> PlanToolOnFiles(const char* program, const char* const argv[],
                                          int output);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_PLAN_H_
