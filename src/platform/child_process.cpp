#include "child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace vexaplatform {
namespace {

constexpr int kFirstInherited = STDERR_FILENO + 1;  // nothing from here on is
constexpr char kNull[] = "/dev/null";

// A host without standard streams has pipes on their numbers.
int MoveAboveStandardStreams(UniqueFd* fd) {
  if (fd->get() >= kFirstInherited) return 0;
  UniqueFd moved(fcntl(fd->get(), F_DUPFD_CLOEXEC, kFirstInherited));
  if (!moved) return -1;
  *fd = std::move(moved);
  return 0;
}

// Whether what is written to the host's standard error ends in its standard output: in a pipe, a
// socket or a file that is both. A terminal is not, there the two are for the same eyes.
bool StandardErrorIsOutput() {
  struct stat output {};
  struct stat error {};
  return fstat(STDOUT_FILENO, &output) == 0 && fstat(STDERR_FILENO, &error) == 0 &&
         !S_ISCHR(error.st_mode) && output.st_dev == error.st_dev && output.st_ino == error.st_ino;
}

class SpawnPlan {
 public:
  SpawnPlan() {
    Note(posix_spawn_file_actions_init(&actions_));
    Note(posix_spawnattr_init(&attributes_));
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }

  void ConnectStreams(const ChildStreams& streams) {
    Connect(streams.input, STDIN_FILENO, O_RDONLY);
    Connect(streams.output, STDOUT_FILENO, O_WRONLY);
    const bool has_error = fcntl(STDERR_FILENO, F_GETFD) != -1 && !StandardErrorIsOutput();
    // To itself: takes close-on-exec off the number.
    Connect(has_error ? STDERR_FILENO : -1, STDERR_FILENO, O_WRONLY);
    Note(posix_spawn_file_actions_addclosefrom_np(&actions_, kFirstInherited));
  }

  void ResetSignals() {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    // sigfillset leaves out the two signals that libc keeps to itself and that a child would then
    // find ignored.
    memset(&all, 0xff, sizeof(all));
    Note(posix_spawnattr_setsigmask(&attributes_, &none));
    Note(posix_spawnattr_setsigdefault(&attributes_, &all));
    Note(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
  }

  int Start(const char* path, const char* const argv[], pid_t* child) {
    // posix_spawn promises not to write to the vector.
    if (error_ == 0) {
      error_ = posix_spawn(child, path, &actions_, &attributes_, const_cast<char* const*>(argv),
                           environ);
    }
    if (error_ == 0) return 0;
    errno = error_;
    return -1;
  }

 private:
  void Connect(int from, int to, int null_flags) {
    Note(from >= 0 ? posix_spawn_file_actions_adddup2(&actions_, from, to)
                   : posix_spawn_file_actions_addopen(&actions_, to, kNull, null_flags, 0));
  }

  void Note(int error) {
    if (error_ == 0) error_ = error;
  }

  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
  int error_ = 0;
};

}  // namespace

int MakePipe(Pipe* pipe) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return -1;
  pipe->read_end = UniqueFd(ends[0]);
  pipe->write_end = UniqueFd(ends[1]);
  return MoveAboveStandardStreams(&pipe->read_end) == 0 ? MoveAboveStandardStreams(&pipe->write_end)
                                                        : -1;
}

int Spawn(const char* path, const char* const argv[], const ChildStreams& streams, pid_t* child) {
  SpawnPlan plan;
  plan.ConnectStreams(streams);
  plan.ResetSignals();
  return plan.Start(path, argv, child);
}

}  // namespace vexaplatform
