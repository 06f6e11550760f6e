#ifndef VEXATHUMB_POSIX_OPEN_BENEATH_H_
#define VEXATHUMB_POSIX_OPEN_BENEATH_H_

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "posix/unique_fd.h"

namespace vexathumb::posix {

// Opens `relative` (not empty; "." for the folder itself) beneath the open folder `directory`: no
// link is followed on the way, nor does the path lead out of it, whatever others change meanwhile.
// The last component may be a link only with O_PATH and O_NOFOLLOW. None with errno set when it
// cannot be opened, ELOOP for a link, ENOSYS where openat2 is not to be had.
inline UniqueFd TryOpenBeneath(int directory, const std::string& relative, int flags) {
  struct open_how how = {};
  how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  return UniqueFd(
      static_cast<int>(syscall(SYS_openat2, directory, relative.c_str(), &how, sizeof(how))));
}

// The same, but throws std::system_error where openat2 is not to be had, which kernels since 5.6
// have unless a filter of system calls takes it away: no other way holds against a race.
inline UniqueFd OpenBeneath(int directory, const std::string& relative, int flags) {
  UniqueFd found = TryOpenBeneath(directory, relative, flags);
  if (!found && errno == ENOSYS) throw std::system_error(errno, std::generic_category(), "openat2");
  return found;
}

}  // namespace vexathumb::posix

#endif  // VEXATHUMB_POSIX_OPEN_BENEATH_H_
