#ifndef VEXATHUMB_TESTS_UNIT_SERVICE_MACHINE_DOUBLE_H_
#define VEXATHUMB_TESTS_UNIT_SERVICE_MACHINE_DOUBLE_H_

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "vexa/fs.h"

namespace vexathumb::service {

enum class ToolFault {
  kNone,
  kMissing,
  kFails,
  kTerminated,
  kKilled,
  kCrashes,
  kMeetsLimit,    // by what it says
  kFindsNoQuota,  // the same
};

// Stands between the code under test and the machine: counts the tools that are run, in forked
// processes too, and has them and a few functions of the system fail as the test wants it. All else
// is the real thing. One lives at a time; without one nothing is counted or changed.
class MachineDouble {
 public:
  MachineDouble();
  ~MachineDouble();
  MachineDouble(const MachineDouble&) = delete;
  MachineDouble& operator=(const MachineDouble&) = delete;

  static MachineDouble* Current();

  // Runs since the beginning, of one program ("convert") or of all.
  int Runs(const std::string& program) const;
  int Runs() const;

  // Asked before every run. A test may do other things in it too.
  std::function<ToolFault(const std::string& program, const std::vector<std::string>& argv)> on_run;
  void Break(const std::string& program, ToolFault fault);  // sets on_run

  std::optional<FSTYPE> volume_type;
  std::string full_directory;  // its volume has no room left
  uint64_t left_there = 0;     // bytes, nevertheless
  time_t clock_ahead = 0;      // seconds
  // Seconds by which the clock that stamps files has gone on since all were made, as one shows that
  // is open.
  time_t folder_clock_ahead = 0;
  // The only file that unlink removes, if any is named, beside those that a folder's clock is read
  // off.
  std::string removable;

  // For the functions themselves.
  ToolFault Run(const std::string& path, const std::vector<std::string>& argv);
  std::string missing_program;  // by its path
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_TESTS_UNIT_SERVICE_MACHINE_DOUBLE_H_
