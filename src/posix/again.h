#ifndef VEXATHUMB_POSIX_AGAIN_H_
#define VEXATHUMB_POSIX_AGAIN_H_

#include <cerrno>

namespace vexathumb::posix {

// What a system call returns that no signal has interrupted: it is made again until then.
template <typename Call>
auto Again(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

}  // namespace vexathumb::posix

#endif  // VEXATHUMB_POSIX_AGAIN_H_
