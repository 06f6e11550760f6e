#ifndef VEXATHUMB_SERVICE_TEMPORARY_NAME_H_
#define VEXATHUMB_SERVICE_TEMPORARY_NAME_H_

#include <string>

namespace vexathumb::service {

// "<path>_<process id>_<seconds>", the library's own form of a temporary name, so that leftovers of
// killed processes are found by one rule. The caller holds the source's lock.
std::string TemporaryBeside(const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_TEMPORARY_NAME_H_
