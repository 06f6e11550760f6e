#ifndef VEXAPLATFORM_FAILED_CALL_H_
#define VEXAPLATFORM_FAILED_CALL_H_

#include <cerrno>

namespace vexaplatform {

// What an operation answers that fails as a system call does.
inline int FailWith(int error) {
  errno = error;
  return -1;
}

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_FAILED_CALL_H_
