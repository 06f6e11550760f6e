#include "kit/doubles/failing_volume.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fuse.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vexathumb::kit {
namespace {

constexpr size_t kLargestRequest = (size_t{1} << 17U) + 4096;
constexpr uint32_t kLargestWrite = 1U << 17U;

fuse_attr AttributesOf(const struct stat& st, uint64_t node) {
  fuse_attr attributes = {};
  attributes.ino = node;
  attributes.size = static_cast<uint64_t>(st.st_size);
  attributes.blocks = static_cast<uint64_t>(st.st_blocks);
  attributes.atime = static_cast<uint64_t>(st.st_atim.tv_sec);
  attributes.mtime = static_cast<uint64_t>(st.st_mtim.tv_sec);
  attributes.ctime = static_cast<uint64_t>(st.st_ctim.tv_sec);
  attributes.atimensec = static_cast<uint32_t>(st.st_atim.tv_nsec);
  attributes.mtimensec = static_cast<uint32_t>(st.st_mtim.tv_nsec);
  attributes.ctimensec = static_cast<uint32_t>(st.st_ctim.tv_nsec);
  attributes.mode = st.st_mode;
  attributes.nlink = static_cast<uint32_t>(st.st_nlink);
  attributes.uid = st.st_uid;
  attributes.gid = st.st_gid;
  attributes.blksize = 4096;
  return attributes;
}

}  // namespace

struct FailingVolume::Request {
  const fuse_in_header* head;
  const char* body;

  template <typename Body>
  const Body& As() const {
    return *reinterpret_cast<const Body*>(body);
  }
};

FailingVolume::FailingVolume(const std::string& mount_point) : mount_point_(mount_point) {
  chmod(files_.path().c_str(), 0755);
  paths_ = {"", files_.path()};
  device_ = open("/dev/fuse", O_RDWR | O_CLOEXEC);
  const std::string options = "fd=" + std::to_string(device_) +
                              ",rootmode=40000,user_id=0,group_id=0,allow_other,"
                              "default_permissions";
  if (device_ < 0 ||
      mount("failing", mount_point_.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
    if (device_ >= 0) close(device_);
    device_ = -1;
    return;
  }
  server_ = std::thread([this] { Serve(); });
}

FailingVolume::~FailingVolume() {
  if (device_ < 0) return;
  Mend();
  umount2(mount_point_.c_str(), MNT_DETACH);
  server_.join();
  close(device_);
}

void FailingVolume::Fail(const std::string& operation, int error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_[operation] = error;
}

void FailingVolume::FailReadsOfSecondHalves(int error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  read_fault_ = error;
}

void FailingVolume::Mend() {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_.clear();
  read_fault_ = 0;
}

int FailingVolume::FaultOf(const std::string& operation) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto fault = faults_.find(operation);
  return fault == faults_.end() ? 0 : fault->second;
}

int FailingVolume::ReadFaultAt(int file, long end) {
  if (const int fault = FaultOf("read")) return fault;
  struct stat st = {};
  const std::lock_guard<std::mutex> lock(mutex_);
  return fstat(file, &st) == 0 && end > st.st_size / 2 ? read_fault_ : 0;
}

void FailingVolume::Serve() {
  std::vector<char> buffer(kLargestRequest + 1);
  for (;;) {
    const ssize_t size = read(device_, buffer.data(), kLargestRequest);
    if (size < 0 && (errno == EINTR || errno == ENOENT || errno == EAGAIN)) continue;
    if (size < static_cast<ssize_t>(sizeof(fuse_in_header))) return;
    buffer[static_cast<size_t>(size)] = '\0';
    Answer({reinterpret_cast<const fuse_in_header*>(buffer.data()),
            buffer.data() + sizeof(fuse_in_header)});
  }
}

std::string FailingVolume::PathOf(unsigned long node) { return paths_.at(node); }

unsigned long FailingVolume::NodeOf(const std::string& path) {
  const auto known = std::find(paths_.begin() + 1, paths_.end(), path);
  if (known == paths_.end()) {
    paths_.push_back(path);
    return paths_.size() - 1;
  }
  return static_cast<unsigned long>(known - paths_.begin());
}

void FailingVolume::Reply(const Request& request, int error, const void* data, size_t size) const {
  fuse_out_header head = {};
  head.error = -error;
  head.unique = request.head->unique;
  head.len = static_cast<uint32_t>(sizeof(head) + (error == 0 ? size : 0));
  const iovec parts[] = {{&head, sizeof(head)}, {const_cast<void*>(data), size}};
  if (writev(device_, parts, error == 0 && size > 0 ? 2 : 1) < 0) return;  // it was interrupted
}

