#include "render/allocation.h"

#include <malloc.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEXATHUMB_HAS_OTHER_ALLOCATOR
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEXATHUMB_HAS_OTHER_ALLOCATOR
#endif
#endif

namespace vexathumb::render {
namespace {

std::atomic<uint8_t>* want_of_memory = nullptr;

[[maybe_unused]] void* Noted(void* memory, size_t size) {
  if (memory == nullptr && size != 0 && want_of_memory != nullptr) *want_of_memory = 1;
  return memory;
}

}  // namespace

void NoteWantOfMemory(std::atomic<uint8_t>* note) { want_of_memory = note; }

}  // namespace vexathumb::render

#ifndef VEXATHUMB_HAS_OTHER_ALLOCATOR

#define VEXATHUMB_ALLOCATOR __attribute__((visibility("default")))

// The program's functions of these names are what all its libraries call; the C library offers its
// own by these others.
extern "C" {

void* LibcMalloc(size_t size) asm("__libc_malloc");
void* LibcCalloc(size_t count, size_t size) asm("__libc_calloc");
void* LibcRealloc(void* memory, size_t size) asm("__libc_realloc");
void* LibcMemalign(size_t alignment, size_t size) asm("__libc_memalign");

VEXATHUMB_ALLOCATOR void* malloc(size_t size) noexcept {
  return vexathumb::render::Noted(LibcMalloc(size), size);
}

VEXATHUMB_ALLOCATOR void* calloc(size_t count, size_t size) noexcept {
  return vexathumb::render::Noted(LibcCalloc(count, size), count != 0 ? size : 0);
}

VEXATHUMB_ALLOCATOR void* realloc(void* memory, size_t size) noexcept {
  return vexathumb::render::Noted(LibcRealloc(memory, size), size);
}

VEXATHUMB_ALLOCATOR void* memalign(size_t alignment, size_t size) noexcept {
  return vexathumb::render::Noted(LibcMemalign(alignment, size), size);
}

VEXATHUMB_ALLOCATOR void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return memalign(alignment, size);
}

VEXATHUMB_ALLOCATOR int posix_memalign(void** memory, size_t alignment, size_t size) noexcept {
  const bool is_power = alignment != 0 && (alignment & (alignment - 1)) == 0;
  if (!is_power || alignment % sizeof(void*) != 0) return EINVAL;
  void* const found = memalign(alignment, size);
  if (found == nullptr && size != 0) return ENOMEM;
  *memory = found;
  return 0;
}

}  // extern "C"

#endif  // VEXATHUMB_HAS_OTHER_ALLOCATOR
