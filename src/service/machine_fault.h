#ifndef VEXATHUMB_SERVICE_MACHINE_FAULT_H_
#define VEXATHUMB_SERVICE_MACHINE_FAULT_H_

#include <optional>
#include <string>

#include "thumb/thumb_info.h"

namespace vexathumb::service {

// After a failed attempt to convert a source on this thread: why the failure says nothing about the
// source, in one line without paths. Nothing when the source itself is to blame. `info` is its
// description as far as it could be inspected.
std::optional<std::string> FaultOfMachine(const std::string& source, const ThumbInfo& info);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_MACHINE_FAULT_H_