void FailingVolume::ReplyEntry(const Request& request, const std::string& path, int opened) {
  struct {
    fuse_entry_out entry;
    fuse_open_out open;
  } answer = {};
  struct stat st = {};
  if (lstat(path.c_str(), &st) != 0) return Reply(request, errno);
  answer.entry.nodeid = NodeOf(path);
  answer.entry.attr = AttributesOf(st, answer.entry.nodeid);
  answer.open.fh = static_cast<uint64_t>(opened);
  Reply(request, 0, &answer, opened < 0 ? sizeof(answer.entry) : sizeof(answer));
}

void FailingVolume::ReplyAttributes(const Request& request, const std::string& path) const {
  fuse_attr_out answer = {};
  struct stat st = {};
  if (lstat(path.c_str(), &st) != 0) return Reply(request, errno);
  answer.attr = AttributesOf(st, request.head->nodeid);
  Reply(request, 0, &answer, sizeof(answer));
}

void FailingVolume::Change(const Request& request, const std::string& path) const {
  const auto& change = request.As<fuse_setattr_in>();
  timespec times[] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
  if ((change.valid & FATTR_ATIME) != 0) {
    times[0] = {static_cast<time_t>(change.atime), static_cast<long>(change.atimensec)};
  }
  if ((change.valid & FATTR_MTIME) != 0) {
    times[1] = {static_cast<time_t>(change.mtime), static_cast<long>(change.mtimensec)};
  }
  if ((change.valid & FATTR_ATIME_NOW) != 0) times[0].tv_nsec = UTIME_NOW;
  if ((change.valid & FATTR_MTIME_NOW) != 0) times[1].tv_nsec = UTIME_NOW;
  const bool is_done =
      ((change.valid & FATTR_SIZE) == 0 ||
       truncate(path.c_str(), static_cast<off_t>(change.size)) == 0) &&
      ((change.valid & FATTR_MODE) == 0 || chmod(path.c_str(), change.mode & 07777) == 0) &&
      utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0;
  return is_done ? ReplyAttributes(request, path) : Reply(request, errno);
}

void FailingVolume::List(const Request& request, const std::string& path) const {
  const auto& wanted = request.As<fuse_read_in>();
  std::string list;
  DIR* const folder = opendir(path.c_str());
  if (folder == nullptr) return Reply(request, errno);
  uint64_t position = 0;
  while (const dirent* entry = readdir(folder)) {
    if (++position <= wanted.offset) continue;
    const size_t length = strlen(entry->d_name);
    fuse_dirent head = {};
    head.ino = entry->d_ino;
    head.off = position;
    head.namelen = static_cast<uint32_t>(length);
    head.type = entry->d_type;
    std::string record(reinterpret_cast<const char*>(&head), FUSE_NAME_OFFSET);
    record += entry->d_name;
    record.resize(FUSE_DIRENT_ALIGN(FUSE_NAME_OFFSET + length));
    if (list.size() + record.size() > wanted.size) break;
    list += record;
  }
  closedir(folder);
  Reply(request, 0, list.data(), list.size());
}

