#ifndef VEXATHUMB_SERVICE_BASE_SILENCED_DESCRIPTOR_H_
#define VEXATHUMB_SERVICE_BASE_SILENCED_DESCRIPTOR_H_

#include <cstdio>

#include "posix/unique_fd.h"

namespace vexathumb::service {

// For its lifetime, what this process writes to a stream and its descriptor goes to /dev/null; what
// was in the stream's buffer before is written out first. One at a time per stream, and no other
// thread may write to it meanwhile.
class SilencedDescriptor {
 public:
  // Throws std::system_error.
  explicit SilencedDescriptor(FILE* stream);
  SilencedDescriptor(const SilencedDescriptor&) = delete;
  SilencedDescriptor& operator=(const SilencedDescriptor&) = delete;
  ~SilencedDescriptor();

 private:
  FILE* stream_;
  posix::UniqueFd saved_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_SILENCED_DESCRIPTOR_H_
