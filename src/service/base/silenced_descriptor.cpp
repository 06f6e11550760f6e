#include "service/base/silenced_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vexathumb::service {

SilencedDescriptor::SilencedDescriptor(FILE* stream)
    : stream_(stream), saved_(fcntl(fileno(stream), F_DUPFD_CLOEXEC, 3)) {
  if (saved_ < 0) throw std::system_error(errno, std::generic_category(), "descriptor");
  fflush(stream_);
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (null < 0) {
    const int error = errno;
    close(saved_);
    throw std::system_error(error, std::generic_category(), "/dev/null");
  }
  dup2(null, fileno(stream_));
  close(null);
}

SilencedDescriptor::~SilencedDescriptor() {
  fflush(stream_);
  dup2(saved_, fileno(stream_));
  close(saved_);
}

}  // namespace vexathumb::service
