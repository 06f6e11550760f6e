#include "render/renderer.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>
#include <utility>

#include "posix/again.h"
#include "posix/error_text.h"
#include "posix/message.h"
#include "posix/process_end.h"
#include "posix/unique_fd.h"
#include "render/order.h"

namespace vexathumb::render {
namespace {

using posix::TextOfError;
using posix::UniqueFd;
using Clock = std::chrono::steady_clock;

// After which a program is tried again that could not be started.
constexpr std::chrono::minutes kPause{10};

// The one of this process with an offer that is not taken.
std::atomic<Renderer*> offering{nullptr};

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
    if (posix::SendMessage(server, &order, sizeof(order), descriptors)) return own_end;
    if (errno != ETOOMANYREFS && errno != ENOBUFS) return UniqueFd();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  errno = ETOOMANYREFS;
  return UniqueFd();
}

bool IsGone(int error) { return error == EPIPE || error == ECONNRESET || error == ENOTCONN; }

// Errors of starting a program that say nothing of it.
bool IsOfTheMoment(int error) {
  return error == EAGAIN || error == ENOMEM || error == EMFILE || error == ENFILE;
}

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
// stranger for long. Both are of a group of processes of their own.
class Renderer::Server {
 public:
  explicit Server(UniqueFd socket) : socket_(std::move(socket)), owner_(getpid()) {}
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    if (owner_ == getpid() && !is_ready_) AwaitGreeting(std::chrono::milliseconds(0));
    socket_.Close();
    BuryStarter();
  }

  int socket() const { return socket_.get(); }

  void SetStarter(pid_t starter) {
    group_ = starter;
    starter_ = starter;
  }

  struct Greeting {
    bool is_ready = false;
    bool is_final = false;  // another one would not become ready either
    std::string why = {};   // it is not ready
  };

  // Waits until it is ready, or has ended, or has no more time: then it is ended, as it would not
  // notice that nobody is left.
  Greeting AwaitGreeting(std::chrono::milliseconds patience) const {
    if (is_ready_) return {true};
    // Of those who wait in recv() for what they leave there, the kernel wakes one.
    pollfd readable = {socket(), POLLIN, 0};
    posix::Again([&] { return poll(&readable, 1, static_cast<int>(patience.count())); });
    AnswerRecord greeting = {};
    ssize_t size = 0;
    do {
      size = recv(socket(), &greeting, sizeof(greeting), MSG_PEEK | MSG_DONTWAIT);
    } while (size < 0 && (errno == EINTR || errno == ECONNRESET));  // that comes before the rest
    const bool is_own = owner_ == getpid() && group_ > 0;
    if (size < 0 && is_own) kill(-group_, SIGKILL);
    const int status = BuryStarter();
    if (size < 0) return {false, is_own, "it has not become ready in time"};
    if (size != sizeof(greeting) || !MakeHarmless(&greeting)) {
      return {false, status != 0, status != 0 ? "it " + posix::TextOfEnd(status) : "it ended"};
    }
    if (greeting.ending != Ending::kDone) return {false, true, greeting.detail.data()};
    is_ready_ = true;
    return {true};
  }

  // The child has ended, or is about to. Its status, for whoever asks first.
  int BuryStarter(int flags = 0) const {
    int status = 0;
    const pid_t starter = owner_ == getpid() ? starter_.exchange(-1) : -1;
    if (starter > 0 && posix::Again([&] { return waitpid(starter, &status, flags); }) == 0) {
      starter_ = starter;
    }
    return status;
  }

 private:
  UniqueFd socket_;
  pid_t owner_;
  pid_t group_ = -1;
  mutable std::atomic<pid_t> starter_{-1};
  mutable std::atomic<bool> is_ready_{false};
};

Renderer::Renderer(std::string program, std::chrono::milliseconds patience)
    : program_(std::move(program)), patience_(patience) {}

Renderer::~Renderer() {
  Renderer* self = this;
  offering.compare_exchange_strong(self, nullptr);
}

