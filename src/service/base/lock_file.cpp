#include "service/base/lock_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "posix/again.h"

namespace vexathumb::service {
namespace {

constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC;

// A kernel that protects files of others in shared directories refuses O_CREAT on them, so a file
// that is there is opened without it.
posix::UniqueFd OpenOrCreate(const std::string& path, mode_t mode) {
  for (;;) {
    posix::UniqueFd fd(open(path.c_str(), kFlags));
    if (fd || errno != ENOENT) return fd;
    fd = posix::UniqueFd(open(path.c_str(), kFlags | O_CREAT | O_EXCL, 0600));
    if (fd) {
      fchmod(fd.get(), mode);  // whatever the umask: others of the group wait on it too
      return fd;
    }
    if (errno != EEXIST) return fd;
  }
}

[[noreturn]] void Refuse(int error, const std::string& path) {
  throw std::system_error(error, std::generic_category(), path);
}

bool IsOpenToAll(const struct stat& folder) { return (folder.st_mode & S_IWOTH) != 0; }

// Some of the folder's bits, where its group may make files in it.
mode_t GroupsPart(const struct stat& folder, mode_t bits) {
  return (folder.st_mode & S_IWGRP) != 0 ? folder.st_mode & bits : 0;
}

void MakeFolder(const std::string& path) {
  constexpr mode_t kForAll = 01777;
  struct stat parent = {};
  if (stat(path.substr(0, path.rfind('/') + 1).c_str(), &parent) != 0) return;
  const mode_t mode = IsOpenToAll(parent) ? kForAll : 0700 | GroupsPart(parent, 02070);
  if (mkdir(path.c_str(), 0700) == 0) chmod(path.c_str(), mode);
}

// Below one in which others may have been first.
std::string OwnFolderIn(const std::string& directory) {
  std::string own = directory + "/user." + std::to_string(geteuid());
  struct stat st = {};
  if (lstat(own.c_str(), &st) != 0) {
    mkdir(own.c_str(), 0700);
    if (lstat(own.c_str(), &st) != 0) Refuse(errno, own);
  }
  const bool is_own = S_ISDIR(st.st_mode) && st.st_uid == geteuid() && (st.st_mode & 077) == 0;
  if (!is_own) Refuse(EACCES, own);
  return own;
}

struct Folder {
  std::string path;
  mode_t mode_of_files;
};

Folder FolderFor(const std::string& directory) {
  struct stat st = {};
  if (stat(directory.c_str(), &st) != 0) {
    MakeFolder(directory);
    if (stat(directory.c_str(), &st) != 0) Refuse(errno, directory);
  }
  if (IsOpenToAll(st)) return {OwnFolderIn(directory), 0600};
  return {directory, 0600 | GroupsPart(st, 0060)};
}

struct flock WholeFile() {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

// Of the open file, as by flock(2), of which nobody can ask whether it is held. False when another
// holds it.
bool LockWhole(int file, int command) {
  struct flock lock = WholeFile();
  if (posix::Again([&] { return fcntl(file, command, &lock); }) == 0) return true;
  if (errno != EAGAIN && errno != EACCES) Refuse(errno, "fcntl");
  return false;
}

}  // namespace

std::string LockFolder(const std::string& directory) { return FolderFor(directory).path; }

LockFile::LockFile(const std::string& directory, const std::string& name) {
  const Folder folder = FolderFor(directory);
  const std::string path = folder.path + "/" + name;
  fd_ = OpenOrCreate(path, folder.mode_of_files);
  if (!fd_) Refuse(errno, path);
}

void LockFile::Lock() { LockWhole(fd_.get(), F_OFD_SETLKW); }

bool LockFile::TryLock() { return LockWhole(fd_.get(), F_OFD_SETLK); }

bool LockFile::IsHeldByAnother() const {
  struct flock lock = WholeFile();
  if (fcntl(fd_.get(), F_OFD_GETLK, &lock) != 0) Refuse(errno, "fcntl");
  return lock.l_type != F_UNLCK;
}

}  // namespace vexathumb::service
