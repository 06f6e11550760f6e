#ifndef VEXATHUMB_POSIX_WRITE_ALL_H_
#define VEXATHUMB_POSIX_WRITE_ALL_H_

#include <unistd.h>

#include <cstddef>

#include "posix/again.h"

namespace vexathumb::posix {

// Writes all of it, in as many parts as it takes. False with errno, when some of it may be written.
inline bool WriteAll(int file, const char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t part = Again([=] { return write(file, bytes, size); });
    if (part < 0) return false;
    bytes += part;
    size -= static_cast<size_t>(part);
  }
  return true;
}

}  // namespace vexathumb::posix

#endif  // VEXATHUMB_POSIX_WRITE_ALL_H_
