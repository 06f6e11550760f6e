#ifndef VEXATHUMB_SERVICE_BASE_LOCK_FILE_H_
#define VEXATHUMB_SERVICE_BASE_LOCK_FILE_H_

#include <string>

#include "posix/unique_fd.h"

namespace vexathumb::service {

// A lock between processes on a file of a directory that all users share. The system releases it
// when the holder dies. The file itself stays.
class LockFile {
 public:
  // Opens `directory`/`name`, making both where they are missing, without following a link in the
  // file's place. Throws std::system_error.
  LockFile(const std::string& directory, const std::string& name);
  LockFile(LockFile&& other) = default;
  LockFile& operator=(LockFile&& other) = delete;

  void Lock();     // waits; throws std::system_error
  bool TryLock();  // false when another holds it

  // Whether another holds it. Several may ask at once.
  bool IsHeldByAnother();

 private:
  bool Try(int lock);

  posix::UniqueFd fd_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_LOCK_FILE_H_
