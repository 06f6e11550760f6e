#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <vector>

#include "platform/base/failed_call.h"
#include "platform/base/no_throw.h"
#include "posix/unique_fd.h"
#include "posix/write_all.h"
#include "vexa/copy.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

// A file under a random hidden name in the folder of the path that it is to get. It goes with the
// object unless it was moved to that path.
class PartialFile {
 public:
  explicit PartialFile(const std::string& target)
      : name_(target.substr(0, target.rfind('/') + 1) + ".vexacopy.XXXXXX"),
        fd_(mkostemp(name_.data(), O_CLOEXEC)) {}
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;
  ~PartialFile() {
    if (!fd_ || moved_) return;
    const int error = errno;
    unlink(name_.c_str());
    errno = error;
  }

  const UniqueFd& fd() const { return fd_; }

  int MoveOver(const std::string& target) { return Moved(rename(name_.c_str(), target.c_str())); }

  int MoveToFree(const std::string& target) {
    const char* to = target.c_str();
    if (renameat2(AT_FDCWD, name_.c_str(), AT_FDCWD, to, RENAME_NOREPLACE) == 0) return Moved(0);
    if (errno != ENOSYS && errno != EINVAL) return -1;
    // A volume without that kind of renaming: a second name fails as well when there is a target.
    return link(name_.c_str(), to);
  }

 private:
  int Moved(int result) {
    moved_ = result == 0;
    return result;
  }

  std::string name_;
  UniqueFd fd_;
  bool moved_ = false;
};

int CopyBytes(int from, int to) {
  constexpr size_t kChunk = size_t{1} << 30;
  ssize_t copied = 0;
  do {
    copied = copy_file_range(from, nullptr, to, nullptr, kChunk, 0);
  } while (copied > 0 || (copied < 0 && errno == EINTR));
  // The kernel copies between some volumes only, and nothing of files without a size. Whatever is
  // left goes through here, and what stopped the kernel for good shows again.
  std::vector<char> buffer(size_t{1} << 17);
  for (;;) {
    const ssize_t size = read(from, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return size < 0 ? -1 : 0;
    if (!vexathumb::posix::WriteAll(to, buffer.data(), static_cast<size_t>(size))) return -1;
  }
}

int CopyAttributes(const struct stat& source, int to, bool keep_owner) {
  if (keep_owner && fchown(to, source.st_uid, source.st_gid) != 0) return -1;
  // Another owner does not get the set-user-id bit of this one.
  const mode_t mode = source.st_mode & (keep_owner ? 07777U : 0777U);
  // A volume without permission bits, such as FAT, answers EPERM to the file's own maker.
  if (fchmod(to, mode) != 0 && errno != EPERM && errno != ENOTSUP) return -1;
  const struct timespec times[] = {source.st_atim, source.st_mtim};
  return futimens(to, times);
}

bool IsHonoured(const VEXACOPYARGS& args) {
  return args.blCopyACL == FALSE && args.blEnforceACLInherit == FALSE &&
         args.cleanArchive == CLEAN_NONE && args.pfuncSetProgress == nullptr &&
         args.pfuncErrReport == nullptr && args.pfuncIsCancel == nullptr &&
         args.pfuncRename == nullptr && args.blForceCopyVEXAEA == FALSE && args.userUID == 0 &&
         args.userGID == 0;
}

// Whether `target` may be written; what is there is not touched until the copy is complete.
int CheckTarget(const std::string& target, const struct stat& source, bool overwrite) {
  struct stat status {};
  if (lstat(target.c_str(), &status) != 0) return errno == ENOENT ? 0 : -1;
  if (S_ISDIR(status.st_mode)) return FailWith(overwrite ? EISDIR : EEXIST);
  if (!overwrite) return FailWith(EEXIST);
  const bool same = stat(target.c_str(), &status) == 0 && status.st_dev == source.st_dev &&
                    status.st_ino == source.st_ino;
  return same ? FailWith(EINVAL) : 0;
}

// Makes a folder's entries outlast a loss of power. Not every volume can.
void SyncFolderOf(const std::string& path) {
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const UniqueFd fd(
      open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd) fsync(fd.get());
}

int CopyFile(const std::string& source, const std::string& target, const VEXACOPYARGS& args) {
  if (!IsHonoured(args)) return FailWith(ENOTSUP);
  // Without O_NONBLOCK a FIFO would wait here for a writer.
  const UniqueFd from(open(source.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!from || fstat(from.get(), &status) != 0) return -1;
  if (S_ISDIR(status.st_mode)) return FailWith(EISDIR);
  if (!S_ISREG(status.st_mode)) return FailWith(EINVAL);
  const bool overwrite = args.blOverWrite != 0;
  if (CheckTarget(target, status, overwrite) != 0) return -1;

  PartialFile partial(target);
  if (!partial.fd()) return -1;
  const int to = partial.fd().get();
  if (CopyBytes(from.get(), to) != 0) return -1;
  if (CopyAttributes(status, to, args.blKeepOwner != FALSE) != 0 || fsync(to) != 0) return -1;
  if ((overwrite ? partial.MoveOver(target) : partial.MoveToFree(target)) != 0) return -1;
  if (args.blRemoveSrc == FALSE) return 0;
  SyncFolderOf(target);
  return unlink(source.c_str());
}

}  // namespace
}  // namespace vexaplatform

int VEXAFileCopy(const char* src, const char* dst, PVEXACOPYARGS args) {
  using namespace vexaplatform;
  return NoThrow(-1, [&] {
    if (src == nullptr || dst == nullptr) return FailWith(EINVAL);
    return CopyFile(src, dst, args == nullptr ? VEXACOPYARGS{} : *args);
  });
}
