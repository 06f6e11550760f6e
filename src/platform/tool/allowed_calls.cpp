#include "platform/tool/allowed_calls.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/prctl.h>
#include <sched.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstdint>

#include "platform/sandbox/seccomp_filter.h"
#include "platform/sandbox/seccomp_rules.h"

namespace vexaplatform {
namespace {

// Newer than the library's names. Of these every architecture has the same number.
constexpr int kFutexWait = 455;
constexpr int kFutexWake = 454;
constexpr int kFutexRequeue = 456;
constexpr int kMseal = 462;

constexpr int kCalls[] = {
    // memory
    SCMP_SYS(brk), SCMP_SYS(madvise), SCMP_SYS(mmap), SCMP_SYS(mprotect), SCMP_SYS(mremap),
    SCMP_SYS(msync), SCMP_SYS(munmap), kMseal,
    // threads, and what is told of the process itself
    SCMP_SYS(arch_prctl), SCMP_SYS(execve), SCMP_SYS(exit), SCMP_SYS(exit_group), SCMP_SYS(futex),
    SCMP_SYS(futex_waitv), kFutexWait, kFutexWake, kFutexRequeue, SCMP_SYS(getegid),
    SCMP_SYS(geteuid), SCMP_SYS(getgid), SCMP_SYS(getpid), SCMP_SYS(getppid), SCMP_SYS(getrlimit),
    SCMP_SYS(getrusage), SCMP_SYS(gettid), SCMP_SYS(getuid), SCMP_SYS(membarrier),
    SCMP_SYS(restart_syscall), SCMP_SYS(rseq), SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn), SCMP_SYS(sched_getaffinity), SCMP_SYS(sched_yield),
    SCMP_SYS(set_robust_list), SCMP_SYS(set_tid_address), SCMP_SYS(sigaltstack), SCMP_SYS(times),
    // time, and what is told of the machine
    SCMP_SYS(clock_getres), SCMP_SYS(clock_gettime), SCMP_SYS(clock_nanosleep), SCMP_SYS(getcpu),
    SCMP_SYS(getrandom), SCMP_SYS(gettimeofday), SCMP_SYS(nanosleep), SCMP_SYS(sysinfo),
    SCMP_SYS(time), SCMP_SYS(uname),
    // files, as Landlock lets them be opened
    SCMP_SYS(access), SCMP_SYS(close), SCMP_SYS(close_range), SCMP_SYS(dup), SCMP_SYS(dup2),
    SCMP_SYS(dup3), SCMP_SYS(eventfd2), SCMP_SYS(faccessat), SCMP_SYS(faccessat2),
    SCMP_SYS(fadvise64), SCMP_SYS(fdatasync), SCMP_SYS(fstat), SCMP_SYS(fsync), SCMP_SYS(ftruncate),
    SCMP_SYS(getcwd), SCMP_SYS(getdents64), SCMP_SYS(lseek), SCMP_SYS(lstat), SCMP_SYS(newfstatat),
    SCMP_SYS(pipe), SCMP_SYS(pipe2), SCMP_SYS(poll), SCMP_SYS(ppoll), SCMP_SYS(pread64),
    SCMP_SYS(preadv), SCMP_SYS(pselect6), SCMP_SYS(pwrite64), SCMP_SYS(pwritev), SCMP_SYS(read),
    SCMP_SYS(readlink), SCMP_SYS(readlinkat), SCMP_SYS(readv), SCMP_SYS(select), SCMP_SYS(stat),
    SCMP_SYS(statx), SCMP_SYS(write), SCMP_SYS(writev)};

// For whoever has a folder for files of its own.
constexpr int kTemporaryFileCalls[] = {SCMP_SYS(unlink), SCMP_SYS(unlinkat)};

// For mv: of a file that it has opened it may set what a copy takes over.
constexpr int kMoveCalls[] = {
    SCMP_SYS(copy_file_range), SCMP_SYS(fchmod),       SCMP_SYS(fchown),    SCMP_SYS(fgetxattr),
    SCMP_SYS(flistxattr),      SCMP_SYS(fremovexattr), SCMP_SYS(fsetxattr), SCMP_SYS(rename),
    SCMP_SYS(renameat),        SCMP_SYS(renameat2),    SCMP_SYS(umask)};

// The C library and others then go another way. What Landlock cannot judge without its arguments,
// which lie in memory, is among them.
constexpr int kAbsentCalls[] = {
    SCMP_SYS(clone3),        SCMP_SYS(openat2), SCMP_SYS(io_uring_setup), SCMP_SYS(get_mempolicy),
    SCMP_SYS(set_mempolicy), SCMP_SYS(mlock),   SCMP_SYS(statfs)};

// A Landlock of before version 3 takes a file that is opened to be read for one that is read, even
// where opening it empties it.
void AllowOpening(SeccompRules* rules, int call, unsigned flags, Tool tool) {
  if (tool == Tool::kOnFiles) {  // what is to be written is open
    rules->Allow(call, {HasBits(flags, O_ACCMODE | O_CREAT | O_TRUNC, O_RDONLY)});
    return;
  }
  rules->Allow(call, {HasBits(flags, O_TRUNC, 0)});
  for (const int64_t access : {O_WRONLY, O_RDWR}) {
    rules->Allow(call, {HasBits(flags, O_TRUNC | O_ACCMODE, O_TRUNC | access)});
  }
}

// Whose signals a descriptor sends, and to whom, is not for a tool to say.
void AllowDescriptorControl(SeccompRules* rules) {
  for (const int64_t command : {F_DUPFD, F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL}) {
    rules->Allow(SCMP_SYS(fcntl), {Is(1, command)});
  }
  rules->Allow(SCMP_SYS(fcntl), {Is(1, F_SETFL), HasBits(2, O_ASYNC, 0)});
  for (const int64_t request : {TCGETS, TIOCGWINSZ, FIONREAD, FIOCLEX, FIONCLEX}) {
    rules->Allow(SCMP_SYS(ioctl), {Is(1, request)});
  }
}

// Threads, but no process and no namespace.
void AllowThreads(SeccompRules* rules) {
  constexpr int64_t kNamespaces = CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS | CLONE_NEWIPC |
                                  CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;
  rules->Allow(SCMP_SYS(clone), {HasBits(0, CLONE_THREAD | kNamespaces, CLONE_THREAD)});
  for (const int64_t option : {PR_SET_NAME, PR_GET_NAME, PR_CAPBSET_READ}) {
    rules->Allow(SCMP_SYS(prctl), {Is(0, option)});
  }
  rules->Allow(SCMP_SYS(prlimit64), {Is(0, 0), Is(2, 0)});  // its own, asked and not set
}

void AllowMoving(SeccompRules* rules) {
  rules->AllowAll(kTemporaryFileCalls);
  rules->AllowAll(kMoveCalls);
  rules->Allow(SCMP_SYS(utimensat), {Is(1, 0)});  // of a descriptor, not of a path
  rules->Allow(SCMP_SYS(ioctl), {Is(1, FICLONE)});
}

// 0, or -1 when a rule cannot be added.
int AllowCalls(scmp_filter_ctx filter, Tool tool) {
  SeccompRules rules(filter);
  rules.AllowAll(kCalls);
  AllowOpening(&rules, SCMP_SYS(open), 1, tool);
  AllowOpening(&rules, SCMP_SYS(openat), 2, tool);
  AllowDescriptorControl(&rules);
  AllowThreads(&rules);
  if (tool == Tool::kConvert) {
    rules.AllowAll(kTemporaryFileCalls);
    rules.Fail(SCMP_SYS(fchmod), 0);  // a temporary file is made with the mode that this asks for
  }
  if (tool == Tool::kMv) AllowMoving(&rules);
  for (const int call : kAbsentCalls) rules.Fail(call, ENOSYS);
  rules.Fail(SCMP_SYS(fallocate), EOPNOTSUPP);  // the C library then writes
  return rules.result();
}

std::vector<sock_filter> MakeFilter(Tool tool) {
  return MakeSeccompFilter(SCMP_ACT_ERRNO(EPERM),
                           [tool](scmp_filter_ctx filter) { return AllowCalls(filter, tool); });
}

}  // namespace

const std::vector<sock_filter>& ToolFilter(Tool tool) {
  static const std::vector<sock_filter> convert = MakeFilter(Tool::kConvert);
  static const std::vector<sock_filter> mv = MakeFilter(Tool::kMv);
  static const std::vector<sock_filter> on_files = MakeFilter(Tool::kOnFiles);
  static const std::vector<sock_filter> others = MakeFilter(Tool::kOther);
  if (tool == Tool::kConvert) return convert;
  if (tool == Tool::kOnFiles) return on_files;
  return tool == Tool::kMv ? mv : others;
}

}  // namespace vexaplatform
