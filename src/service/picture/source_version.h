#ifndef VEXATHUMB_SERVICE_PICTURE_SOURCE_VERSION_H_
#define VEXATHUMB_SERVICE_PICTURE_SOURCE_VERSION_H_

#include <sys/stat.h>

#include <string>

namespace vexathumb::service {

// What is done about a source that was modified within the present second: thumbnails carry whole
// seconds, so that another change within it would leave no trace in them.
enum class ThisSecond {
  kWait,  // until it is over, where nobody waits for the answer
  kTakeAsIs,
};

// A source as it was when work on it began. Somebody may be writing it meanwhile.
class SourceVersion {
 public:
  // Throws std::system_error when its status cannot be had.
  SourceVersion(const std::string& path, ThisSecond this_second);

  const struct stat& status() const { return status_; }

  // Whether the source is still that one, so that a thumbnail made of it since may be given its
  // modification time.
  bool IsCurrent() const;

 private:
  std::string path_;
  ThisSecond this_second_;
  struct stat status_ = {};
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_SOURCE_VERSION_H_
