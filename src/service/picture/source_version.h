#ifndef VEXATHUMB_SERVICE_PICTURE_SOURCE_VERSION_H_
#define VEXATHUMB_SERVICE_PICTURE_SOURCE_VERSION_H_

#include <sys/stat.h>

#include <string>

namespace vexathumb::service {

// A source as it was when work on it began, before it was inspected. Somebody may be writing it
// meanwhile, or put another in its place.
class SourceVersion {
 public:
  // Throws std::system_error when its status cannot be had.
  explicit SourceVersion(const std::string& path);

  const struct stat& status() const { return status_; }

  // Whether the source is still that one: the same file with the same size and times, to the
  // nanosecond, that of the last change of its status among them.
  bool IsCurrent() const;

  // Whether an open file is that one, by any name; false for -1.
  bool IsOf(int fd) const;

  // Whether it was modified within the last two seconds. Thumbnails carry whole seconds, and some
  // file systems count in twos, so that another change might leave no trace in them: what is made
  // of such a source is not to be kept. A time to come is a wrong clock's, and no reason to wait.
  bool IsFresh() const;

  // Whether it was modified more than a minute ago, by this machine's clock: nobody is in the
  // middle of writing it.
  bool IsSettled() const;

  // Returns when it is not fresh, for those for whom nobody waits.
  void WaitWhileFresh() const;

 private:
  std::string path_;
  struct stat status_ = {};
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_SOURCE_VERSION_H_
