#ifndef VEXATHUMB_SERVICE_WATCH_MOUNT_TABLE_H_
#define VEXATHUMB_SERVICE_WATCH_MOUNT_TABLE_H_

#include <set>
#include <string>
#include <vector>

#include "posix/unique_fd.h"

namespace vexathumb::service {

// What is mounted at, above and below some folders. Says nothing where the system's table cannot be
// read.
class MountTable {
 public:
  explicit MountTable(const std::vector<std::string>& folders);

  // Whether something has been mounted or unmounted there since the last call, or since this was
  // made. Costs a system call while nothing is mounted anywhere.
  bool HasChanged();

 private:
  std::set<std::string> Read() const;

  std::vector<std::string> folders_;  // without links
  posix::UniqueFd table_;
  std::set<std::string> mounts_;  // device and place
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_WATCH_MOUNT_TABLE_H_
