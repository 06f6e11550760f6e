#include "unit/service/processes.h"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <system_error>

namespace vexathumb::service {

Process::Process(const std::function<int()>& body) : pid_(fork()) {
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid_ > 0) return;
  try {
    _exit(body());
  } catch (const std::exception&) {
    _exit(99);
  }
}

Process::~Process() { Kill(); }

int Process::Wait() {
  if (pid_ > 0) {
    waitpid(pid_, &status_, 0);
    pid_ = 0;
  }
  return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
}

void Process::Kill() {
  if (pid_ == 0) return;
  kill(pid_, SIGKILL);
  Wait();
}

bool Process::IsRunning() {
  if (pid_ > 0 && waitpid(pid_, &status_, WNOHANG) == pid_) pid_ = 0;
  return pid_ > 0;
}

Signal::Signal() {
  if (pipe(ends_) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
}

Signal::~Signal() {
  close(ends_[0]);
  close(ends_[1]);
}

void Signal::Give() const {
  if (write(ends_[1], "!", 1) != 1) throw std::system_error(errno, std::generic_category());
}

void Signal::Await() const {
  char byte = 0;
  if (read(ends_[0], &byte, 1) != 1) throw std::system_error(errno, std::generic_category());
}

bool BecomeOrdinaryUser(uid_t user) {
  return geteuid() == 0 && setgroups(0, nullptr) == 0 && setgid(user) == 0 && setuid(user) == 0;
}

}  // namespace vexathumb::service