// The server, or another in place of one that has gone; none, and why.
std::shared_ptr<Renderer::Server> Renderer::Connect(const Server* gone, int* error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (server_ != nullptr && server_.get() != gone) return server_;
  UniqueFd programs_end;
  *error = MakeServer(&programs_end);
  if (*error == 0) *error = StartServer(std::move(programs_end));
  return server_;
}

// 0, or an error. One that is yet to be started.
int Renderer::MakeServer(UniqueFd* programs_end) {
  server_.reset();
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return errno;
  server_ = std::make_shared<Server>(UniqueFd(ends[0]));
  *programs_end = UniqueFd(ends[1]);
  return 0;
}

int Renderer::StartServer(UniqueFd programs_end) {
  pid_t starter = -1;
  const int error = Spawn(program_, programs_end.get(), &starter);
  if (error == 0) {
    server_->SetStarter(starter);
  } else {
    server_.reset();
  }
  return error;
}

void Renderer::Start() {
  int error = 0;
  Connect(nullptr, &error);
}

int Renderer::Offer() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (server_ == nullptr && MakeServer(&offered_) == 0) {
    // Held open by others, their connections would outlive the program.
    static const int kError = pthread_atfork(nullptr, nullptr, [] {
      if (Renderer* const renderer = offering.exchange(nullptr)) renderer->offered_ = UniqueFd();
    });
    offering = kError == 0 ? this : nullptr;
  }
  return offered_.get();
}

void Renderer::StartIfWanted() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (server_ != nullptr && !offered_) server_->BuryStarter(WNOHANG);
  pollfd wanted = {offered_.get(), POLLIN, 0};
  if (poll(&wanted, 1, 0) > 0) StartServer(std::exchange(offered_, UniqueFd()));
}

bool Renderer::IsStarted() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return server_ != nullptr;
}

bool Renderer::IsInstalled() const { return access(program_.c_str(), X_OK) == 0; }

std::optional<std::string> Renderer::WhyNotStarted() {
  const std::lock_guard<std::mutex> lock(mutex_);
  const bool is_of_use = why_not_started_.empty() || Clock::now() >= tried_ + kPause;
  return is_of_use ? std::nullopt : std::make_optional(why_not_started_);
}

void Renderer::NoteReady() {
  const std::lock_guard<std::mutex> lock(mutex_);
  has_been_ready_ = true;
  why_not_started_.clear();
}

Answer Renderer::NotStarted(const std::string& why) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::string text = program_ + " cannot be started: " + why;
  if (!has_been_ready_) {
    why_not_started_ = text;
    tried_ = Clock::now();
    server_.reset();
  }
  return Stopped(text);
}

Answer Renderer::Run(const Job& job) {
  constexpr int kTries = 2;
  const OrderRecord order = MakeOrder(job);
  if (!IsValid(order)) return Stopped("the job is no valid one");
  if (!HasFiles(job)) return Stopped("the job lacks an open file");
  std::shared_ptr<Server> server;
  std::string why_not_ready;
  for (int i = 0; i < kTries; ++i) {
    int error = 0;
    server = Connect(server.get(), &error);
    if (server == nullptr && IsOfTheMoment(error)) {
      return Stopped(program_ + " cannot be started: " + TextOfError(error));
    }
    if (server == nullptr) return NotStarted(TextOfError(error));
    const UniqueFd reply = SendJob(server->socket(), order, job);
    if (!reply && !IsGone(errno)) return Stopped("no job can be sent: " + TextOfError(errno));
    const Server::Greeting greeting = server->AwaitGreeting(patience_);
    if (greeting.is_final) return NotStarted(greeting.why);
    if (greeting.is_ready) NoteReady();
    why_not_ready = greeting.why;
    AnswerRecord answer = {};
    if (greeting.is_ready && reply &&
        posix::ReceiveMessage(reply.get(), &answer, sizeof(answer)).size == sizeof(answer) &&
        MakeHarmless(&answer)) {
      return ReadAnswer(answer);
    }
    if (!EmptyFiles(job)) return Stopped("a file cannot be emptied: " + TextOfError(errno));
  }
  if (!why_not_ready.empty()) return NotStarted(why_not_ready);
  return Stopped(program_ + " ended, and so did another one after it");
}

}  // namespace vexathumb::render
