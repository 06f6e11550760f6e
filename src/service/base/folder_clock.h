#ifndef VEXATHUMB_SERVICE_BASE_FOLDER_CLOCK_H_
#define VEXATHUMB_SERVICE_BASE_FOLDER_CLOCK_H_

#include <sys/stat.h>

#include <ctime>
#include <optional>
#include <string>
#include <utility>

namespace vexathumb::service {

// The clock by which the entries of a folder get their times: that of a file server where the
// folder is one of its, which differs from this machine's by any amount. Read once, when it is
// first needed, off a file that is made in the folder for that and removed.
class FolderClock {
 public:
  explicit FolderClock(std::string folder) : folder_(std::move(folder)) {}

  // This machine's, where nothing may be written: near enough to tell what is likely.
  static FolderClock OfThisMachine();

  // Whether the last change of an entry's status is more than `seconds` ago. Not by its
  // modification time, which may be a source's. False where nothing can be made in the folder.
  bool IsOlderThan(time_t seconds, const struct stat& entry);

 private:
  std::string folder_;
  bool is_read_ = false;
  std::optional<time_t> now_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_FOLDER_CLOCK_H_
