#include "render/allowed_calls.h"

#include <fcntl.h>
#include <linux/prctl.h>
#include <sched.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdint>

#include "platform/sandbox/seccomp_rules.h"

namespace vexathumb::render {
namespace {

using vexaplatform::HasBits;
using vexaplatform::Is;
using vexaplatform::SeccompRules;

// Newer than the library's names. Of these every architecture has the same number.
constexpr int kFutexWake = 454;
constexpr int kFutexWait = 455;
constexpr int kFutexRequeue = 456;

constexpr int kCalls[] = {
    // memory
    SCMP_SYS(brk), SCMP_SYS(madvise), SCMP_SYS(mprotect), SCMP_SYS(mremap), SCMP_SYS(munmap),
    // threads, and what is told of the process itself
    SCMP_SYS(exit), SCMP_SYS(exit_group), SCMP_SYS(futex), kFutexWait, kFutexWake, kFutexRequeue,
    SCMP_SYS(getpid), SCMP_SYS(getrusage), SCMP_SYS(gettid), SCMP_SYS(membarrier),
    SCMP_SYS(restart_syscall), SCMP_SYS(rseq), SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn), SCMP_SYS(sched_getaffinity), SCMP_SYS(sched_yield),
    SCMP_SYS(set_robust_list), SCMP_SYS(sigaltstack),
    // time, and what is told of the machine
    SCMP_SYS(clock_getres), SCMP_SYS(clock_gettime), SCMP_SYS(clock_nanosleep), SCMP_SYS(getcpu),
    SCMP_SYS(getrandom), SCMP_SYS(gettimeofday), SCMP_SYS(nanosleep), SCMP_SYS(sysinfo),
    SCMP_SYS(time), SCMP_SYS(uname),
    // open files
    SCMP_SYS(close), SCMP_SYS(dup), SCMP_SYS(eventfd2), SCMP_SYS(fadvise64), SCMP_SYS(fstat),
    SCMP_SYS(ftruncate), SCMP_SYS(lseek), SCMP_SYS(pipe2), SCMP_SYS(poll), SCMP_SYS(ppoll),
    SCMP_SYS(pread64), SCMP_SYS(pwrite64), SCMP_SYS(read), SCMP_SYS(readv), SCMP_SYS(write),
    SCMP_SYS(writev)};

// Asked for by libraries on their way to what they can do without.
constexpr int kRefusedCalls[] = {SCMP_SYS(access),
                                 SCMP_SYS(faccessat),
                                 SCMP_SYS(faccessat2),
                                 SCMP_SYS(getcwd),
                                 SCMP_SYS(lstat),
                                 SCMP_SYS(mkdir),
                                 SCMP_SYS(mkdirat),
                                 SCMP_SYS(open),
                                 SCMP_SYS(openat),
                                 SCMP_SYS(openat2),
                                 SCMP_SYS(readlink),
                                 SCMP_SYS(readlinkat),
                                 SCMP_SYS(stat),
                                 SCMP_SYS(unlink),
                                 SCMP_SYS(unlinkat),
                                 SCMP_SYS(sched_setaffinity),
                                 SCMP_SYS(sched_setattr),
                                 SCMP_SYS(sched_getattr),
                                 SCMP_SYS(setpriority),
                                 SCMP_SYS(sched_setscheduler),
                                 SCMP_SYS(sched_getscheduler),
                                 SCMP_SYS(sched_getparam)};
constexpr int kAbsentCalls[] = {SCMP_SYS(clone3), SCMP_SYS(get_mempolicy), SCMP_SYS(set_mempolicy),
                                SCMP_SYS(mbind),  SCMP_SYS(mlock),         SCMP_SYS(memfd_create),
                                SCMP_SYS(umask)};

// Memory that is shared and of no file escapes the limit.
void AllowMapping(SeccompRules* rules) {
  rules->Allow(SCMP_SYS(mmap), {HasBits(3, MAP_SHARED | MAP_ANONYMOUS, MAP_ANONYMOUS)});
  rules->Allow(SCMP_SYS(mmap), {HasBits(3, MAP_ANONYMOUS, 0)});
}

// Threads, but no process and no namespace.
void AllowThreads(SeccompRules* rules) {
  constexpr int64_t kNamespaces = CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS | CLONE_NEWIPC |
                                  CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;
  rules->Allow(SCMP_SYS(clone), {HasBits(0, CLONE_THREAD | kNamespaces, CLONE_THREAD)});
  rules->Allow(SCMP_SYS(prlimit64), {Is(0, 0), Is(2, 0)});  // its own, asked and not set
  for (const int64_t option : {PR_SET_NAME, PR_GET_NAME}) {
    rules->Allow(SCMP_SYS(prctl), {Is(0, option)});
  }
  rules->Fail(SCMP_SYS(prctl), EINVAL, {Is(0, PR_SET_VMA)});  // which names memory
  rules->Fail(SCMP_SYS(prctl), EINVAL, {Is(0, PR_CAPBSET_READ)});
}

// Of an open file; of a path nothing is told.
void AllowAskingOfFiles(SeccompRules* rules) {
  rules->Allow(SCMP_SYS(newfstatat), {HasBits(3, AT_EMPTY_PATH, AT_EMPTY_PATH)});
  rules->Allow(SCMP_SYS(statx), {HasBits(2, AT_EMPTY_PATH, AT_EMPTY_PATH)});
  rules->Fail(SCMP_SYS(newfstatat), EACCES, {HasBits(3, AT_EMPTY_PATH, 0)});
  rules->Fail(SCMP_SYS(statx), EACCES, {HasBits(2, AT_EMPTY_PATH, 0)});
  for (const int64_t command : {F_DUPFD, F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL}) {
    rules->Allow(SCMP_SYS(fcntl), {Is(1, command)});
  }
  rules->Fail(SCMP_SYS(ioctl), ENOTTY);
}

}  // namespace

int AllowCalls(scmp_filter_ctx filter) {
  SeccompRules rules(filter);
  rules.AllowAll(kCalls);
  AllowMapping(&rules);
  AllowThreads(&rules);
  AllowAskingOfFiles(&rules);
  for (const int call : kRefusedCalls) rules.Fail(call, EACCES);
  rules.Fail(SCMP_SYS(getpeername), ENOTSOCK);  // AV1's decoder looks what its messages go to
  for (const int call : kAbsentCalls) rules.Fail(call, ENOSYS);
  return rules.result();
}

}  // namespace vexathumb::render
