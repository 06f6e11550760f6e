#include "service/base/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace vexathumb::service {
namespace {

[[noreturn]] void ThrowErrno(int error, const std::string& path) {
  throw std::system_error(error, std::generic_category(), path);
}

std::string FollowLinks(const std::string& path) {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::canonical(path, error);
  return error ? path : target.string();
}

// The mode that a file made by open() with 0666 would have.
mode_t UsualMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return static_cast<mode_t>(0666) & ~mask;
}

}  // namespace

NewFile::NewFile(const std::string& path) : path_(FollowLinks(path)) {
  struct stat st = {};
  const bool exists = stat(path_.c_str(), &st) == 0;
  if (exists && S_ISDIR(st.st_mode)) ThrowErrno(EISDIR, path_);
  if (exists && !S_ISREG(st.st_mode)) {
    descriptor_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) ThrowErrno(errno, path_);
    return;
  }
  // A short name of its own, since the target's may already be as long as names can be.
  temporary_ = std::filesystem::path(path_).replace_filename(".vexathumb-XXXXXX").string();
  descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
  if (descriptor_ < 0) {
    const int error = errno;
    temporary_.clear();
    ThrowErrno(error, path_);
  }
}

NewFile::~NewFile() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void NewFile::Commit() {
  if (!temporary_.empty() && fchmod(descriptor_, UsualMode()) != 0) ThrowErrno(errno, path_);
  const int closed = close(descriptor_);
  descriptor_ = -1;
  if (closed != 0) ThrowErrno(errno, path_);
  if (temporary_.empty()) return;
  if (rename(temporary_.c_str(), path_.c_str()) != 0) ThrowErrno(errno, path_);
  temporary_.clear();
}

}  // namespace vexathumb::service
