#ifndef VEXATHUMB_RENDER_ALLOWED_CALLS_H_
#define VEXATHUMB_RENDER_ALLOWED_CALLS_H_

#include <seccomp.h>

namespace vexathumb::render {

// Adds the rules for what a job's process may call, and for what it is told does not exist or is
// not allowed because decoders ask for it and do without, to a filter that ends it at everything
// else. 0, or -1 when a rule cannot be added.
int AllowCalls(scmp_filter_ctx filter);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_ALLOWED_CALLS_H_
