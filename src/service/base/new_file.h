#ifndef VEXATHUMB_SERVICE_BASE_NEW_FILE_H_
#define VEXATHUMB_SERVICE_BASE_NEW_FILE_H_

#include <string>

namespace vexathumb::service {

// A file that appears under its name when it is complete, or not at all: written beside it under a
// temporary name and renamed at the end. Where the name is that of a device or a pipe, that is
// written to instead. A link is followed: what it leads to is replaced.
//
//   NewFile file("/d/out.jpg");
//   Write(file.descriptor());
//   file.Commit();
class NewFile {
 public:
  // Throws std::system_error.
  explicit NewFile(const std::string& path);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();  // without Commit nothing remains

  int descriptor() const { return descriptor_; }

  // Throws std::system_error; the file as it was before is then still there.
  void Commit();

 private:
  std::string path_;
  std::string temporary_;  // empty when the target is written to directly
  int descriptor_ = -1;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_NEW_FILE_H_
