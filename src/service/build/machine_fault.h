#ifndef VEXATHUMB_SERVICE_BUILD_MACHINE_FAULT_H_
#define VEXATHUMB_SERVICE_BUILD_MACHINE_FAULT_H_

#include <optional>
#include <string>

#include "service/picture/error_cause.h"
#include "thumb/thumb_info.h"

namespace vexathumb::service {

// After a failed attempt to convert a source on this thread: why the failure says nothing about the
// source, without paths of it. Nothing when the source itself is to blame. `info` is its
// description as far as it could be inspected.
std::optional<Cause> FaultOfMachine(const std::string& source, const ThumbInfo& info);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_MACHINE_FAULT_H_
