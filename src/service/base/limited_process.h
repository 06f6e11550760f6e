#ifndef VEXATHUMB_SERVICE_BASE_LIMITED_PROCESS_H_
#define VEXATHUMB_SERVICE_BASE_LIMITED_PROCESS_H_

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "posix/unique_fd.h"

namespace vexathumb::service {

// A process that does one kind of job on files of others, one after another, under limits: what a
// file makes a job take too much of, or break, ends that process and nothing else. It is forked
// from this one when it is first needed, has nothing open but its end of the conversation and the
// file of its job, and ends with this one.
//
//   static LimitedProcess reader(&ReadMetadata, {256 << 20, 5s, 30s}, mutex);
//   const LimitedProcess::Result result = reader.Run(file, "");
//   if (result.end == LimitedProcess::End::kAnswered) Use(result.answer);
//
// For any number of threads, whose jobs are done one after another, and for the forks of this
// process, each of which gets one of its own. It is a child of this one: where the host itself
// waits for whatever child ends, or ignores SIGCHLD, it is not known how it ended, which counts as
// kStopped.
class LimitedProcess {
 public:
  // Is given an open file and what is asked about it; both texts are shorter than kLongestText.
  // What it throws counts as a crash, apart from std::bad_alloc.
  using Job = std::function<std::string(int file, const std::string& task)>;
  static constexpr size_t kLongestText = size_t{1} << 16;

  struct Limits {
    size_t memory;                       // bytes beyond what the process begins with
    std::chrono::milliseconds cpu_time;  // of one job
    std::chrono::milliseconds patience;  // until a job is given up that does not even compute
  };

  enum class End {
    kAnswered,
    kOutOfMemory,  // of what the limits allow, not of what the machine has
    kOutOfTime,    // of the processor's
    kCrashed,
    kStopped,  // by somebody else, by want of something, or it could not be started
  };
  struct Result {
    End end = End::kStopped;
    std::string answer;  // how it ended otherwise: "was ended by signal 9, Killed"
    pid_t process = -1;  // that did the job last
  };

  // `held_by_jobs` is a mutex that jobs take: this process's other threads do not hold it when it
  // is forked.
  LimitedProcess(Job job, const Limits& limits, std::mutex& held_by_jobs);
  LimitedProcess(const LimitedProcess&) = delete;
  LimitedProcess& operator=(const LimitedProcess&) = delete;
  ~LimitedProcess();

  // A job that does not end well is done once more by a new process: what earlier jobs have left
  // in the first is not to be held against the file.
  Result Run(int file, const std::string& task);

  // Has the process started where it is not; false, with errno set, when it cannot be.
  bool Prepare();

 private:
  Result RunOnce(int file, const std::string& task);
  bool Start();
  void LeaveToParent();
  [[noreturn]] void Serve(int socket) const;
  std::optional<siginfo_t> Bury();

  const Job job_;
  const Limits limits_;
  std::mutex& held_by_jobs_;
  std::mutex mutex_;
  posix::UniqueFd socket_;
  posix::UniqueFd
      handle_;  // of the process: its number may be another's when the host waits for it
  pid_t process_ = -1;
  pid_t owner_ = -1;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_LIMITED_PROCESS_H_
