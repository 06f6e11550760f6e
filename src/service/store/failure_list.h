#ifndef VEXATHUMB_SERVICE_STORE_FAILURE_LIST_H_
#define VEXATHUMB_SERVICE_STORE_FAILURE_LIST_H_

#include <functional>
#include <string>

#include "service/store/failure_record.h"

namespace vexathumb::service {

// Finds the sources that are remembered as failed or postponed as they are now (failure_record.h):
// a file, or all below a folder; `path` is absolute. What is remembered of one source comes
// together, each form by itself. Nothing is changed.
void ListFailures(
    const std::string& path,
    const std::function<void(const std::string& source, const BuildFailure& failure)>& on_failure,
    const std::function<void(const std::string& folder, const std::string& cause)>& on_unreadable);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_FAILURE_LIST_H_
