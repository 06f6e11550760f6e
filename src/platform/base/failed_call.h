#ifndef VEXAPLATFORM_BASE_FAILED_CALL_H_
#define VEXAPLATFORM_BASE_FAILED_CALL_H_

#include <cerrno>

namespace vexaplatform {

// What an operation answers that fails as a system call does.
inline int FailWith(int error) {
  errno = error;
  return -1;
}

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_BASE_FAILED_CALL_H_
