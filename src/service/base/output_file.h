#ifndef VEXATHUMB_SERVICE_BASE_OUTPUT_FILE_H_
#define VEXATHUMB_SERVICE_BASE_OUTPUT_FILE_H_

#include <optional>
#include <string>

#include "posix/unique_fd.h"
#include "service/base/atomic_file.h"

namespace vexathumb::service {

// What a user has named to be written: an AtomicFile; where the name is that of a device or a
// pipe, that is written to instead. A link is followed: what it leads to is replaced.
//
//   OutputFile file("/d/out.jpg");
//   Write(file.descriptor());
//   file.Commit();
class OutputFile {
 public:
  // Throws std::system_error.
  explicit OutputFile(const std::string& path);

  int descriptor() const { return descriptor_; }

  // Throws std::system_error; the file as it was before is then still there.
  void Commit();

 private:
  std::string path_;
  std::optional<AtomicFile> file_;  // none for a device
  posix::UniqueFd device_;
  int descriptor_ = -1;  // of one of them
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_OUTPUT_FILE_H_
