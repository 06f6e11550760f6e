#include "render/renderer.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

#include "posix/unique_fd.h"
#include "render/message.h"
#include "render/order.h"

namespace vexathumb::render {
namespace {

using posix::UniqueFd;

std::string TextOfError(int error) { return std::generic_category().message(error); }

Answer Stopped(std::string detail) {
  Answer answer;
  answer.detail = std::move(detail);
  return answer;
}

// What a program is started with, freed at the end.
class SpawnAttributes {
 public:
  SpawnAttributes() {
    posix_spawn_file_actions_init(&files);
    posix_spawnattr_init(&process);
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  ~SpawnAttributes() {
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&process);
  }

  posix_spawn_file_actions_t files = {};
  posix_spawnattr_t process = {};
};

// 0, or an error. It has the socket as its standard input and nothing else open; of the environment
// nothing, and of the signals that are blocked or ignored here none. A terminal's signals are not
// for it: it ends when nobody is left to send it jobs.
int Spawn(const std::string& program, int socket, pid_t* starter) {
  SpawnAttributes attributes;
  posix_spawn_file_actions_adddup2(&attributes.files, socket, STDIN_FILENO);
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&attributes.files, stream, "/dev/null", O_WRONLY, 0);
  }
  posix_spawn_file_actions_addclosefrom_np(&attributes.files, STDERR_FILENO + 1);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes.process, &signals);
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes.process, &signals);
  posix_spawnattr_setpgroup(&attributes.process, 0);
  posix_spawnattr_setflags(
      &attributes.process,
      static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP));
  char* const arguments[] = {const_cast<char*>(program.c_str()), nullptr};
  char* const environment[] = {nullptr};
  return posix_spawn(starter, program.c_str(), &attributes.files, &attributes.process, arguments,
                     environment);
}

// Sends a job to a server. The end from which its answer is to be received; none with errno.
UniqueFd SendJob(int server, const OrderRecord& order, const Job& job) {
  constexpr int kPatience = 5000;  // naps of a millisecond
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return UniqueFd();
  UniqueFd own_end(ends[0]);
  const UniqueFd other_end(ends[1]);
  std::vector<int> descriptors = {other_end.get(), job.source};
  for (const PictureOrder& picture : job.pictures) descriptors.push_back(picture.file);
  // A user may have so many descriptors on their way, and those of others may be.
  for (int nap = 0; nap < kPatience; ++nap) {
    if (SendMessage(server, &order, sizeof(order), descriptors)) return own_end;
    if (errno != ETOOMANYREFS && errno != ENOBUFS) return UniqueFd();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  errno = ETOOMANYREFS;
  return UniqueFd();
}

bool IsGone(int error) { return error == EPIPE || error == ECONNRESET || error == ENOTCONN; }

bool EmptyFiles(const Job& job) {
  return std::all_of(job.pictures.begin(), job.pictures.end(), [](const PictureOrder& picture) {
    return ftruncate(picture.file, 0) == 0 && lseek(picture.file, 0, SEEK_SET) == 0;
  });
}

bool HasFiles(const Job& job) {
  const auto is_open = [](int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; };
  return is_open(job.source) &&
         std::all_of(job.pictures.begin(), job.pictures.end(),
                     [&](const PictureOrder& picture) { return is_open(picture.file); });
}

}  // namespace

// The connection to one that was started. The process that is this one's child forks the server and
// ends, so that the server is nobody's child here: a host that waits for its children meets no
// stranger for long.
class Renderer::Server {
 public:
  Server(UniqueFd socket, pid_t starter)
      : socket_(std::move(socket)), owner_(getpid()), starter_(starter) {}
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    socket_.Close();
    BuryStarter();
  }

  int socket() const { return socket_.get(); }

  // It has ended, or is about to.
  void BuryStarter() const {
    if (owner_ != getpid()) return;
    const pid_t starter = starter_.exchange(-1);
    int status = 0;
    while (starter > 0 && waitpid(starter, &status, 0) < 0 && errno == EINTR) {
    }
  }

 private:
  UniqueFd socket_;
  pid_t owner_;
  mutable std::atomic<pid_t> starter_;
};

Renderer::Renderer(std::string program) : program_(std::move(program)) {}

Renderer::~Renderer() = default;

// The server, or another in place of one that has gone; none, and why.
std::shared_ptr<const Renderer::Server> Renderer::Connect(const Server* gone, int* error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (server_ != nullptr && server_.get() != gone) return server_;
  server_.reset();
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    *error = errno;
    return nullptr;
  }
  UniqueFd own_end(ends[0]);
  const UniqueFd other_end(ends[1]);
  shutdown(own_end.get(), SHUT_RD);  // nothing comes back this way
  pid_t starter = -1;
  *error = Spawn(program_, other_end.get(), &starter);
  if (*error == 0) server_ = std::make_shared<const Server>(std::move(own_end), starter);
  return server_;
}

void Renderer::Start() {
  int error = 0;
  Connect(nullptr, &error);
}

bool Renderer::IsStarted() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return server_ != nullptr;
}

bool Renderer::IsInstalled() const { return access(program_.c_str(), X_OK) == 0; }

Answer Renderer::Run(const Job& job) {
  constexpr int kTries = 2;
  const OrderRecord order = MakeOrder(job);
  if (!IsValid(order)) return Stopped("the job is no valid one");
  if (!HasFiles(job)) return Stopped("the job lacks an open file");
  std::shared_ptr<const Server> server;
  for (int i = 0; i < kTries; ++i) {
    int error = 0;
    server = Connect(server.get(), &error);
    if (server == nullptr) return Stopped(program_ + " cannot be started: " + TextOfError(error));
    const UniqueFd reply = SendJob(server->socket(), order, job);
    if (!reply && !IsGone(errno)) return Stopped("no job can be sent: " + TextOfError(errno));
    AnswerRecord answer = {};
    if (reply && ReceiveMessage(reply.get(), &answer, sizeof(answer)).size == sizeof(answer) &&
        MakeHarmless(&answer)) {
      server->BuryStarter();
      return ReadAnswer(answer);
    }
    if (!EmptyFiles(job)) return Stopped("a file cannot be emptied: " + TextOfError(errno));
  }
  return Stopped(program_ + " ended, and so did another one after it");
}

}  // namespace vexathumb::render
