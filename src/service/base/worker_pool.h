#ifndef VEXATHUMB_SERVICE_BASE_WORKER_POOL_H_
#define VEXATHUMB_SERVICE_BASE_WORKER_POOL_H_

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "posix/unique_fd.h"

namespace vexathumb::service {

// Processes that do one task after another, each in a process of its own, so that a task that
// crashes costs that task: its worker is replaced. Tasks and results are bytes, of some 100 KB at
// most.
//
//   WorkerPool pool(2, [](const std::string& path) { return Convert(path); });
//   while (pool.HasIdle() && more) pool.Give(next);
//   for (const auto& end : pool.Wait(1s)) …
//
// The workers have no standard output and error, ignore the terminal's signals, and end when this
// process does. For one thread, in a process without others.
class WorkerPool {
 public:
  using Job = std::function<std::string(const std::string& task)>;

  struct End {
    std::string task;
    std::optional<std::string> result;
    std::string death = {};  // how the worker died when there is no result
    int signal = 0;          // that ended it; 0: none
  };

  // `job` is called in the workers. Throws std::system_error when none can be started.
  WorkerPool(int workers, Job job);
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Ends the workers: idle ones leave, those with a task are interrupted and waited for.
  ~WorkerPool();

  bool HasIdle() const;
  bool IsBusy() const;

  // Gives a task to an idle worker; there must be one.
  void Give(const std::string& task);

  // Waits until tasks have ended, but no longer than that, and not on when a signal arrives, or
  // something can be read from the descriptor `other`. `signals` is the mask during the wait, so
  // that a signal blocked before is not missed.
  std::vector<End> Wait(std::chrono::milliseconds at_most, const sigset_t& signals, int other = -1);

  // Asks the workers to leave the tasks that they have: terminates the tools that they run, and
  // makes IsInterrupted() true for their jobs. A task that is about to start a tool starts it all
  // the same, so this is to be repeated until all have answered.
  void Interrupt() const;

  // In a worker: whether it is to leave its task.
  static bool IsInterrupted();

 private:
  struct Worker {
    pid_t process = -1;
    posix::UniqueFd socket;
    std::optional<std::string> task;
  };

  void Start(Worker* worker);
  [[noreturn]] void Work(int socket) const;
  End Bury(Worker* worker);

  Job job_;
  std::vector<Worker> workers_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_WORKER_POOL_H_
