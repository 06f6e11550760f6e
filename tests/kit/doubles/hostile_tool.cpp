// Stands in for a tool that a picture has taken over. What follows -order, or else its source, the
// first operand that can be read, with or without a frame, is the order: an act, and what it is
// done to. It exits with 0 when the act was done, with 1 when it was refused, with 2 when it failed
// otherwise, with 3 when there is no such call.

#include <fcntl.h>
#include <linux/fs.h>
#include <mqueue.h>
#include <poll.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace {

// What an act may be done to.
struct Target {
  std::string text;
  int number() const { return std::stoi(text); }
  const char* path() const { return text.c_str(); }
};

// -1 with errno, as a system call.
using Act = long (*)(const Target&);

// Newer than the headers.
constexpr long kFchmodat2 = 452;
constexpr long kSetxattrat = 463;
constexpr long kRemovexattrat = 466;
constexpr long kFileSetattr = 469;

long EmptyByReading(const Target& target) {
  // NOLINTNEXTLINE(android-cloexec-open)
  return open(target.path(), O_RDONLY | O_TRUNC);
}

// Has the kernel send a signal to whoever is told to own a descriptor.
long SignalByDescriptor(const Target& target) {
  int ends[2];
  if (pipe(ends) != 0 || fcntl(ends[0], F_SETOWN, target.number()) != 0 ||
      fcntl(ends[0], F_SETSIG, SIGKILL) != 0 || fcntl(ends[0], F_SETFL, O_ASYNC) != 0) {
    return -1;
  }
  return write(ends[1], "", 1);
}

long SignalByGroupOfDescriptor(const Target& target) {
  int ends[2];
  const f_owner_ex owner = {F_OWNER_PID, target.number()};
  return pipe(ends) == 0 ? fcntl(ends[0], F_SETOWN_EX, &owner) : -1;
}

long BindToProcessor(const Target& target) {
  cpu_set_t processors;
  if (sched_getaffinity(target.number(), sizeof(processors), &processors) != 0) return -1;
  return sched_setaffinity(target.number(), sizeof(processors), &processors);
}

long ReadMemory(const Target& target) {
  char buffer = 0;
  iovec here = {&buffer, 1};
  iovec there = {&buffer, 1};
  const long size = process_vm_readv(target.number(), &here, 1, &there, 1, 0);
  if (size < 0 && errno == EFAULT) return 0;  // it lies elsewhere there
  return size;
}

long RaiseLimit(const Target&) {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return -1;
  return setrlimit(RLIMIT_NOFILE, &limit);
}

long HoldMemory(const Target&) {
  // NOLINTNEXTLINE(android-cloexec-memfd-create)
  const int file = memfd_create("held", 0);
  return file < 0 ? -1 : ftruncate(file, 1 << 20);
}

std::string TemporaryFolder() {
  const char* const folder = getenv("TMPDIR");
  return folder == nullptr ? "/nonexistent" : folder;
}

// Files that are gone from their folder and yet there, kept by a page of each that is mapped.
long HideFiles(const Target&) {
  const std::string path = TemporaryFolder() + "/hidden";
  const std::string block(1 << 20, 'x');
  for (int count = 0; count < 32; ++count) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0 || unlink(path.c_str()) != 0) return -1;
    for (size_t i = 0; i < 16; ++i) {
      if (write(file, block.data(), block.size()) < 0) return -1;
    }
    if (mmap(nullptr, 1, PROT_READ, MAP_SHARED, file, 0) == MAP_FAILED) return -1;
    close(file);
  }
  return 0;
}

// As many files as it may, of the size that each may have.
long FillFolder(const Target&) {
  const std::string folder = TemporaryFolder() + "/";
  const std::string block(1 << 20, 'x');
  for (int count = 0; count < 32; ++count) {
    const std::string path = folder + std::to_string(count);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) return -1;
    for (size_t i = 0; i < 16; ++i) {
      if (write(file, block.data(), block.size()) < 0) return -1;
    }
  }
  return 0;
}

