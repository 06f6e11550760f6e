#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_SAFETY_CHECKS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_SAFETY_CHECKS_H_

#include <vector>

#include "programs/vexathumb/machine_checks.h"
#include "vexaplatform/confinement.h"

namespace vexathumb::program {

// What keeps a tool that a picture has got hold of from doing harm, one finding a protection.
std::vector<Finding> CheckConfinement(const vexaplatform::Confinement& confinement);

// What about this process and machine gives others a way in.
std::vector<Finding> CheckSurroundings();

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_SAFETY_CHECKS_H_
