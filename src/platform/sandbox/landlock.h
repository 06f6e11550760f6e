#ifndef VEXAPLATFORM_SANDBOX_LANDLOCK_H_
#define VEXAPLATFORM_SANDBOX_LANDLOCK_H_

#include <string>
#include <vector>

#include "platform/base/expected_file.h"

namespace vexaplatform {

// What a tool may do with a file, or with all that lies in a folder.
enum class PathUse {
  kReadSystem,  // read and execute
  kRead,
  kDestination,  // read and write
  kWriteDevice,
  kMoveFrom,  // a folder: remove files in it
  kMoveTo,    // a folder: make and write files in it
  kTemporary  // a folder: make, read, write and remove files in it
};

struct PathRule {
  std::string path;
  PathUse use;
  const ExpectedFile* expected = nullptr;  // what lies there, where it must be one file
};

// Version of the kernel's Landlock; 0 where there is none.
int LandlockVersion();

// Makes a ruleset of the rights that this kernel knows: all that no rule grants is denied. A rule
// for a path that does not exist grants nothing. A descriptor, closed on exec; -1 with errno,
// ESTALE when another file than the expected one lies at a path. The rule for a destination holds
// for the file that the descriptor is for, whatever lies at its path. Allocates no memory.
int MakeLandlockRuleset(const std::vector<PathRule>& rules, int destination);

// Puts the calling thread, and what it executes, under the ruleset. 0, or -1 with errno.
int EnterLandlockRuleset(int ruleset);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_SANDBOX_LANDLOCK_H_
