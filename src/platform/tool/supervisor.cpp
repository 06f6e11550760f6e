#include "platform/tool/supervisor.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/bare_calls.h"
#include "platform/sandbox/landlock.h"
#include "platform/tool/orphans.h"
#include "platform/tool/private_folder.h"
#include "platform/tool/tool_destination.h"
#include "platform/tool/tool_messages.h"
#include "platform/tool/tool_process.h"
#include "platform/tool/tool_usage.h"
#include "posix/unique_fd.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

constexpr size_t kStackSize = size_t{48} << 10;
constexpr int64_t kGraceMilliseconds = 2000;  // between SIGTERM and SIGKILL
constexpr int64_t kTickMilliseconds = 20;     // between two looks at what the tool has taken

int64_t Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

int OpenProcess(pid_t process) { return static_cast<int>(syscall(SYS_pidfd_open, process, 0)); }

// A process that shares this one's memory, and holds the calling thread up until it ends or
// executes a program. `signal` tells its end.
template <typename Body>
pid_t StartSharing(Body* body, int signal) {
  const std::unique_ptr<char[]> stack(new char[kStackSize]);
  int (*const entry)(void*) = [](void* argument) {
    (*static_cast<Body*>(argument))();
    return 0;
  };
  return bare::Clone(entry, stack.get() + kStackSize, CLONE_VM | CLONE_VFORK | signal, body);
}

// What the supervisor does. It runs in the host's memory while the host goes on, so that nothing in
// here may allocate, lock, or leave anything behind but the outcome.
class Supervisor {
 public:
  // `host` is a descriptor that tells the host's end.
  Supervisor(const ToolOrder& order, const ToolStreams& streams, int started_pipe, int host)
      : order_(order),
        argv_(VectorOf(order.arguments)),
        envp_(VectorOf(order.environment)),
        tools_stack_(new char[kStackSize]),
        input_(streams.input),
        output_(streams.output),
        output_is_socket_(streams.output_is_socket),
        error_output_(streams.has_error_output ? STDERR_FILENO : -1),
        started_pipe_(started_pipe),
        host_(host) {}

  // In the process of its own.
  void Run() {
    LeaveHost();
    const bool ready = Prepare();
    if (ready) {
      Start();
    } else {
      outcome_.error = errno;
    }
    TellStart();
    if (outcome_.started) Watch();
    CleanUp();
    outcome_.supervised = true;
    // Only now the end of the output is seen. What a process does at its end is not for here.
    syscall(SYS_exit_group, 0);
  }

  // In the host, once that process is gone.
  const ToolOutcome& outcome() const { return outcome_; }

  // Somebody killed that process, and with it the tool, but for what that started.
  void CleanUpAfterIt() const {
    if (outcome_.started) kill(-tool_, SIGKILL);
    if (!order_.private_folder.empty()) RemovePrivateFolder(order_.private_folder.c_str());
  }

 private:
  // execve(2) wants texts that could be written to, and writes to none.
  static std::vector<char*> VectorOf(const std::vector<std::string>& texts) {
    std::vector<char*> vector;
    vector.reserve(texts.size() + 1);
    for (const std::string& text : texts) vector.push_back(const_cast<char*>(text.c_str()));
    vector.push_back(nullptr);
    return vector;
  }

  static void CloseDescriptor(int* descriptor) {
    if (*descriptor >= 0) bare::Close(*descriptor);
    *descriptor = -1;
  }

