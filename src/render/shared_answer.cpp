#include "render/shared_answer.h"

#include <sys/mman.h>

#include <new>

namespace vexathumb::render {

SharedAnswer::SharedAnswer() : notes_(nullptr) {
  void* const memory =
      mmap(nullptr, sizeof(JobNotes), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory != MAP_FAILED) notes_ = new (memory) JobNotes();
}

SharedAnswer::~SharedAnswer() {
  if (notes_ != nullptr) munmap(notes_, sizeof(JobNotes));
}

}  // namespace vexathumb::render
