#include "service/base/folder_clock.h"

#include "service/base/atomic_file.h"

namespace vexathumb::service {
namespace {

std::optional<time_t> TimeIn(const std::string& folder) {
  AtomicFile now(folder + "/now");
  struct stat st = {};
  const int fd = now.Create();
  return fd >= 0 && fstat(fd, &st) == 0 ? std::make_optional(st.st_ctime) : std::nullopt;
}

}  // namespace

FolderClock FolderClock::OfThisMachine() {
  FolderClock clock("");
  clock.is_read_ = true;
  clock.now_ = time(nullptr);
  return clock;
}

bool FolderClock::IsOlderThan(time_t seconds, const struct stat& entry) {
  if (!is_read_) now_ = TimeIn(folder_);
  is_read_ = true;
  return now_ && entry.st_ctime + seconds < *now_;
}

}  // namespace vexathumb::service
