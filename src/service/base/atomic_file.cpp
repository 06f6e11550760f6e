#include "service/base/atomic_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <utility>

#include "posix/random_name.h"
#include "service/base/folder_list.h"
#include "service/base/path_name.h"

namespace vexathumb::service {
namespace {

constexpr size_t kMostOfName = 160;

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

posix::UniqueFd OpenFolder(const std::string& path) {
  const std::string folder = path.empty() ? "." : path;
  return posix::UniqueFd(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

std::string TemporaryFor(const std::string& path) {
  const std::string folder = FolderOf(path);
  const size_t name = std::max(folder.size(), path.size() - std::min(path.size(), kMostOfName));
  return folder + kTemporaryPrefix + posix::RandomName() + "_" + path.substr(name);
}

AtomicFile::AtomicFile(const std::string& target, Naming naming)
    : AtomicFile(target, OpenFolder(FolderOf(target))) {
  if (naming == Naming::kHidden) {
    temporary_ = FolderOf(target) + ".vexathumb-" + posix::RandomName();
  }
}

AtomicFile::AtomicFile(const std::string& target, posix::UniqueFd folder)
    : target_(target),
      temporary_(TemporaryFor(target)),
      folder_(std::move(folder)),
      folder_error_(folder_ ? 0 : errno) {}

AtomicFile::~AtomicFile() {
  if (temporary_.empty()) return;
  if (!is_kept_ && unlinkat(folder_.get(), LastComponent(temporary_).c_str(), 0) != 0) {
    unlink(temporary_.c_str());  // written where the folder's name led meanwhile
  }
  if (!is_ours_) RemoveRest();
}

int AtomicFile::Create() {
  file_ = OpenTemporary(O_WRONLY | O_CREAT | O_EXCL);
  is_ours_ = static_cast<bool>(file_);
  if (!is_ours_) temporary_.clear();  // whatever stands there is somebody else's
  return file_.get();
}

bool AtomicFile::Commit(const Attributes& attributes) {
  is_kept_ =
      Finish(attributes, true) && renameat(folder_.get(), LastComponent(temporary_).c_str(),
                                           folder_.get(), LastComponent(target_).c_str()) == 0;
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
  file_ = OpenTemporary(O_RDONLY | O_NONBLOCK | O_NOCTTY);
  struct stat st = {};
  if (!file_ || fstat(file_.get(), &st) != 0) return false;
  if (S_ISREG(st.st_mode) && st.st_size > 0) return true;
  errno = ENODATA;
  return false;
}

posix::UniqueFd AtomicFile::OpenTemporary(int flags) const {
  errno = folder_error_;
  if (!folder_) return posix::UniqueFd();
  return posix::UniqueFd(openat(folder_.get(), LastComponent(temporary_).c_str(),
                                flags | O_NOFOLLOW | O_CLOEXEC, 0666));
}

void AtomicFile::RemoveRest() const {
  const posix::UniqueFd listed(openat(folder_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const auto entries = listed ? ListFolder(listed.get()) : std::nullopt;
  if (!entries) return;
  const std::string own = LastComponent(temporary_);
  for (const FolderEntry& other : *entries) {
    const bool is_longer = other.name != own && other.name.rfind(own, 0) == 0;
    if (is_longer) unlinkat(folder_.get(), other.name.c_str(), 0);
  }
}

}  // namespace vexathumb::service
