#include "platform/tool/seccomp_filter.h"

#include <linux/seccomp.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>

#include "posix/unique_fd.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

// Not EPERM for these: libraries then go another way, for threads and for their input and output.
constexpr int kAbsentCalls[] = {SCMP_SYS(clone3), SCMP_SYS(io_uring_setup)};

constexpr int kDeniedCalls[] = {
    // sockets
    SCMP_SYS(socket), SCMP_SYS(socketpair), SCMP_SYS(connect), SCMP_SYS(bind), SCMP_SYS(listen),
    SCMP_SYS(accept), SCMP_SYS(accept4), SCMP_SYS(io_uring_enter), SCMP_SYS(io_uring_register),
    // signals to anybody
    SCMP_SYS(kill), SCMP_SYS(tkill), SCMP_SYS(tgkill), SCMP_SYS(rt_sigqueueinfo),
    SCMP_SYS(rt_tgsigqueueinfo), SCMP_SYS(pidfd_open), SCMP_SYS(pidfd_send_signal),
    SCMP_SYS(pidfd_getfd),
    // processes, its own group and session, others' memory
    SCMP_SYS(fork), SCMP_SYS(vfork), SCMP_SYS(setpgid), SCMP_SYS(setsid), SCMP_SYS(ptrace),
    SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev), SCMP_SYS(kcmp),
    SCMP_SYS(sched_setscheduler), SCMP_SYS(sched_setparam), SCMP_SYS(sched_setattr),
    SCMP_SYS(setpriority), SCMP_SYS(ioprio_set),
    // the kernel's other facilities
    SCMP_SYS(mount), SCMP_SYS(umount2), SCMP_SYS(pivot_root), SCMP_SYS(chroot), SCMP_SYS(unshare),
    SCMP_SYS(setns), SCMP_SYS(open_tree), SCMP_SYS(move_mount), SCMP_SYS(fsopen), SCMP_SYS(fsmount),
    SCMP_SYS(mount_setattr), SCMP_SYS(bpf), SCMP_SYS(perf_event_open), SCMP_SYS(userfaultfd),
    SCMP_SYS(keyctl), SCMP_SYS(add_key), SCMP_SYS(request_key), SCMP_SYS(mknod), SCMP_SYS(mknodat),
    SCMP_SYS(name_to_handle_at), SCMP_SYS(open_by_handle_at), SCMP_SYS(msgget), SCMP_SYS(semget),
    SCMP_SYS(shmget), SCMP_SYS(mq_open), SCMP_SYS(init_module), SCMP_SYS(finit_module),
    SCMP_SYS(delete_module), SCMP_SYS(kexec_load), SCMP_SYS(reboot), SCMP_SYS(swapon),
    SCMP_SYS(swapoff)};

constexpr int kFchmodat2 = 452;  // newer than the library's names
constexpr int kModeCalls[] = {
    SCMP_SYS(chmod),        SCMP_SYS(fchmod),      SCMP_SYS(fchmodat),  kFchmodat2,
    SCMP_SYS(chown),        SCMP_SYS(fchown),      SCMP_SYS(lchown),    SCMP_SYS(fchownat),
    SCMP_SYS(setxattr),     SCMP_SYS(fsetxattr),   SCMP_SYS(lsetxattr), SCMP_SYS(removexattr),
    SCMP_SYS(fremovexattr), SCMP_SYS(lremovexattr)};

template <size_t size>
int Deny(scmp_filter_ctx context, const int (&calls)[size], uint32_t error) {
  for (const int call : calls) {
    if (seccomp_rule_add(context, SCMP_ACT_ERRNO(error), call, 0) != 0) return -1;
  }
  return 0;
}

int DenyAll(scmp_filter_ctx context, ModeChanges changes) {
  if (Deny(context, kAbsentCalls, ENOSYS) != 0 || Deny(context, kDeniedCalls, EPERM) != 0)
    return -1;
  if (changes == ModeChanges::kDenied && Deny(context, kModeCalls, EPERM) != 0) return -1;
  // Threads are no processes, and limits may be asked, but not those of others.
  if (seccomp_rule_add(context, SCMP_ACT_ERRNO(EPERM), SCMP_SYS(clone), 1,
                       SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, 0)) != 0) {
    return -1;
  }
  return seccomp_rule_add(context, SCMP_ACT_ERRNO(EPERM), SCMP_SYS(prlimit64), 1,
                          SCMP_A0(SCMP_CMP_NE, 0));
}

std::vector<sock_filter> Export(scmp_filter_ctx context) {
  const UniqueFd file(memfd_create("filter", MFD_CLOEXEC));
  if (!file || seccomp_export_bpf(context, file.get()) != 0) return {};
  const off_t size = lseek(file.get(), 0, SEEK_END);
  std::vector<sock_filter> filter(static_cast<size_t>(size) / sizeof(sock_filter));
  return pread(file.get(), filter.data(), static_cast<size_t>(size), 0) == size
             ? filter
             : std::vector<sock_filter>();
}

std::vector<sock_filter> MakeFilter(ModeChanges changes) {
  const std::unique_ptr<void, void (*)(scmp_filter_ctx)> context(seccomp_init(SCMP_ACT_ALLOW),
                                                                 &seccomp_release);
  if (context == nullptr || DenyAll(context.get(), changes) != 0) return {};
  seccomp_attr_set(context.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2);  // a search tree
  return Export(context.get());
}

}  // namespace

bool HasSeccomp() {
  const uint32_t action = SECCOMP_RET_ERRNO;
  return syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
}

const std::vector<sock_filter>& ToolFilter(ModeChanges changes) {
  static const std::vector<sock_filter> denied = MakeFilter(ModeChanges::kDenied);
  static const std::vector<sock_filter> allowed = MakeFilter(ModeChanges::kAllowed);
  return changes == ModeChanges::kDenied ? denied : allowed;
}

int EnterFilter(const std::vector<sock_filter>& filter) {
  sock_fprog program{};
  program.len = static_cast<unsigned short>(filter.size());
  program.filter = const_cast<sock_filter*>(filter.data());  // which it only reads
  return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program));
}

}  // namespace vexaplatform
