#include "service/base/limited_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <optional>
#include <utility>

#include "posix/again.h"
#include "posix/error_text.h"
#include "posix/message.h"
#include "posix/process_end.h"

namespace vexathumb::service {
namespace {

using std::chrono::milliseconds;

// What an answer begins with.
constexpr char kDone = 'd';
constexpr char kNoMemory = 'm';

constexpr int kConversation = 3;

struct timeval TimeOf(milliseconds time) {
  return {static_cast<time_t>(time.count() / 1000),
          static_cast<suseconds_t>(time.count() % 1000 * 1000)};
}

// C++ programs cannot link the library's function in its release of Debian 12.
posix::UniqueFd OpenProcess(pid_t process) {
  return posix::UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
}

struct Task {
  posix::UniqueFd file;
  std::string text;
};

// Nothing when the other end has gone.
std::optional<Task> ReceiveTask(int socket, std::string* buffer) {
  auto message = posix::ReceiveMessage(socket, buffer->data(), buffer->size());
  if (message.size <= 0 || message.descriptors.size() != 1) return std::nullopt;
  const size_t size = std::min(static_cast<size_t>(message.size), buffer->size());
  return Task{std::move(message.descriptors[0]), buffer->substr(0, size)};
}

// Data and stack, in bytes; 0 when it cannot be told.
size_t PresentMemory() {
  FILE* const file = fopen("/proc/self/statm", "re");
  if (file == nullptr) return 0;
  size_t pages = 0;
  const bool is_read = fscanf(file, "%*u %*u %*u %*u %*u %zu", &pages) == 1;
  fclose(file);
  return is_read ? pages * static_cast<size_t>(sysconf(_SC_PAGESIZE)) : 0;
}

void SetLimit(decltype(RLIMIT_DATA) resource, rlim_t value) {
  const struct rlimit limit = {value, value};
  setrlimit(resource, &limit);
}

// A file that is mapped counts for nothing, however large it is.
void LimitMemory(size_t memory) {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  SetLimit(RLIMIT_DATA, PresentMemory() + memory);
#endif
  SetLimit(RLIMIT_FSIZE, memory);
  SetLimit(RLIMIT_CORE, 0);
}

void LimitTime(milliseconds time) {
  const struct itimerval timer = {{0, 0}, TimeOf(time)};
  setitimer(ITIMER_PROF, &timer, nullptr);
}

void LeaveSignalsToTheHost() {
  struct sigaction action = {};
  action.sa_handler = SIG_IGN;
  for (const int signal : {SIGINT, SIGHUP, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGPIPE, SIGXFSZ}) {
    sigaction(signal, &action, nullptr);
  }
  action.sa_handler = SIG_DFL;
  sigaction(SIGPROF, &action, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Held open here, a lock of the host would not be released by it.
void KeepOnly(int conversation) {
  closelog();
  conversation = fcntl(conversation, F_DUPFD, kConversation);
  const int null = open("/dev/null", O_RDWR);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, stream);
  if (conversation != kConversation) dup2(conversation, kConversation);
  close_range(kConversation + 1, ~0U, 0);
}

LimitedProcess::End EndOf(const std::optional<siginfo_t>& ended) {
  using End = LimitedProcess::End;
  if (!ended) return End::kStopped;
  if (ended->si_code == CLD_EXITED) return End::kCrashed;
  if (ended->si_status == SIGPROF) return End::kOutOfTime;
  return posix::IsOwnFault(ended->si_status) ? End::kCrashed : End::kStopped;
}

}  // namespace

LimitedProcess::LimitedProcess(Job job, const Limits& limits, std::mutex& held_by_jobs)
    : job_(std::move(job)), limits_(limits), held_by_jobs_(held_by_jobs) {}

LimitedProcess::~LimitedProcess() {
  if (owner_ == getpid() && socket_) Bury();
}

LimitedProcess::Result LimitedProcess::Run(int file, const std::string& task) {
  const std::lock_guard<std::mutex> lock(mutex_);
  LeaveToParent();
  const bool is_new = !socket_;
  Result result = RunOnce(file, task);
  if (result.end != End::kAnswered && !is_new) result = RunOnce(file, task);
  return result;
}

bool LimitedProcess::Prepare() {
  const std::lock_guard<std::mutex> lock(mutex_);
  LeaveToParent();
  return socket_ || Start();
}

// In a fork of the host, what it has started is not ours.
void LimitedProcess::LeaveToParent() {
  if (owner_ == getpid()) return;
  socket_.Close();
  handle_.Close();
}

LimitedProcess::Result LimitedProcess::RunOnce(int file, const std::string& task) {
  Result result;
  // One that was killed while it had nothing to do is replaced.
  if (socket_ && !posix::SendMessage(socket_.get(), task.data(), task.size(), {file})) Bury();
  if (!socket_ &&
      !(Start() && posix::SendMessage(socket_.get(), task.data(), task.size(), {file}))) {
    result.answer = "cannot be started: " + posix::TextOfError(errno);
    if (socket_) Bury();
    return result;
  }
  result.process = process_;
  static thread_local std::string buffer(kLongestText, '\0');
  const ssize_t count =
      posix::Again([&] { return recv(socket_.get(), buffer.data(), buffer.size(), 0); });
  if (count > 0 && buffer[0] == kDone) {
    result.end = End::kAnswered;
    result.answer = buffer.substr(1, static_cast<size_t>(count) - 1);
    return result;
  }
  if (count > 0) {
    result.end = posix::MachineHasMemory(limits_.memory) ? End::kOutOfMemory : End::kStopped;
    result.answer = "got too little memory";
    Bury();
  } else if (count < 0) {
    result.answer = "waited too long";
    Bury();
  } else {
    const auto ended = Bury();
    result.end = EndOf(ended);
    result.answer = ended ? posix::TextOfEnd(*ended) : "ended, nobody knows how";
  }
  return result;
}

// errno says why not.
bool LimitedProcess::Start() {
  int sockets[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets) != 0) return false;
  posix::UniqueFd own_end(sockets[0]);
  const posix::UniqueFd other_end(sockets[1]);
  const struct timeval patience = TimeOf(limits_.patience);
  setsockopt(own_end.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  std::unique_lock<std::mutex> idle(held_by_jobs_);
  const pid_t process = fork();
  idle.unlock();
  if (process < 0) return false;
  if (process == 0) Serve(other_end.get());
  process_ = process;
  owner_ = getpid();
  socket_ = std::move(own_end);
  handle_ = OpenProcess(process);
  if (handle_) return true;
  const int error = errno;
  socket_.Close();  // which ends it
  posix::Again([&] { return waitpid(process, nullptr, 0); });
  errno = error;
  return false;
}

void LimitedProcess::Serve(int socket) const {
  // An exception would unwind into the host's code.
  try {
    prctl(PR_SET_NAME, "file reader");
    LeaveSignalsToTheHost();
    KeepOnly(socket);
    std::string buffer(kLongestText, '\0');
    LimitMemory(limits_.memory);
    while (const auto task = ReceiveTask(kConversation, &buffer)) {
      std::string answer(1, kDone);
      LimitTime(limits_.cpu_time);
      try {
        answer += job_(task->file.get(), task->text);
      } catch (const std::bad_alloc&) {
        answer = kNoMemory;
      }
      LimitTime(milliseconds(0));
      answer.resize(std::min(answer.size(), kLongestText));
      if (send(kConversation, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) _exit(1);
    }
    _exit(0);
  } catch (...) {
    _exit(2);
  }
}

// Takes leave of the process, and learns how it ended unless the host has been told in our place.
std::optional<siginfo_t> LimitedProcess::Bury() {
  siginfo_t ended = {};
  socket_.Close();
  syscall(SYS_pidfd_send_signal, handle_.get(), SIGKILL, nullptr,
          0);  // no matter where it is dead already
  const auto wait = [&] {
    return waitid(P_PIDFD, static_cast<id_t>(handle_.get()), &ended, WEXITED);
  };
  const bool is_told = posix::Again(wait) == 0;
  handle_.Close();
  return is_told ? std::optional(ended) : std::nullopt;
}

}  // namespace vexathumb::service
