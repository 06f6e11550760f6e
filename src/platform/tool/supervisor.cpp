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

#include "platform/base/unique_fd.h"
#include "platform/tool/bare_calls.h"
#include "platform/tool/landlock.h"
#include "platform/tool/orphans.h"
#include "platform/tool/private_folder.h"
#include "platform/tool/tool_messages.h"
#include "platform/tool/tool_process.h"
#include "platform/tool/tool_streams.h"

namespace vexaplatform {
namespace {

constexpr size_t kStackSize = size_t{48} << 10;
constexpr int64_t kGraceMilliseconds = 2000;  // between SIGTERM and SIGKILL

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
// here may allocate, lock, or leave anything behind but the answers in the launch.
class Supervisor {
 public:
  // `stack` is for the tool, until it executes its program.
  Supervisor(ToolLaunch* launch, char* stack) : launch_(launch), stack_(stack) {}

  void Run() {
    LeaveHost();
    const bool ready = Prepare();
    if (ready) {
      Start();
    } else {
      launch_->error = errno;
    }
    TellStart();
    if (launch_->started) Watch();
    CleanUp();
    launch_->supervised = true;
    // Only now the end of the output is seen. What a process does at its end is not for here.
    syscall(SYS_exit_group, 0);
  }

 private:
  static void CloseDescriptor(int* descriptor) {
    if (*descriptor >= 0) bare::Close(*descriptor);
    *descriptor = -1;
  }

  // The host's descriptors but those of this run, and its handling of signals, are not for here.
  void LeaveHost() {
    error_output_ = launch_->has_error_output ? STDERR_FILENO : -1;
    int kept[] = {STDERR_FILENO,         launch_->input, launch_->output,
                  launch_->started_pipe, launch_->host,  INT_MAX};
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
    launch_->obstacle = path.c_str();
    return false;
  }

  bool Prepare() {
    if (!launch_->private_folder.empty()) {
      if (mkdir(launch_->private_folder.c_str(), 0700) != 0) return FailAt(launch_->private_folder);
      folder_made_ = true;
    }
    for (const Link& link : launch_->links) {
      if (symlink(link.target.c_str(), link.path.c_str()) != 0) return FailAt(link.target);
    }
    if (!PrepareDestination()) return FailAt(launch_->destination);
    if (launch_->confined && !launch_->rules.empty()) {
      launch_->ruleset = MakeLandlockRuleset(launch_->rules);
      if (launch_->ruleset < 0) return false;
    }
    int ends[2];
    if (bare::Pipe(ends, O_CLOEXEC) != 0) return false;
    messages_ = ends[0];
    launch_->messages = ends[1];
    return fcntl(messages_, F_SETFL, O_NONBLOCK) == 0;
  }

  // A tool may write into this one file and make none besides.
  bool PrepareDestination() {
    if (!launch_->make_destination) return true;
    const char* const path = launch_->destination.c_str();
    struct statx status {};
    if (bare::Status(AT_FDCWD, path, &status) == 0) {
      if (S_ISREG(status.stx_mode)) return true;
      errno = S_ISDIR(status.stx_mode) ? EISDIR : S_ISLNK(status.stx_mode) ? ELOOP : EINVAL;
      return false;
    }
    const int made = bare::Open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (made < 0) return false;
    bare::Close(made);
    destination_made_ = true;
    return true;
  }

  void Start() {
    launch_->error = 0;
    supervisor_ = getpid();
    int (*const entry)(void*) = [](void* argument) -> int {
      const auto* const self = static_cast<Supervisor*>(argument);
      BecomeTool(self->launch_, self->supervisor_);
    };
    tool_ = bare::Clone(entry, stack_ + kStackSize, CLONE_VM | CLONE_VFORK | SIGCHLD, this);
    if (tool_ < 0) {
      launch_->error = errno;
      return;
    }
    launch_->started = launch_->error == 0;
    if (!launch_->started) bare::Wait(tool_, nullptr, 0, nullptr);
    if (launch_->started) launch_->group = tool_;
    CloseDescriptor(&launch_->messages);
    CloseDescriptor(&launch_->ruleset);
    CloseDescriptor(&launch_->input);
    if (!launch_->output_is_socket) CloseDescriptor(&launch_->output);
  }

