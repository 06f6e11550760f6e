#ifndef VEXATHUMB_SERVICE_BASE_OPEN_BENEATH_H_
#define VEXATHUMB_SERVICE_BASE_OPEN_BENEATH_H_

#include <string>

namespace vexathumb::service {

// Opens `relative` (not empty; "." for the folder itself) beneath the open folder `directory`: no
// link is followed on the way, nor does the path lead out of it, whatever others change meanwhile.
// The last component may be a link only with O_PATH and O_NOFOLLOW. A descriptor; -1 with errno
// set, ELOOP for a link. Throws std::system_error where openat2 is not to be had, which kernels
// since 5.6 have unless a filter of system calls takes it away: no other way holds against a race.
int OpenBeneath(int directory, const std::string& relative, int flags);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_OPEN_BENEATH_H_
