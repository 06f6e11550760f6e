#ifndef VEXATHUMB_TESTS_UNIT_SERVICE_PROCESSES_H_
#define VEXATHUMB_TESTS_UNIT_SERVICE_PROCESSES_H_

#include <sys/types.h>

#include <functional>

namespace vexathumb::service {

// A forked process that runs `body` and exits with what it returns; with 99 when it throws. It is
// killed at the latest when this goes.
class Process {
 public:
  explicit Process(const std::function<int()>& body);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  int Wait();  // its exit status; -1 when it was killed
  void Kill();
  bool IsRunning();

 private:
  pid_t pid_;
  int status_ = 0;
};

// A way for processes to tell each other that something has happened, once.
class Signal {
 public:
  Signal();
  ~Signal();
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

  void Give() const;
  void Await() const;

 private:
  int ends_[2];
};

// Gives up root's rights for good. False when there are none to give up.
bool BecomeOrdinaryUser(uid_t user);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_TESTS_UNIT_SERVICE_PROCESSES_H_
