#ifndef VEXAPLATFORM_TOOL_TOOL_DESTINATION_H_
#define VEXAPLATFORM_TOOL_TOOL_DESTINATION_H_

namespace vexaplatform {

// What a tool is to write, held so that nobody puts another file in its place.
struct HeldDestination {
  int descriptor = -1;  // the holder's to close
  bool made = false;    // it did not exist, or another file stood there
};

// Holds the file at `path`, for a tool that reads `source`. A name that is not there, or not for a
// file alone (a link, a FIFO, a socket, one of several names of a file, which may be anybody's), is
// removed if need be, and becomes that of an empty file; where a tool is to work on the file in its
// place, of one with the same bytes. False with errno when that cannot be: EISDIR of a folder,
// EINVAL of a device. Allocates no memory.
bool HoldDestination(const char* path, const char* source, HeldDestination* held);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_DESTINATION_H_
