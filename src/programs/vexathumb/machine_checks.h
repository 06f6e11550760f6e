#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_MACHINE_CHECKS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_MACHINE_CHECKS_H_

#include <string>
#include <vector>

namespace vexathumb::program {

enum class Level { kOk, kWarn, kFail };

struct Finding {
  Level level;
  std::string subject;
  std::string text;
  std::string advice;  // empty when there is nothing to do
};

// Whether the tools are there, executable and answer when they are started.
std::vector<Finding> CheckTools();

// Which formats can be read here.
std::vector<Finding> CheckFormats();

// Whether the renderer works, and which engine makes the thumbnails of which type here, and why.
std::vector<Finding> CheckEngines();

// Whether thumbnails of the pictures in `folder`, an absolute path, can be stored. Leaves nothing
// behind.
std::vector<Finding> CheckStore(const std::string& folder);

// Whether the settings can be read and hold together.
std::vector<Finding> CheckSettings();

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_MACHINE_CHECKS_H_
