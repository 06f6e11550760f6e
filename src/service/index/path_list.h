#ifndef VEXATHUMB_SERVICE_INDEX_PATH_LIST_H_
#define VEXATHUMB_SERVICE_INDEX_PATH_LIST_H_

#include <cstddef>
#include <optional>
#include <string>

#include "posix/unique_fd.h"

namespace vexathumb::service {

// Reads a list of paths from a file or a pipe, each ended by `separator`, without waiting: whoever
// writes the list may be slow. Needs memory for a part of the list only.
class PathList {
 public:
  // Takes the descriptor over.
  PathList(int fd, char separator) : fd_(fd), separator_(separator) {}
  PathList(const PathList&) = delete;
  PathList& operator=(const PathList&) = delete;

  // The next path; nothing when none has come yet or none will come. Empty ones are passed over,
  // and so are those that no file can have.
  std::optional<std::string> Next();

  bool AtEnd() const { return at_end_ && begin_ == buffer_.size(); }

  // Why the list could not be read to its end; empty when it could.
  const std::string& error() const { return error_; }

 private:
  bool Fill();
  std::optional<std::string> TakeBuffered();

  posix::UniqueFd fd_;
  char separator_;
  std::string buffer_;
  size_t begin_ = 0;  // of what has not been taken
  bool at_end_ = false;
  std::string error_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_PATH_LIST_H_
