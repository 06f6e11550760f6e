#ifndef VEXATHUMB_RENDER_WARM_UP_H_
#define VEXATHUMB_RENDER_WARM_UP_H_

namespace vexathumb::render {

// Prepares libvips for processes that are forked from this one and may open no file: all that it
// loads is loaded, and what it compiles for this processor is compiled. Starts no thread, which a
// forked process would wait for in vain. False where that fails.
bool WarmUp(const char* program);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_WARM_UP_H_
