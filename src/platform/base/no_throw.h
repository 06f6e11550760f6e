#ifndef VEXAPLATFORM_BASE_NO_THROW_H_
#define VEXAPLATFORM_BASE_NO_THROW_H_

#include <cerrno>
#include <new>

namespace vexaplatform {

// Runs the body of an operation that is called from C: memory that runs out becomes the result
// `failure` with errno ENOMEM.
template <typename Result, typename Body>
Result NoThrow(Result failure, Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return failure;
  }
}

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_BASE_NO_THROW_H_
