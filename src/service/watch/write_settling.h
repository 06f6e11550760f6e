#ifndef VEXATHUMB_SERVICE_WATCH_WRITE_SETTLING_H_
#define VEXATHUMB_SERVICE_WATCH_WRITE_SETTLING_H_

#include <sys/types.h>

#include <chrono>
#include <ctime>
#include <map>
#include <optional>
#include <string>

namespace vexathumb::service {

// Files that somebody may still be writing. One has settled when nothing was heard of it, and its
// size and modification time have stayed the same, for a while.
//
//   WriteSettling settling(2s);
//   settling.Touch("/d/a.jpg", now);        // for everything that is heard of it
//   while (auto path = settling.Take(now)) …  // those that have settled, each once
class WriteSettling {
 public:
  using Clock = std::chrono::steady_clock;

  explicit WriteSettling(Clock::duration quiet) : quiet_(quiet) {}

  void Touch(const std::string& path, Clock::time_point now);

  // Of files that are gone nothing is heard any more. Links and whatever else is no regular file
  // never settle.
  std::optional<std::string> Take(Clock::time_point now);

  bool Has(const std::string& path) const { return files_.count(path) > 0; }

 private:
  struct Look {
    off_t size = 0;
    time_t seconds = 0;  // of the modification time
    int64_t nanoseconds = 0;

    bool operator==(const Look& other) const {
      return size == other.size && seconds == other.seconds && nanoseconds == other.nanoseconds;
    }
  };
  struct File {
    Look look;
    std::multimap<Clock::time_point, std::string>::iterator place;
  };

  static std::optional<Look> LookAt(const std::string& path);

  const Clock::duration quiet_;
  std::map<std::string, File> files_;
  std::multimap<Clock::time_point, std::string> by_time_;  // when each is to be looked at
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_WATCH_WRITE_SETTLING_H_
