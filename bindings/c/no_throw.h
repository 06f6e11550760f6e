#ifndef VEXATHUMB_BINDINGS_C_NO_THROW_H_
#define VEXATHUMB_BINDINGS_C_NO_THROW_H_

#include <exception>
#include <new>

#include "bindings/c/vexathumb.h"

namespace vexathumb::c {

// What `call` answers; of an exception the status. None may reach callers, who are written in C.
template <typename Call>
VexathumbStatus NoThrow(Call call) noexcept {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return VEXATHUMB_NO_MEMORY;
  } catch (const std::exception&) {
    return VEXATHUMB_SYSTEM;
  }
}

}  // namespace vexathumb::c

#endif  // VEXATHUMB_BINDINGS_C_NO_THROW_H_
