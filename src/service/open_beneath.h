#ifndef VEXATHUMB_SERVICE_OPEN_BENEATH_H_
#define VEXATHUMB_SERVICE_OPEN_BENEATH_H_

#include <string>

namespace vexathumb::service {

// Opens `relative` (not empty; "." for the folder itself) beneath the open folder `directory`: no
// link is followed on the way, nor does the path lead out of it, whatever others change meanwhile.
// The last component may be a link only with O_PATH and O_NOFOLLOW. A descriptor; -1 with errno
// set, ELOOP for a link. Needs a kernel since 5.6.
int OpenBeneath(int directory, const std::string& relative, int flags);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_OPEN_BENEATH_H_
