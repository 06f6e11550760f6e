#ifndef VEXATHUMB_SERVICE_INDEX_LOOKAHEAD_H_
#define VEXATHUMB_SERVICE_INDEX_LOOKAHEAD_H_

#include <sys/types.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/picture/source_version.h"

namespace vexathumb::service {

// A source that waits for a worker.
struct QueuedSource {
  std::string path;
  off_t bytes = 0;
  int crashes = 0;                            // of workers, over it
  std::optional<SourceVersion> version = {};  // after the first of them
};

// The sources that come next. The largest of them goes first: one that took long at the end would
// be worked on alone.
class Lookahead {
 public:
  static constexpr size_t kCapacity = 512;

  bool IsFull() const { return heap_.size() >= kCapacity; }
  bool IsEmpty() const { return heap_.empty(); }

  void Add(QueuedSource source) {
    heap_.push_back(std::move(source));
    std::push_heap(heap_.begin(), heap_.end(), IsSmaller);
  }

  QueuedSource TakeLargest() {
    std::pop_heap(heap_.begin(), heap_.end(), IsSmaller);
    QueuedSource source = std::move(heap_.back());
    heap_.pop_back();
    return source;
  }

 private:
  static bool IsSmaller(const QueuedSource& one, const QueuedSource& other) {
    return one.bytes < other.bytes;
  }

  std::vector<QueuedSource> heap_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_LOOKAHEAD_H_
