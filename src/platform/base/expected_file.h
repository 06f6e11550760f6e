#ifndef VEXAPLATFORM_BASE_EXPECTED_FILE_H_
#define VEXAPLATFORM_BASE_EXPECTED_FILE_H_

#include "vexaplatform/expected_file.h"

namespace vexaplatform {

// What this thread expects under a path; null when any file will do.
const ExpectedFile* ExpectationFor(const std::string& path);

inline bool IsExpected(const ExpectedFile& expected, dev_t device, ino_t inode) {
  return device == expected.device_ && inode == expected.inode_;
}

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_BASE_EXPECTED_FILE_H_
