#include "service/index/path_list.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>

namespace vexathumb::service {

std::optional<std::string> PathList::Next() {
  for (;;) {
    while (auto path = TakeBuffered()) {
      if (!path->empty() && path->size() < PATH_MAX) return path;
    }
    if (at_end_ || !Fill()) return std::nullopt;
  }
}

// False when nothing has come yet.
bool PathList::Fill() {
  struct pollfd ready = {fd_.get(), POLLIN, 0};
  if (poll(&ready, 1, 0) <= 0) return false;
  std::array<char, 65536> chunk = {};
  const ssize_t count = read(fd_.get(), chunk.data(), chunk.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return false;
  if (count < 0) error_ = strerror(errno);
  if (count <= 0) {
    at_end_ = true;
    return true;
  }
  buffer_.erase(0, begin_);
  begin_ = 0;
  buffer_.append(chunk.data(), static_cast<size_t>(count));
  // What is longer than any path is none, and need not be kept.
  const bool is_endless =
      buffer_.size() > 2 * chunk.size() && buffer_.find(separator_) == std::string::npos;
  if (is_endless) buffer_.resize(chunk.size());
  return true;
}

std::optional<std::string> PathList::TakeBuffered() {
  const size_t end = buffer_.find(separator_, begin_);
  if (end == std::string::npos && !(at_end_ && begin_ < buffer_.size())) return std::nullopt;
  std::string path = buffer_.substr(begin_, end == std::string::npos ? end : end - begin_);
  begin_ = end == std::string::npos ? buffer_.size() : end + 1;
  return path;
}

}  // namespace vexathumb::service
