#include "service/base/silenced_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vexathumb::service {

SilencedDescriptor::SilencedDescriptor(FILE* stream)
    : stream_(stream), saved_(fcntl(fileno(stream), F_DUPFD_CLOEXEC, 3)) {
  if (!saved_) throw std::system_error(errno, std::generic_category(), "descriptor");
  fflush(stream_);
  const posix::UniqueFd null(open("/dev/null", O_WRONLY | O_CLOEXEC));
  if (!null) throw std::system_error(errno, std::generic_category(), "/dev/null");
  dup2(null.get(), fileno(stream_));
}

SilencedDescriptor::~SilencedDescriptor() {
  fflush(stream_);
  dup2(saved_.get(), fileno(stream_));
}

}  // namespace vexathumb::service
