#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_METRICS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_METRICS_H_

#include <string>

#include "programs/vexathumb-web/request.h"
#include "service/build/thumbnail.h"
#include "service/store/build_slot.h"

namespace vexathumb::web {

// Counts what is answered, over all processes of this user on the machine, in a file of
// LockFolder(lock_directory). None of these fails: where there is no such file they count for this
// process alone. A call takes less than a microsecond.

// A request, and the status of its answer.
void CountAnswer(const std::string& lock_directory, Route route, int status) noexcept;

// What a request for a thumbnail of the file `source` has come to.
void CountThumbnail(const std::string& lock_directory, const std::string& source,
                    const service::Thumbnail& thumbnail) noexcept;

// How it is at this moment.
struct Load {
  int workers = 0;
  service::BuildQueue queue;
  service::BuildLimits limits;
};

// All of it in Prometheus' text format, version 0.0.4. Throws std::bad_alloc only.
std::string MetricsText(const std::string& lock_directory, const Load& load);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_METRICS_H_
