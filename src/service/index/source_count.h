#ifndef VEXATHUMB_SERVICE_INDEX_SOURCE_COUNT_H_
#define VEXATHUMB_SERVICE_INDEX_SOURCE_COUNT_H_

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "posix/unique_fd.h"
#include "service/index/source_walk.h"

namespace vexathumb::service {

// Counts the sources that a stream of the same names and options will give, in a process of its
// own, so that a run can say how much is left while it is under way.
class SourceCount {
 public:
  SourceCount(const std::vector<std::string>& names, const WalkOptions& options);
  SourceCount(const SourceCount&) = delete;
  SourceCount& operator=(const SourceCount&) = delete;
  ~SourceCount();  // gives up counting

  // Nothing until all are counted.
  std::optional<size_t> Total();

 private:
  posix::UniqueFd fd_;
  pid_t process_ = -1;
  std::optional<size_t> total_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_SOURCE_COUNT_H_