  void TellStart() {
    const char sign = launch_->started ? 1 : 0;
    if (launch_->started_pipe >= 0) bare::Write(launch_->started_pipe, &sign, 1);
    CloseDescriptor(&launch_->started_pipe);
  }

  void Watch() {
    const int process = OpenProcess(tool_);
    if (process < 0) bare::Kill(-tool_, SIGKILL);
    ToolMessages messages(error_output_);
    int64_t deadline = Now() + int64_t{launch_->limits.wall_time} * 1000;
    const int interruption = bare::SignalDescriptor(SIGTERM);
    pollfd watched[] = {{process, POLLIN, 0},
                        {launch_->host, POLLIN, 0},
                        {messages_, POLLIN, 0},
                        {interruption, POLLIN, 0}};
    while (process >= 0 && (watched[0].revents & POLLIN) == 0) {
      const int64_t left = std::clamp<int64_t>(deadline - Now(), 0, INT_MAX);
      bare::Poll(watched, std::size(watched), static_cast<int>(left));
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
        bare::Kill(-tool_, launch_->out_of_time ? SIGKILL : SIGTERM);
        launch_->out_of_time = true;
        deadline = Now() + kGraceMilliseconds;
      }
    }
    bare::Kill(-tool_, SIGKILL);  // the others of its group
    Reap();
    if (watched[2].fd >= 0) messages.Take(messages_);
    launch_->told = messages.told();
  }

  void Reap() {
    rusage usage{};
    bare::Wait(tool_, &launch_->wait_status, 0, &usage);
    const auto seconds = [](const timeval& time) {
      return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    launch_->cpu_seconds = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    EndOrphans();  // whatever left the group
  }

  void CleanUp() {
    const bool failed = !launch_->started || launch_->out_of_time || launch_->wait_status != 0;
    RemoveUnused(failed);
    if (folder_made_) RemovePrivateFolder(launch_->private_folder.c_str());
    char octet = 0;
    // An ordinary exit status is for the reader to judge, who has all of the output then.
    const bool cut_short = !launch_->started || launch_->out_of_time ||
                           !WIFEXITED(launch_->wait_status) || host_is_gone_;
    if (launch_->output_is_socket && !cut_short) bare::Receive(launch_->output, &octet, 1);
  }

  void RemoveUnused(bool failed) const {
    const char* const path = launch_->destination.c_str();
    struct statx status {};
    const bool empty = destination_made_ && failed && bare::Status(AT_FDCWD, path, &status) == 0 &&
                       status.stx_size == 0;
    if (empty || (host_is_gone_ && !launch_->destination.empty())) bare::Remove(AT_FDCWD, path, 0);
  }

  ToolLaunch* launch_;
  char* stack_;
  pid_t supervisor_ = 0;
  pid_t tool_ = 0;
  int messages_ = -1;
  int error_output_ = -1;
  bool folder_made_ = false;
  bool destination_made_ = false;
  bool host_is_gone_ = false;
};

}  // namespace

void RunSupervised(ToolLaunch* launch) {
  for (std::string& argument : launch->arguments) launch->argv.push_back(argument.data());
  for (std::string& variable : launch->environment) launch->envp.push_back(variable.data());
  launch->argv.push_back(nullptr);
  launch->envp.push_back(nullptr);
  UniqueFd host(OpenProcess(getpid()));
  if (!host || MoveAboveStandardStreams(&host) != 0) {
    launch->error = errno;
    return;
  }
  launch->host = host.get();
  const std::unique_ptr<char[]> tools_stack(new char[kStackSize]);
  Supervisor supervisor(launch, tools_stack.get());
  auto run = [&supervisor] { supervisor.Run(); };
  const pid_t process = StartSharing(&run, 0);
  if (process < 0) {
    launch->error = errno;
    return;
  }
  while (waitpid(process, nullptr, __WALL) < 0 && errno == EINTR) {
  }
  if (launch->supervised) return;
  // Somebody killed the supervisor, and with it the tool, but for what that started.
  if (launch->group > 0) kill(-launch->group, SIGKILL);
  if (!launch->private_folder.empty()) RemovePrivateFolder(launch->private_folder.c_str());
}

}  // namespace vexaplatform