  // The host's descriptors but those of this run, and its handling of signals, are not for here.
  void LeaveHost() {
    int kept[] = {STDERR_FILENO, input_, output_, started_pipe_, host_, INT_MAX};
    std::sort(std::begin(kept), std::end(kept));
    int next = STDERR_FILENO + 1;
    for (const int descriptor : kept) {
      bare::CloseRange(next, descriptor - 1);
      next = std::max(next, descriptor == INT_MAX ? next : descriptor + 1);
    }
    if (error_output_ >= 0) error_output_ = bare::Duplicate(STDERR_FILENO, next);
    const int null = bare::Open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      bare::DuplicateTo(null, stream);
    }
    if (null > STDERR_FILENO) bare::Close(null);
    bare::ResetSignal(SIGCHLD);  // or the kernel would reap the tool unseen
    prctl(PR_SET_CHILD_SUBREAPER, 1);
  }

  bool FailAt(const std::string& path) {
    outcome_.obstacle = path.c_str();
    return false;
  }

  bool Prepare() {
    if (!order_.private_folder.empty()) {
      if (mkdir(order_.private_folder.c_str(), 0700) != 0) return FailAt(order_.private_folder);
      folder_made_ = true;
    }
    for (const Link& link : order_.links) {
      if (symlink(link.target.c_str(), link.path.c_str()) != 0) return FailAt(link.target);
    }
    if (!PrepareDestination()) return FailAt(order_.destination);
    if (order_.confined && !order_.rules.empty()) {
      ruleset_ = MakeLandlockRuleset(order_.rules, destination_.descriptor);
      if (ruleset_ < 0) return false;
    }
    int ends[2];
    if (bare::Pipe(ends, O_CLOEXEC) != 0) return false;
    messages_ = ends[0];
    tools_messages_ = ends[1];
    return fcntl(messages_, F_SETFL, O_NONBLOCK) == 0;
  }

  // A tool may write into this one file and make none besides.
  bool PrepareDestination() {
    return !order_.make_destination ||
           HoldDestination(order_.destination.c_str(), order_.source.c_str(), &destination_);
  }

  void Start() {
    outcome_.error = 0;
    supervisor_ = getpid();
    int (*const entry)(void*) = [](void* argument) -> int {
      static_cast<Supervisor*>(argument)->Become();
    };
    char* const stack = tools_stack_.get() + kStackSize;
    tool_ = bare::Clone(entry, stack, CLONE_VM | CLONE_VFORK | SIGCHLD, this);
    if (tool_ < 0) {
      outcome_.error = errno;
      return;
    }
    outcome_.started = outcome_.error == 0;
    if (!outcome_.started) bare::Wait(tool_, nullptr, 0, nullptr);
    CloseDescriptor(&tools_messages_);
    CloseDescriptor(&ruleset_);
    CloseDescriptor(&destination_.descriptor);
    CloseDescriptor(&input_);
    if (!output_is_socket_) CloseDescriptor(&output_);
  }

  // In the tool's process.
  [[noreturn]] void Become() {
    BecomeTool(
        order_,
        {argv_.data(), envp_.data(), supervisor_, input_, output_, tools_messages_, ruleset_},
        &outcome_.error);
  }

  void TellStart() {
    const char sign = outcome_.started ? 1 : 0;
    if (started_pipe_ >= 0) bare::Write(started_pipe_, &sign, 1);
    CloseDescriptor(&started_pipe_);
  }

  void Watch() {
    const int process = OpenProcess(tool_);
    if (process < 0) bare::Kill(-tool_, SIGKILL);
    ToolMessages messages(error_output_);
    int64_t deadline = Now() + int64_t{order_.limits.wall_time} * 1000;
    int64_t next_look = Now() + kTickMilliseconds;
    const int interruption = bare::SignalDescriptor(SIGTERM);
    pollfd watched[] = {{process, POLLIN, 0},
                        {host_, POLLIN, 0},
                        {messages_, POLLIN, 0},
                        {interruption, POLLIN, 0}};
    while (process >= 0 && (watched[0].revents & POLLIN) == 0) {
      const int64_t left = std::clamp<int64_t>(deadline - Now(), 0, kTickMilliseconds);
      bare::Poll(watched, std::size(watched), static_cast<int>(left));
      if (Now() >= next_look) {
        EndAtLimit();
        next_look = Now() + kTickMilliseconds;
      }
      if (watched[2].revents != 0 && !messages.Take(messages_)) watched[2].fd = -1;
      if (watched[3].revents != 0) {
        watched[3].fd = -1;
        bare::Kill(-tool_, SIGTERM);
      }
      if (watched[1].revents != 0) {
        host_is_gone_ = true;
        watched[1].fd = -1;
        bare::Kill(-tool_, SIGKILL);
      } else if (Now() >= deadline) {
        bare::Kill(-tool_, outcome_.out_of_time ? SIGKILL : SIGTERM);
        outcome_.out_of_time = true;
        deadline = Now() + kGraceMilliseconds;
      }
    }
    bare::Kill(-tool_, SIGKILL);  // the others of its group
    Reap();
    if (watched[2].fd >= 0) messages.Take(messages_);
    outcome_.told = messages.told();
    outcome_.machine_error = messages.machine_error();
  }

  void EndAtLimit() {
    if (outcome_.passed != ToolLimit::kNone) return;
    outcome_.passed = LimitPassed(UsageOf(tool_), order_.limits);
    if (outcome_.passed != ToolLimit::kNone) bare::Kill(-tool_, SIGKILL);
  }

  void Reap() {
    rusage usage{};
    bare::Wait(tool_, &outcome_.wait_status, 0, &usage);
    const auto seconds = [](const timeval& time) {
      return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    outcome_.cpu_seconds = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    EndOrphans();  // whatever left the group
  }

  void CleanUp() {
    const bool failed = !outcome_.started || outcome_.out_of_time || outcome_.wait_status != 0;
    RemoveUnused(failed);
    if (folder_made_) RemovePrivateFolder(order_.private_folder.c_str());
    char octet = 0;
    // An ordinary exit status is for the reader to judge, who has all of the output then.
    const bool cut_short = !outcome_.started || outcome_.out_of_time ||
                           !WIFEXITED(outcome_.wait_status) || host_is_gone_;
    if (output_is_socket_ && !cut_short) bare::Receive(output_, &octet, 1);
  }

  void RemoveUnused(bool failed) const {
    const char* const path = order_.destination.c_str();
    struct statx status {};
    const bool empty = destination_.made && failed && bare::Status(AT_FDCWD, path, &status) == 0 &&
                       status.stx_size == 0;
    if (empty || (host_is_gone_ && !order_.destination.empty())) bare::Remove(AT_FDCWD, path, 0);
  }

  const ToolOrder& order_;
  const std::vector<char*> argv_;
  const std::vector<char*> envp_;
  const std::unique_ptr<char[]> tools_stack_;  // until it executes its program

  // Descriptors; -1 where there is none.
  int input_;
  int output_;
  const bool output_is_socket_;
  int error_output_;
  int started_pipe_;
  const int host_;
  int messages_ = -1;  // what the tool says, at our end
  int tools_messages_ = -1;
  int ruleset_ = -1;

  pid_t supervisor_ = 0;
  pid_t tool_ = 0;
  bool folder_made_ = false;
  HeldDestination destination_;
  bool host_is_gone_ = false;
  ToolOutcome outcome_;
};

}  // namespace

ToolOutcome RunSupervised(const ToolOrder& order, const ToolStreams& streams, int started_pipe) {
  ToolOutcome not_run;
  UniqueFd host(OpenProcess(getpid()));
  if (!host || MoveAboveStandardStreams(&host) != 0) {
    not_run.error = errno;
    return not_run;
  }
  Supervisor supervisor(order, streams, started_pipe, host.get());
  auto run = [&supervisor] { supervisor.Run(); };
  const pid_t process = StartSharing(&run, 0);
  if (process < 0) {
    not_run.error = errno;
    return not_run;
  }
  while (waitpid(process, nullptr, __WALL) < 0 && errno == EINTR) {
  }
  if (!supervisor.outcome().supervised) supervisor.CleanUpAfterIt();
  return supervisor.outcome();
}

}  // namespace vexaplatform
