#ifndef VEXATHUMB_RENDER_CHILD_H_
#define VEXATHUMB_RENDER_CHILD_H_

#include <sys/types.h>

#include <vector>

#include "render/order.h"
#include "render/shared_answer.h"

namespace vexathumb::render {

// Does a job in the process that was forked for it, confined, and ends that process. `files` are
// the source and the files of the pictures; everything else is closed. Ends with `server`.
[[noreturn]] void DoJob(const OrderRecord& order, const std::vector<int>& files, pid_t server,
                        JobNotes* notes);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_CHILD_H_
