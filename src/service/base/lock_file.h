#ifndef VEXATHUMB_SERVICE_BASE_LOCK_FILE_H_
#define VEXATHUMB_SERVICE_BASE_LOCK_FILE_H_

#include <string>

#include "posix/unique_fd.h"

namespace vexathumb::service {

// Where the locks lie that are named by `directory`: there, or in a folder of this user's own below
// it where anybody may write to it. Whoever can open a lock's file can hold it for as long as he
// likes, so only those may that build together: this user, or the directory's group. Made where it
// is missing, open to those to whom its parent is. Throws std::system_error.
std::string LockFolder(const std::string& directory);

// A lock between processes on a file. The system releases it when the holder dies, or, where that
// has been forked meanwhile, the last of those. The file itself stays.
class LockFile {
 public:
  // Opens `name` in LockFolder(directory), making it where it is missing, without following a link
  // in its place. Throws std::system_error.
  LockFile(const std::string& directory, const std::string& name);
  LockFile(LockFile&& other) = default;
  LockFile& operator=(LockFile&& other) = delete;

  void Lock();     // waits; throws std::system_error
  bool TryLock();  // false when another holds it

  int descriptor() const { return fd_.get(); }

  // Whether another holds it. Who asks keeps it from nobody.
  bool IsHeldByAnother() const;

 private:
  posix::UniqueFd fd_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_LOCK_FILE_H_
