#ifndef VEXAPLATFORM_TOOL_TOOL_ORDER_H_
#define VEXAPLATFORM_TOOL_TOOL_ORDER_H_

#include <linux/filter.h>

#include <string>
#include <vector>

#include "platform/sandbox/landlock.h"
#include "vexaplatform/tool_limits.h"

namespace vexaplatform {

struct Link {
  std::string path;
  std::string target;
};

// One run of a tool, ordered to the last detail before it begins: the processes that carry it out
// share the host's memory, must not allocate any, and change nothing in here.
struct ToolOrder {
  std::string program;
  std::vector<std::string> arguments;
  std::vector<std::string> environment;
  ToolLimits limits;
  std::string private_folder;     // made, and removed with all that is in it; may be empty
  std::vector<Link> links;        // in the private folder
  std::string source;             // what the tool reads; may be empty
  std::string destination;        // what the tool writes; may be empty
  bool make_destination = false;  // as an empty file, when it does not exist
  bool confined = false;
  std::vector<PathRule> rules;
  std::vector<sock_filter> filter;
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_ORDER_H_
