#ifndef VEXATHUMB_RENDER_ALLOCATION_H_
#define VEXATHUMB_RENDER_ALLOCATION_H_

#include <atomic>
#include <cstdint>

namespace vexathumb::render {

// From now on `note` becomes 1 when this process asks for memory and gets none, whichever library
// asks and whatever it makes of it: decoders tell it in many ways, and most not at all. Does
// nothing under a sanitizer, which has an allocator of its own.
void NoteWantOfMemory(std::atomic<uint8_t>* note);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_ALLOCATION_H_
