#ifndef VEXAPLATFORM_VEXAPLATFORM_CONFINEMENT_H_
#define VEXAPLATFORM_VEXAPLATFORM_CONFINEMENT_H_

#include <string>

#include "vexa/types.h"

namespace vexaplatform {

// What keeps the external tools that vlibc/process.h knows from doing harm, on this machine.
//
// Landlock, a facility of the kernel, limits the files that a tool can open. seccomp, another,
// limits the system calls that it can make to a list: no sockets, no other processes, no signals
// and, but for mv, no change of a file's mode, owner, time or attributes. Before version 3 Landlock
// does not know of files that are cut short by name, and before version 6 not of signals: there it
// is the list alone that refuses them.
struct Confinement {
  bool enabled = true;   // by the settings
  int landlock = 0;      // version of the kernel's, 0: it has none
  bool seccomp = false;  // whether the kernel has it
  bool usage = false;    // whether the kernel tells what a tool writes, and of its threads
  std::string policy;    // the folder with ImageMagick's policy for us; empty when it is missing
  std::string temp_dir;  // where private folders are made
};

// Callable from any thread. Throws std::bad_alloc only.
VEXAPLATFORM_API Confinement AskConfinement();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_CONFINEMENT_H_