// Waits until the name is that of the file of this number, and writes to it.
long WriteWhenExchanged(const Target& target) {
  const size_t blank = target.text.find(' ');
  const ino_t wanted = std::stoull(target.text);
  const std::string path = target.text.substr(blank + 1);
  struct stat status = {};
  while (stat(path.c_str(), &status) != 0 || status.st_ino != wanted) poll(nullptr, 0, 1);
  const int file = open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  return file < 0 ? -1 : write(file, "hostile", 7);
}

long Wait() {
  for (;;) poll(nullptr, 0, -1);
}

int WaitInThread(void*) { return static_cast<int>(Wait()); }

// By the bare call: a thread of the library's needs more memory.
long StartThreads(const Target& target) {
  constexpr size_t kStack = size_t{16} << 10;
  constexpr int kThread = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD;
  for (int i = 0; i < target.number(); ++i) {
    char* const stack = new char[kStack];  // until the process ends
    if (clone(&WaitInThread, stack + kStack, kThread, nullptr) < 0) break;  // no more now
  }
  return Wait();
}

long OpenAndDo(const Target& target, int flags, long (*act)(int)) {
  const int file = open(target.path(), flags | O_CLOEXEC);
  return file < 0 ? -1 : act(file);
}

const std::map<std::string, Act>& Acts() {
  static const std::map<std::string, Act> acts = {
      {"read",
       [](const Target& target) -> long {
         char octet = 0;
         const int file = open(target.path(), O_RDONLY | O_CLOEXEC);
         return file < 0 ? -1 : read(file, &octet, 1);
       }},
      {"make",
       [](const Target& target) -> long {
         return open(target.path(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
       }},
      {"write",
       [](const Target& target) -> long {
         const int file = open(target.path(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
         return file < 0 ? -1 : write(file, "written", 7);
       }},
      {"link", [](const Target& target) -> long { return symlink("/etc/passwd", target.path()); }},
      {"remove", [](const Target& target) -> long { return unlink(target.path()); }},
      {"truncate", [](const Target& target) -> long { return truncate(target.path(), 0); }},
      {"empty", EmptyByReading},
      {"date",
       [](const Target& target) -> long {
         const timespec times[2] = {};
         return utimensat(AT_FDCWD, target.path(), times, 0);
       }},
      {"mode", [](const Target& target) -> long { return chmod(target.path(), 0777); }},
      {"mode_anew",
       [](const Target& target) -> long {
         return syscall(kFchmodat2, AT_FDCWD, target.path(), 0777, 0);
       }},
      {"owner",
       [](const Target& target) -> long { return chown(target.path(), getuid(), getgid()); }},
      {"attribute",
       [](const Target& target) -> long {
         return setxattr(target.path(), "user.hostile", "", 0, 0);
       }},
      {"attribute_anew",
       [](const Target& target) -> long {
         const uint64_t value[2] = {};
         return syscall(kSetxattrat, AT_FDCWD, target.path(), 0, "user.hostile", value,
                        sizeof(value));
       }},
      {"remove_attribute_anew",
       [](const Target& target) -> long {
         const long result = syscall(kRemovexattrat, AT_FDCWD, target.path(), 0, "user.hostile");
         return result < 0 && errno == ENODATA ? 0 : result;  // there was none
       }},
      {"flags_anew",
       [](const Target& target) -> long {
         const uint64_t flags[3] = {};
         return syscall(kFileSetattr, AT_FDCWD, target.path(), flags, sizeof(flags), 0);
       }},
      {"flags",
       [](const Target& target) {
         return OpenAndDo(target, O_RDONLY, [](int file) -> long {
           int flags = 0;
           return ioctl(file, FS_IOC_GETFLAGS, &flags);
         });
       }},
      {"lock",
       [](const Target& target) {
         return OpenAndDo(target, O_RDONLY,
                          [](int file) -> long { return flock(file, LOCK_EX | LOCK_NB); });
       }},
      {"lock_range",
       [](const Target& target) {
         return OpenAndDo(target, O_RDONLY, [](int file) -> long {
           struct flock range = {};
           range.l_type = F_RDLCK;
           return fcntl(file, F_SETLK, &range);
         });
       }},
      {"lease",
       [](const Target& target) {
         return OpenAndDo(target, O_RDONLY,
                          [](int file) -> long { return fcntl(file, F_SETLEASE, F_RDLCK); });
       }},
      {"be_told",
       [](const Target& target) {
         return OpenAndDo(target, O_RDONLY | O_DIRECTORY,
                          [](int file) -> long { return fcntl(file, F_NOTIFY, DN_ACCESS); });
       }},
      {"watch",
       [](const Target& target) -> long {
         return inotify_add_watch(inotify_init(), target.path(), IN_ACCESS);
       }},
      {"room",
       [](const Target& target) {
         return OpenAndDo(target, O_WRONLY, [](int file) -> long {
           return syscall(SYS_fallocate, file, 0, off_t{0}, off_t{1} << 20);
         });
       }},
      {"signal", [](const Target& target) -> long { return kill(target.number(), 0); }},
      {"signal_by_descriptor", SignalByDescriptor},
      {"own_descriptor", SignalByGroupOfDescriptor},
      {"bind", BindToProcessor},
      {"schedule",
       [](const Target& target) -> long {
         return setpriority(PRIO_PROCESS, static_cast<id_t>(target.number()), 19);
       }},
      {"read_memory", ReadMemory},
      {"take_descriptor",
       [](const Target& target) -> long { return syscall(SYS_pidfd_open, target.number(), 0); }},
      {"shared_memory",
       [](const Target& target) -> long {
         return reinterpret_cast<intptr_t>(shmat(target.number(), nullptr, 0)) == -1 ? -1 : 0;
       }},
      {"remove_queue", [](const Target& target) -> long { return mq_unlink(target.path()); }},
      {"hold_memory", HoldMemory},
      {"limit", RaiseLimit},
      {"outlive", [](const Target&) -> long { return prctl(PR_SET_PDEATHSIG, 0); }},
      {"linger",
       [](const Target&) -> long {
         prctl(PR_SET_PDEATHSIG, 0);
         signal(SIGTERM, SIG_IGN);
         return Wait();
       }},
      {"write_when_exchanged", WriteWhenExchanged},
      {"hide_files", HideFiles},
      {"fill_folder", FillFolder},
      {"threads", StartThreads},
      {"leave", [](const Target&) -> long { return setpgid(0, 0); }},
      {"socket",
       [](const Target&) -> long { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); }},
      {"pair",
       [](const Target&) -> long {
         int ends[2];
         return socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends);
       }},
      {"fork",
       [](const Target&) -> long {
         const pid_t child = fork();
         if (child == 0) _exit(0);
         return child;
       }},
      {"key",
       [](const Target&) -> long {
         constexpr long kProcessKeyring = -2;
         return syscall(SYS_add_key, "user", "hostile", "x", 1, kProcessKeyring);
       }},
      {"namespace", [](const Target&) -> long { return unshare(CLONE_FILES); }},
  };
  return acts;
}

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "";
}

std::string ReadOrder(const std::vector<std::string>& arguments) {
  for (size_t i = 0; i < arguments.size(); ++i) {
    if (i > 0 && arguments[i - 1] == "-order") return arguments[i];
    if (i > 0 && arguments[i - 1] == "-outfile") continue;
    std::string path = arguments[i];
    if (path.size() > 3 && path.compare(path.size() - 3, 3, "[0]") == 0) {
      path.resize(path.size() - 3);
    }
    std::string order = path[0] == '-' ? "" : ReadAll(path);
    if (!order.empty()) return order;
  }
  return "";
}

}  // namespace

int main(int argc, char** argv) {
  const std::string order = ReadOrder({argv + 1, argv + argc});
  const size_t blank = order.find(' ');
  const auto act = Acts().find(order.substr(0, blank));
  if (act == Acts().end()) return 4;
  if (act->second({blank == std::string::npos ? "" : order.substr(blank + 1)}) >= 0) return 0;
  if (errno == ENOSYS) return 3;
  return errno == EPERM || errno == EACCES ? 1 : 2;
}
