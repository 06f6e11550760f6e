#ifndef VEXAPLATFORM_VEXAPLATFORM_EXPECTED_FILE_H_
#define VEXAPLATFORM_VEXAPLATFORM_EXPECTED_FILE_H_

#include <sys/stat.h>

#include <string>

#include "vexa/types.h"

namespace vexaplatform {

// While it lives, what this thread has read or sent under a path is this very file, or nothing:
// somebody may put a link, or another folder, in its place after it was found. So
//
//   vexaplatform::ExpectedFile expected(source, status);
//   ConvertCmd(info, source, target).exec();
//
// reads the file whose status that is, where the kernel has Landlock and the settings confine
// tools; a tool that is to read another is not started, with ESTALE. HttpFileResponder::Output of
// another file fails with ENOENT. The innermost one for a path counts. It goes on the thread that
// made it, in the opposite order.
class VEXAPLATFORM_API ExpectedFile {
 public:
  ExpectedFile(std::string path, const struct stat& status);
  ~ExpectedFile();
  ExpectedFile(const ExpectedFile&) = delete;
  ExpectedFile& operator=(const ExpectedFile&) = delete;

 private:
  friend const ExpectedFile* ExpectationFor(const std::string& path);
  friend bool IsExpected(const ExpectedFile& expected, dev_t device, ino_t inode);

  std::string path_;
  dev_t device_;
  ino_t inode_;
  const ExpectedFile* outer_;
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_EXPECTED_FILE_H_
