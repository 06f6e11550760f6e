#ifndef VEXATHUMB_SERVICE_BASE_ATOMIC_FILE_H_
#define VEXATHUMB_SERVICE_BASE_ATOMIC_FILE_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <ctime>
#include <functional>
#include <optional>
#include <string>

#include "posix/unique_fd.h"

namespace vexathumb::service {

// What the names of our temporaries begin with: by it those of killed processes are known.
constexpr char kTemporaryPrefix[] = "VEXATHUMBTMP_";

// A temporary name in the directory of `path`, which nobody can guess. It ends like that of `path`:
// the tools choose a format by the extension. Of a long name only so much is kept that this one,
// and the library's longer ones made of it, are none too long.
std::string TemporaryFor(const std::string& path);

// A file that appears under its name when it is whole, or not at all: made beside it under a
// temporary name, and renamed when its content is on the disk, so that a loss of power leaves what
// had the name before, or the whole file. A link in its place is replaced, not followed. What is
// put in the place of its folder meanwhile gets no file of that name, nor loses one.
//
// Where a tool writes it:
//
//   AtomicFile file("/d/out.jpg");
//   if (ConvertCmd(info, source, file.path()).exec() && file.Commit(attributes)) …
//
// Where this process does:
//
//   AtomicFile file("/d/out.json");
//   const int fd = file.Create();
//   if (fd >= 0 && Write(fd) && file.Commit()) …
class AtomicFile {
 public:
  enum class Naming {
    kSwept,   // TemporaryFor
    kHidden,  // where others look for pictures, and nobody sweeps
  };

  // What the file is to have when it appears.
  struct Times {
    struct timespec accessed;
    struct timespec modified;
  };
  struct Attributes {
    std::optional<mode_t> mode;
    std::optional<Times> times;
    // Is given the file when all else is done; what cannot be marked appears all the same.
    std::function<void(int fd)> mark;
  };

  explicit AtomicFile(const std::string& target, Naming naming = Naming::kSwept);
  // In an open folder, which is that of `target` or was; with -1, and errno set, all else fails.
  AtomicFile(const std::string& target, posix::UniqueFd folder);
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;
  // Without Commit or HandOut nothing remains, nor does what the library's commands put beside
  // path() under longer names and leave there when they fail.
  ~AtomicFile();

  // Where to write it.
  const std::string& path() const { return temporary_; }

  // Makes the file at path(), as a new one and nobody's link, with the usual mode. Its descriptor,
  // which stays this object's; -1 with errno set.
  int Create();

  // False with errno set when it cannot be done; what had the name before is then still there. What
  // a tool was to write must be a regular file that is not empty.
  bool Commit(const Attributes& attributes = {});

  // The same, but leaves it at path() to the caller, who removes it after use.
  bool HandOut(const Attributes& attributes = {});

 private:
  bool OpenResult();
  posix::UniqueFd OpenTemporary(int flags) const;
  bool Finish(const Attributes& attributes, bool on_disk);
  void RemoveRest() const;

  std::string target_;
  std::string temporary_;
  posix::UniqueFd folder_;
  int folder_error_ = 0;  // errno, without one
  posix::UniqueFd file_;
  bool is_ours_ = false;  // made by Create
  bool is_kept_ = false;  // committed, or handed out
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_ATOMIC_FILE_H_
