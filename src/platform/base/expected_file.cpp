#include "platform/base/expected_file.h"

#include <utility>

namespace vexaplatform {
namespace {

thread_local const ExpectedFile* innermost = nullptr;

}  // namespace

ExpectedFile::ExpectedFile(std::string path, const struct stat& status)
    : path_(std::move(path)),
      device_(status.st_dev),
      inode_(status.st_ino),
      outer_(std::exchange(innermost, this)) {}

ExpectedFile::~ExpectedFile() { innermost = outer_; }

const ExpectedFile* ExpectationFor(const std::string& path) {
  const ExpectedFile* expected = innermost;
  while (expected != nullptr && expected->path_ != path) expected = expected->outer_;
  return expected;
}

}  // namespace vexaplatform
