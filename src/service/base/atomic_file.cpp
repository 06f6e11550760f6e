#include "service/base/atomic_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "posix/random_name.h"

namespace vexathumb::service {
namespace {

constexpr size_t kMostOfName = 160;

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

}  // namespace

std::string TemporaryFor(const std::string& path) {
  const std::string folder = FolderOf(path);
  const size_t name = std::max(folder.size(), path.size() - std::min(path.size(), kMostOfName));
  return folder + kTemporaryPrefix + posix::RandomName() + "_" + path.substr(name);
}

AtomicFile::AtomicFile(const std::string& target, Naming naming)
    : target_(target),
      temporary_(naming == Naming::kHidden ? FolderOf(target) + ".vexathumb-" + posix::RandomName()
                                           : TemporaryFor(target)) {}

AtomicFile::~AtomicFile() {
  if (temporary_.empty()) return;
  if (!is_kept_) unlink(temporary_.c_str());
  if (!is_ours_) RemoveRest();
}

int AtomicFile::Create() {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  file_ = posix::UniqueFd(open(temporary_.c_str(), kFlags, 0666));
  is_ours_ = static_cast<bool>(file_);
  if (!is_ours_) temporary_.clear();  // whatever stands there is somebody else's
  return file_.get();
}

bool AtomicFile::Commit(const Attributes& attributes) {
  is_kept_ = Finish(attributes, true) && rename(temporary_.c_str(), target_.c_str()) == 0;
  return is_kept_;
}

bool AtomicFile::HandOut(const Attributes& attributes) {
  is_kept_ = Finish(attributes, false);
  return is_kept_;
}

bool AtomicFile::Finish(const Attributes& attributes, bool on_disk) {
  if (!is_ours_ && !OpenResult()) return false;
  if (attributes.mode && fchmod(file_.get(), *attributes.mode) != 0) return false;
  if (on_disk && fdatasync(file_.get()) != 0) return false;
  if (attributes.times) {
    const struct timespec times[] = {attributes.times->accessed, attributes.times->modified};
    if (futimens(file_.get(), times) != 0) return false;
  }
  if (attributes.mark) attributes.mark(file_.get());
  // Some file systems tell of a failed write only then.
  return file_.Close() == 0;
}

bool AtomicFile::OpenResult() {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  file_ = posix::UniqueFd(open(temporary_.c_str(), kFlags));
  struct stat st = {};
  if (!file_ || fstat(file_.get(), &st) != 0) return false;
  if (S_ISREG(st.st_mode) && st.st_size > 0) return true;
  errno = ENODATA;
  return false;
}

void AtomicFile::RemoveRest() const {
  const std::filesystem::path own(temporary_);
  const std::string name = own.filename();
  std::error_code error;
  std::filesystem::directory_iterator entry(own.parent_path(), error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string other = entry->path().filename();
    if (other != name && other.rfind(name, 0) == 0) unlink(entry->path().c_str());
  }
}

}  // namespace vexathumb::service
