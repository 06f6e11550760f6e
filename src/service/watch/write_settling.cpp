#include "service/watch/write_settling.h"

#include <sys/stat.h>

namespace vexathumb::service {

void WriteSettling::Touch(const std::string& path, Clock::time_point now) {
  const auto known = files_.find(path);
  if (known != files_.end()) {
    by_time_.erase(known->second.place);
    files_.erase(known);
  }
  if (const auto look = LookAt(path)) {
    files_[path] = {*look, by_time_.emplace(now + quiet_, path)};
  }
}

std::optional<std::string> WriteSettling::Take(Clock::time_point now) {
  while (!by_time_.empty() && by_time_.begin()->first <= now) {
    const std::string path = by_time_.begin()->second;
    const Look before = files_.at(path).look;
    by_time_.erase(by_time_.begin());
    files_.erase(path);
    const auto look = LookAt(path);
    if (!look) continue;
    if (*look == before) return path;
    files_[path] = {*look, by_time_.emplace(now + quiet_, path)};
  }
  return std::nullopt;
}

std::optional<WriteSettling::Look> WriteSettling::LookAt(const std::string& path) {
  struct stat st = {};
  if (lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
  return Look{st.st_size, st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
}

}  // namespace vexathumb::service
