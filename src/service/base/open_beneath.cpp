#include "service/base/open_beneath.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vexathumb::service {

int OpenBeneath(int directory, const std::string& relative, int flags) {
  struct open_how how = {};
  how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  const auto fd =
      static_cast<int>(syscall(SYS_openat2, directory, relative.c_str(), &how, sizeof(how)));
  if (fd < 0 && errno == ENOSYS) throw std::system_error(errno, std::generic_category(), "openat2");
  return fd;
}

}  // namespace vexathumb::service
