#ifndef VEXATHUMB_RENDER_SHARED_ANSWER_H_
#define VEXATHUMB_RENDER_SHARED_ANSWER_H_

#include <atomic>
#include <cstdint>

#include "render/order.h"

namespace vexathumb::render {

// What a job's process writes and the server reads when that process has ended, so that it needs no
// socket. The server takes nothing in it for true.
struct JobNotes {
  AnswerRecord answer;
  std::atomic<uint8_t> is_answered;
  // The job's limit of memory has been met, whether or not the decoder could do without.
  std::atomic<uint8_t> met_memory_limit;
};

// Memory that a process shares with those that it forks.
class SharedAnswer {
 public:
  SharedAnswer();
  SharedAnswer(const SharedAnswer&) = delete;
  SharedAnswer& operator=(const SharedAnswer&) = delete;
  ~SharedAnswer();

  // Null where there is no memory.
  JobNotes* notes() const { return notes_; }

 private:
  JobNotes* notes_;
};

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_SHARED_ANSWER_H_
