#ifndef VEXATHUMB_SERVICE_BUILD_MACHINE_FAULT_H_
#define VEXATHUMB_SERVICE_BUILD_MACHINE_FAULT_H_

#include <string>

#include "service/build/thumbnail.h"
#include "service/picture/source_version.h"
#include "thumb/thumb_info.h"

namespace vexathumb::service {

// After a failed attempt on this thread to convert a source: whether it is gone, has changed, or
// cannot be used, for which `otherwise` is the cause, or whether the machine is to blame. `info` is
// the source's description as far as it could be inspected.
Thumbnail WhyThereIsNone(const std::string& source, const SourceVersion& version,
                         const ThumbInfo& info, const Cause& otherwise);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_MACHINE_FAULT_H_
