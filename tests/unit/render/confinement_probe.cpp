#include <fcntl.h>
#include <linux/memfd.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>

#include "render/confinement.h"

// Confines itself as the process of a job does and then tries one thing. Its status says what came
// of it.
//   confinement_probe ACT PATH
namespace {

constexpr int kDone = 0;
constexpr int kDenied = 10;
constexpr int kNotConfined = 20;

const char* path = nullptr;
int passed = -1;      // a file that is passed to the job
int not_passed = -1;  // one that was open before

long Raw(long number, long a = 0, long b = 0, long c = 0, long d = 0, long e = 0) {
  return syscall(number, a, b, c, d, e);
}

template <typename Pointer>
long Address(Pointer* pointer) {
  return reinterpret_cast<long>(pointer);
}

bool StartsAThread() {
  bool has_run = false;
  std::thread([&has_run] { has_run = true; }).join();
  return has_run;
}

bool TakesMemory() {
  constexpr size_t kSize = size_t{1} << 20U;
  void* const memory = malloc(kSize);
  if (memory == nullptr) return false;
  memset(memory, 1, kSize);
  free(memory);
  return true;
}

bool SharesMemory() {
  return mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0) !=
         MAP_FAILED;
}

bool RaisesALimit() {
  const rlimit limit = {1 << 20, 1 << 20};
  return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

bool SetsATimer() {
  const itimerval none = {};
  return setitimer(ITIMER_PROF, &none, nullptr) == 0;
}

bool ReadsMemoryOfItsParent() {
  char byte = 0;
  iovec here = {&byte, 1};
  iovec there = {&byte, 1};
  return process_vm_readv(getppid(), &here, 1, &there, 1, 0) >= 0;
}

const std::map<std::string, bool (*)()> kActs = {
    // what a decoder does
    {"starts a thread", &StartsAThread},
    {"takes memory", &TakesMemory},
    {"writes to its file", [] { return write(passed, "x", 1) == 1; }},
    {"cuts its file", [] { return ftruncate(passed, 0) == 0; }},
    {"asks of its file",
     [] {
       struct stat status = {};
       return fstat(passed, &status) == 0;
     }},
    // what it has no business with
    {"opens a file", [] { return open(path, O_RDONLY) >= 0; }},
    {"opens a file to write", [] { return open(path, O_WRONLY) >= 0; }},
    {"opens by openat2",
     [] {
       const uint64_t how[3] = {};
       return Raw(SYS_openat2, AT_FDCWD, Address(path), Address(how), sizeof(how)) >= 0;
     }},
    {"creates a file", [] { return creat((std::string(path) + ".new").c_str(), 0600) >= 0; }},
    {"cuts a file", [] { return truncate(path, 0) == 0; }},
    {"removes a file", [] { return unlink(path) == 0; }},
    {"renames a file", [] { return rename(path, "/tmp/elsewhere") == 0; }},
    {"links a file", [] { return link(path, (std::string(path) + ".link").c_str()) == 0; }},
    {"makes a folder", [] { return mkdir((std::string(path) + ".folder").c_str(), 0700) == 0; }},
    {"changes a mode", [] { return chmod(path, 0777) == 0; }},
    {"changes its file's mode", [] { return fchmod(passed, 0777) == 0; }},
    {"changes an attribute",
     [] { return Raw(SYS_fsetxattr, passed, Address("user.x"), Address("y"), 1, 0) == 0; }},
    {"asks of a path",
     [] {
       struct stat status = {};
       return stat(path, &status) == 0;
     }},
    {"asks whether a path exists", [] { return access(path, F_OK) == 0; }},
    {"writes to a file that was open", [] { return write(not_passed, "x", 1) == 1; }},
    {"reads what was open",
     [] {
       char byte = 0;
       return pread(not_passed, &byte, 1, 0) >= 0;
     }},
    {"makes a socket", [] { return socket(AF_UNIX, SOCK_STREAM, 0) >= 0; }},
    {"makes an internet socket", [] { return socket(AF_INET, SOCK_STREAM, 0) >= 0; }},
    {"connects", [] { return connect(passed, nullptr, 0) == 0; }},
    {"makes a pair of sockets",
     [] {
       int ends[2];
       return socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0;
     }},
    {"forks",
     [] {
       const long process = Raw(SYS_clone, SIGCHLD);
       if (process == 0) _exit(0);
       return process > 0;
     }},
    {"makes a process by clone3",
     [] {
       uint64_t how[11] = {};
       how[4] = SIGCHLD;
       const long process = Raw(SYS_clone3, Address(how), sizeof(how));
       if (process == 0) _exit(0);
       return process > 0;
     }},
    {"executes a program",
     [] {
       char* const none[] = {nullptr};
       execve("/bin/true", none, none);
       return false;
     }},
    {"signals its parent", [] { return kill(getppid(), 0) == 0; }},
    {"signals itself", [] { return kill(getpid(), 0) == 0; }},
    {"signals a thread of its parent",
     [] { return Raw(SYS_tgkill, getppid(), getppid(), 0) == 0; }},
    {"opens a descriptor of its parent", [] { return Raw(SYS_pidfd_open, getppid(), 0) >= 0; }},
    {"traces its parent", [] { return ptrace(PTRACE_ATTACH, getppid(), 0, 0) == 0; }},
    {"reads its parent's memory", &ReadsMemoryOfItsParent},
    {"makes a file in memory", [] { return memfd_create("x", 0) >= 0; }},
    {"shares memory", &SharesMemory},
    {"shares memory by System V", [] { return shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600) >= 0; }},
    {"raises a limit", &RaisesALimit},
    {"sets its timer", &SetsATimer},
    {"sets another's limit",
     [] {
       const rlimit limit = {1, 1};
       return prlimit(getppid(), RLIMIT_NOFILE, &limit, nullptr) == 0;
     }},
    {"survives its parent", [] { return prctl(PR_SET_PDEATHSIG, 0) == 0; }},
    {"changes its user", [] { return Raw(SYS_setuid, 12345) == 0; }},
    {"leaves for a namespace", [] { return unshare(CLONE_NEWUSER) == 0; }},
    {"mounts", [] { return Raw(SYS_mount, 0, Address("/tmp"), Address("tmpfs")) == 0; }},
    {"loads a program into the kernel", [] { return Raw(SYS_bpf, 0, 0, 0) >= 0; }},
    {"watches performance", [] { return Raw(SYS_perf_event_open, 0, 0, -1, -1, 0) >= 0; }},
    {"has the kernel work for it", [] { return Raw(SYS_io_uring_setup, 1, 0) >= 0; }},
    {"sends its signals to others", [] { return fcntl(passed, F_SETOWN, getppid()) == 0; }},
    {"locks its file",
     [] {
       struct flock lock = {};
       lock.l_type = F_WRLCK;
       return fcntl(passed, F_SETLK, &lock) == 0;
     }},
    {"inserts into a terminal", [] { return Raw(SYS_ioctl, 0, 0x5412, Address("x")) == 0; }},
};

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 3) return kNotConfined;
  const auto act = kActs.find(argv[1]);
  path = argv[2];
  passed = open(path, O_RDWR);
  not_passed = open(path, O_RDWR);
  if (act == kActs.end() || passed < 0 || not_passed < 0) return kNotConfined;
  vexathumb::render::PrepareConfinement();
  if (!vexathumb::render::KeepOnly({passed}) ||
      !vexathumb::render::Confine({uint64_t{256} << 20U, 60'000, uint64_t{1} << 20U})) {
    return kNotConfined;
  }
  _exit(act->second() ? kDone : kDenied);
}
