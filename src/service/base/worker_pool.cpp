#include "service/base/worker_pool.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "posix/again.h"
#include "posix/message.h"
#include "posix/process_end.h"

namespace vexathumb::service {
namespace {

constexpr size_t kLongestMessage = size_t{1} << 17;
constexpr std::chrono::milliseconds kBetweenInterruptions{5};

volatile std::sig_atomic_t g_is_interrupted = 0;

void NoteInterruption(int /*signal*/) { g_is_interrupted = 1; }

[[noreturn]] void ThrowErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// Without an end of the conversation nothing comes any more.
std::optional<std::string> Receive(int socket) {
  std::string message;
  for (;;) {
    const ssize_t size = recv(socket, nullptr, 0, MSG_PEEK | MSG_TRUNC);
    if (size > 0) message.resize(static_cast<size_t>(size));
    const ssize_t count = size > 0 ? recv(socket, message.data(), message.size(), 0) : size;
    if (count > 0 && count == size) return message;
    if (count == 0 || errno != EINTR) return std::nullopt;
  }
}

bool Send(int socket, const std::string& message) {
  return posix::SendMessage(socket, message.data(), message.size(), {});
}

void SetHandler(int signal, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigaction(signal, &action, nullptr);
}

// The tools that the worker runs are of its group too.
void BecomeWorker(pid_t parent) {
  setpgid(0, 0);
  SetHandler(SIGTERM, NoteInterruption);
  for (const int signal : {SIGINT, SIGHUP, SIGQUIT, SIGUSR1, SIGPIPE}) SetHandler(signal, SIG_IGN);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) _exit(0);
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, stream);
}

}  // namespace

WorkerPool::WorkerPool(int workers, Job job) : job_(std::move(job)) {
  workers_.resize(static_cast<size_t>(std::max(workers, 1)));
  for (Worker& worker : workers_) Start(&worker);
}

WorkerPool::~WorkerPool() {
  for (Worker& worker : workers_) worker.socket.Close();
  for (const Worker& worker : workers_) {
    // Again and again: it may have started the next tool after the last time.
    while (worker.task && waitpid(worker.process, nullptr, WNOHANG) == 0) {
      kill(-worker.process, SIGTERM);
      std::this_thread::sleep_for(kBetweenInterruptions);
    }
    if (!worker.task) posix::Again([&] { return waitpid(worker.process, nullptr, 0); });
  }
}

bool WorkerPool::HasIdle() const {
  return std::any_of(workers_.begin(), workers_.end(), [](const Worker& w) { return !w.task; });
}

bool WorkerPool::IsBusy() const {
  return std::any_of(workers_.begin(), workers_.end(),
                     [](const Worker& w) { return w.task.has_value(); });
}

void WorkerPool::Give(const std::string& task) {
  for (Worker& worker : workers_) {
    if (worker.task) continue;
    // One that has died while idle is replaced.
    while (!Send(worker.socket.get(), task)) Bury(&worker);
    worker.task = task;
    return;
  }
  throw std::logic_error("no worker is idle");
}

std::vector<WorkerPool::End> WorkerPool::Wait(std::chrono::milliseconds at_most,
                                              const sigset_t& signals, int other) {
  std::vector<struct pollfd> sockets;
  for (const Worker& worker : workers_) {
    sockets.push_back({worker.task ? worker.socket.get() : -1, POLLIN, 0});
  }
  sockets.push_back({other, POLLIN, 0});
  const struct timespec timeout = {at_most.count() / 1000, (at_most.count() % 1000) * 1000000};
  std::vector<End> ends;
  if (ppoll(sockets.data(), sockets.size(), &timeout, &signals) <= 0) return ends;
  for (size_t i = 0; i < workers_.size(); ++i) {
    if (sockets[i].revents == 0) continue;
    Worker& worker = workers_[i];
    if (auto result = Receive(worker.socket.get())) {
      ends.push_back({*std::exchange(worker.task, std::nullopt), std::move(result)});
    } else {
      ends.push_back(Bury(&worker));
    }
  }
  return ends;
}

void WorkerPool::Interrupt() const {
  for (const Worker& worker : workers_) kill(-worker.process, SIGTERM);
}

bool WorkerPool::IsInterrupted() { return g_is_interrupted != 0; }

void WorkerPool::Start(Worker* worker) {
  int sockets[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets) != 0) ThrowErrno("socketpair");
  posix::UniqueFd own_end(sockets[0]);
  const posix::UniqueFd workers_end(sockets[1]);
  const int room = static_cast<int>(2 * kLongestMessage);
  for (const int socket : sockets) {
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &room, sizeof(room));
  }
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process < 0) ThrowErrno("fork");
  if (process == 0) {
    BecomeWorker(parent);
    // Held open here, the others' conversations would not end with this process's parent.
    own_end.Close();
    for (Worker& other : workers_) other.socket.Close();
    Work(workers_end.get());
  }
  setpgid(process, process);  // whoever is first
  *worker = {process, std::move(own_end), std::nullopt};
}

void WorkerPool::Work(int socket) const {
  // An exception would unwind into the parent's code.
  try {
    while (const auto task = Receive(socket)) {
      g_is_interrupted = 0;
      if (!Send(socket, job_(*task))) _exit(1);
    }
    _exit(0);
  } catch (...) {
    _exit(2);
  }
}

// Takes leave of a worker that has died, and of the tools that it ran, and replaces it.
WorkerPool::End WorkerPool::Bury(Worker* worker) {
  int status = 0;
  kill(-worker->process, SIGKILL);
  posix::Again([&] { return waitpid(worker->process, &status, 0); });
  worker->socket.Close();
  End end = {worker->task.value_or(""), std::nullopt, posix::TextOfEnd(status),
             WIFSIGNALED(status) ? WTERMSIG(status) : 0};
  Start(worker);
  return end;
}

}  // namespace vexathumb::service
