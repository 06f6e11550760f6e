#ifndef VEXATHUMB_SERVICE_PICTURE_SOURCE_VERSION_H_
#define VEXATHUMB_SERVICE_PICTURE_SOURCE_VERSION_H_

#include <sys/stat.h>

#include <string>

namespace vexathumb::service {

// A source as it was when work on it began. Somebody may be writing it meanwhile.
class SourceVersion {
 public:
  // Throws std::system_error when its status cannot be had.
  explicit SourceVersion(const std::string& path);

  const struct stat& status() const { return status_; }

  // Whether the source is still that one, so that a thumbnail made of it since may be given its
  // modification time. Thumbnails carry whole seconds: a source that was modified in this very
  // second is waited for until the second is over, lest it be modified once more within it.
  bool IsCurrent() const;

 private:
  std::string path_;
  struct stat status_ = {};
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_SOURCE_VERSION_H_
