#include "service/open_beneath.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vexathumb::service {

int OpenBeneath(int directory, const std::string& relative, int flags) {
  struct open_how how = {};
  how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  return static_cast<int>(syscall(SYS_openat2, directory, relative.c_str(), &how, sizeof(how)));
}

}  // namespace vexathumb::service
