#include "service/base/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
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

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(FollowLinks(path)) {
  struct stat st = {};
  const bool exists = stat(path_.c_str(), &st) == 0;
  if (exists && S_ISDIR(st.st_mode)) ThrowErrno(EISDIR, path_);
  if (exists && !S_ISREG(st.st_mode)) {
    device_ = posix::UniqueFd(open(path_.c_str(), O_WRONLY | O_CLOEXEC));
    descriptor_ = device_.get();
  } else {
    file_.emplace(path_, AtomicFile::Naming::kHidden);
    descriptor_ = file_->Create();
  }
  if (descriptor_ < 0) ThrowErrno(errno, path_);
}

void OutputFile::Commit() {
  const bool is_done = file_ ? file_->Commit() : device_.Close() == 0;
  descriptor_ = -1;
  if (!is_done) ThrowErrno(errno, path_);
}

}  // namespace vexathumb::service
