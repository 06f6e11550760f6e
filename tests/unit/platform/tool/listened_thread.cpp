#include "unit/platform/tool/listened_thread.h"

#include <linux/landlock.h>
#include <poll.h>
#include <seccomp.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <system_error>
#include <thread>

#include "platform/sandbox/landlock.h"
#include "posix/unique_fd.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;
using Answer = std::function<void(const seccomp_notif&, seccomp_notif_resp*)>;

// -1 when the kernel cannot.
int Listen(const std::vector<sock_filter>& filter) {
  sock_fprog program = {static_cast<unsigned short>(filter.size()),
                        const_cast<sock_filter*>(filter.data())};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return -1;
  return static_cast<int>(
      syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

void AnswerOne(int listener, const Answer& answer) {
  seccomp_notif notice = {};
  if (ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &notice) != 0) return;  // its caller is gone
  seccomp_notif_resp response = {};
  response.id = notice.id;
  answer(notice, &response);
  ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &response);
}

void AnswerUntil(int ended, int listener, const Answer& answer) {
  pollfd watched[] = {{listener, POLLIN, 0}, {ended, POLLIN, 0}};
  while (watched[1].revents == 0) {
    if (poll(watched, 2, -1) > 0 && (watched[0].revents & POLLIN) != 0) {
      AnswerOne(listener, answer);
    }
  }
}

// Of the calls on this architecture.
std::string NameOf(int call) {
  const std::unique_ptr<char, void (*)(void*)> name(
      seccomp_syscall_resolve_num_arch(SCMP_ARCH_NATIVE, call), &free);
  return name == nullptr ? std::to_string(call) : name.get();
}

bool IsThisProgram(pid_t process) {
  std::error_code error;
  const std::string path = "/proc/" + std::to_string(process) + "/exe";
  return std::filesystem::equivalent(path, "/proc/self/exe", error);
}

}  // namespace

bool RunListened(const std::vector<sock_filter>& filter, const std::function<void()>& body,
                 const Answer& answer) {
  std::promise<int> listening;
  const UniqueFd ended(eventfd(0, EFD_CLOEXEC));
  std::thread thread([&] {
    const int listener = Listen(filter);
    listening.set_value(listener);
    if (listener >= 0) body();
    eventfd_write(ended.get(), 1);
  });
  const UniqueFd listener(listening.get_future().get());
  if (listener) AnswerUntil(ended.get(), listener.get(), answer);
  thread.join();
  return static_cast<bool>(listener);
}

bool RunWithLandlock(int version, const std::function<void()>& body) {
  if (version == kOwnLandlock) {
    body();
    return true;
  }
  if (LandlockVersion() < version) return false;
  constexpr auto kCall = static_cast<unsigned>(SYS_landlock_create_ruleset);
  const std::vector<sock_filter> questions = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kCall, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, LANDLOCK_CREATE_RULESET_VERSION, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  return RunListened(questions, body, [version](const seccomp_notif&, seccomp_notif_resp* answer) {
    answer->val = version;
    if (version == 0) answer->error = -ENOSYS;
  });
}

std::set<std::string> RefusedCalls(const std::vector<sock_filter>& filter,
                                   const std::function<void()>& body) {
  std::vector<sock_filter> notifying = filter;
  for (sock_filter& statement : notifying) {
    const bool refuses =
        statement.code == (BPF_RET | BPF_K) && statement.k == (SECCOMP_RET_ERRNO | EPERM);
    if (refuses) statement.k = SECCOMP_RET_USER_NOTIF;
  }
  std::set<std::string> refused;
  const bool ran =
      RunListened(notifying, body, [&](const seccomp_notif& notice, seccomp_notif_resp* answer) {
        if (IsThisProgram(static_cast<pid_t>(notice.pid))) {
          answer->flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
          return;
        }
        refused.insert(NameOf(notice.data.nr));
        answer->error = -EPERM;
      });
  if (!ran) refused.insert("the kernel notifies nobody of calls");
  return refused;
}

}  // namespace vexaplatform
