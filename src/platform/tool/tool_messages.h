#ifndef VEXAPLATFORM_TOOL_TOOL_MESSAGES_H_
#define VEXAPLATFORM_TOOL_TOOL_MESSAGES_H_

#include <cstddef>

#include "vexaplatform/tool_limits.h"

namespace vexaplatform {

// Reads a tool's standard error as it comes, passes the first of it on, and finds the words by
// which the tools say that they met a limit, or that the machine refused them something. Allocates
// no memory.
class ToolMessages {
 public:
  // To the descriptor `target`; -1: to nobody.
  explicit ToolMessages(int target) : target_(target) {}

  // Takes what waits in the descriptor, which does not block. False at its end.
  bool Take(int descriptor);

  ToolLimit told() const { return told_; }
  int machine_error() const { return machine_error_; }  // errno; 0: none is spoken of

 private:
  static constexpr size_t kOverlap = 64;  // no shorter than the longest words

  void Search(size_t size);
  bool Holds(size_t size, const char* words) const;
  void PassOn(const char* text, size_t size);

  int target_;
  size_t left_ = size_t{64} << 10;  // of a flood, no more than this is passed on
  ToolLimit told_ = ToolLimit::kNone;
  int machine_error_ = 0;
  size_t kept_ = 0;  // the end of what came before, at the start of the buffer
  char buffer_[2048];
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_MESSAGES_H_