void FailingVolume::Answer(const Request& request) {
  const auto child = [&](const char* name) { return PathOf(request.head->nodeid) + "/" + name; };
  const auto result = [&](bool is_done) { Reply(request, is_done ? 0 : errno); };
  const std::string path = request.head->nodeid < paths_.size() && request.head->nodeid > 0
                               ? PathOf(request.head->nodeid)
                               : "";
  switch (request.head->opcode) {
    case FUSE_INIT: {
      fuse_init_out answer = {};
      answer.major = FUSE_KERNEL_VERSION;
      answer.minor = std::min(request.As<fuse_init_in>().minor, uint32_t{31});
      answer.max_write = kLargestWrite;
      answer.max_readahead = request.As<fuse_init_in>().max_readahead;
      return Reply(request, 0, &answer, sizeof(answer));
    }
    case FUSE_FORGET:
    case FUSE_BATCH_FORGET:
    case FUSE_INTERRUPT:
      return;
    case FUSE_LOOKUP:
      if (const int fault = FaultOf("stat")) return Reply(request, fault);
      return ReplyEntry(request, child(request.body));
    case FUSE_GETATTR:
      if (const int fault = FaultOf("stat")) return Reply(request, fault);
      return ReplyAttributes(request, path);
    case FUSE_SETATTR:
      return Change(request, path);
    case FUSE_OPENDIR:
    case FUSE_OPEN: {
      if (const int fault = FaultOf("open")) return Reply(request, fault);
      const int flags = static_cast<int>(request.As<fuse_open_in>().flags) & ~(O_EXCL | O_CREAT);
      fuse_open_out answer = {};
      const int file = open(path.c_str(), flags | O_CLOEXEC);
      if (file < 0) return Reply(request, errno);
      answer.fh = static_cast<uint64_t>(file);
      return Reply(request, 0, &answer, sizeof(answer));
    }
    case FUSE_READ: {
      const auto& wanted = request.As<fuse_read_in>();
      std::vector<char> data(wanted.size);
      const ssize_t size = pread(static_cast<int>(wanted.fh), data.data(), data.size(),
                                 static_cast<off_t>(wanted.offset));
      if (size < 0) return Reply(request, errno);
      const int fault =
          ReadFaultAt(static_cast<int>(wanted.fh), static_cast<long>(wanted.offset) + size);
      return Reply(request, fault, data.data(), static_cast<size_t>(size));
    }
    case FUSE_WRITE: {
      if (const int fault = FaultOf("write")) return Reply(request, fault);
      const auto& head = request.As<fuse_write_in>();
      const ssize_t size = pwrite(static_cast<int>(head.fh), request.body + sizeof(head), head.size,
                                  static_cast<off_t>(head.offset));
      if (size < 0) return Reply(request, errno);
      fuse_write_out answer = {};
      answer.size = static_cast<uint32_t>(size);
      return Reply(request, 0, &answer, sizeof(answer));
    }
    case FUSE_READDIR:
      if (const int fault = FaultOf("read")) return Reply(request, fault);
      return List(request, path);
    case FUSE_RELEASE:
    case FUSE_RELEASEDIR:
      return result(close(static_cast<int>(request.As<fuse_release_in>().fh)) == 0);
    case FUSE_CREATE: {
      if (const int fault = FaultOf("create")) return Reply(request, fault);
      const auto& head = request.As<fuse_create_in>();
      const std::string made = child(request.body + sizeof(head));
      const int file =
          open(made.c_str(), static_cast<int>(head.flags) | O_CREAT | O_CLOEXEC, head.mode & 07777);
      return file < 0 ? Reply(request, errno) : ReplyEntry(request, made, file);
    }
    case FUSE_MKDIR: {
      if (const int fault = FaultOf("mkdir")) return Reply(request, fault);
      const auto& head = request.As<fuse_mkdir_in>();
      const std::string made = child(request.body + sizeof(head));
      const bool is_made = mkdir(made.c_str(), head.mode & 07777) == 0;
      return is_made ? ReplyEntry(request, made) : Reply(request, errno);
    }
    case FUSE_UNLINK:
      return result(unlink(child(request.body).c_str()) == 0);
    case FUSE_RMDIR:
      return result(rmdir(child(request.body).c_str()) == 0);
    case FUSE_RENAME:
    case FUSE_RENAME2: {
      if (const int fault = FaultOf("rename")) return Reply(request, fault);
      const bool has_flags = request.head->opcode == FUSE_RENAME2;
      const char* const from =
          request.body + (has_flags ? sizeof(fuse_rename2_in) : sizeof(fuse_rename_in));
      const std::string to =
          PathOf(request.As<fuse_rename_in>().newdir) + "/" + (from + strlen(from) + 1);
      const unsigned long node = NodeOf(child(from));
      if (rename(child(from).c_str(), to.c_str()) != 0) return Reply(request, errno);
      paths_[NodeOf(to)].clear();
      paths_[node] = to;
      return Reply(request, 0);
    }
    case FUSE_STATFS: {
      struct statvfs volume = {};
      if (statvfs(files_.path().c_str(), &volume) != 0) return Reply(request, errno);
      fuse_statfs_out answer = {};
      answer.st.blocks = volume.f_blocks;
      answer.st.bfree = volume.f_bfree;
      answer.st.bavail = volume.f_bavail;
      answer.st.files = volume.f_files;
      answer.st.ffree = volume.f_ffree;
      answer.st.bsize = static_cast<uint32_t>(volume.f_bsize);
      answer.st.frsize = static_cast<uint32_t>(volume.f_frsize);
      answer.st.namelen = 255;
      return Reply(request, 0, &answer, sizeof(answer));
    }
    case FUSE_FLUSH:
    case FUSE_FSYNC:
      return Reply(request, 0);
    default:
      return Reply(request, ENOSYS);
  }
}

}  // namespace vexathumb::kit
