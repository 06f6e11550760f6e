#ifndef VEXATHUMB_SERVICE_STORE_BUILD_SLOT_H_
#define VEXATHUMB_SERVICE_STORE_BUILD_SLOT_H_

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "service/base/lock_file.h"

namespace vexathumb::service {

// Who builds when, across all processes of the machine:
//
//   auto ticket = BuildTicket::Take(directory, limits);
//   if (!ticket) answer_overload();                   // nobody more may wait
//   auto lock = SourceLock::Take(directory, source, limits, deadline);  // for others with it
//   if (stored by now) return;
//   auto slot = lock ? BuildSlot::Take(directory, limits, deadline) : std::nullopt;
//   if (!slot) answer_overload();                     // it has taken too long
//
// All are released when the object goes, or its process dies.

struct BuildLimits {
  int builders;     // builds at once on the machine
  int waiting;      // requests that may wait besides, for a slot or for others with their source
  int workers = 0;  // among which one is to stay free of builds; 0: there are no such
};

// Until when to wait; without one for as long as it takes.
using Deadline = std::optional<std::chrono::steady_clock::time_point>;

// The right to build or to wait for it. Whoever waits for the lock of a source without one keeps
// nobody else from building, but there may be any number of them.
class BuildTicket {
 public:
  // Nothing when there are no more.
  static std::optional<BuildTicket> Take(const std::string& directory, const BuildLimits& limits);

 private:
  explicit BuildTicket(LockFile file) : file_(std::move(file)) {}

  LockFile file_;
  std::optional<LockFile> seat_;  // of a worker
};

// One at a time for one source. Keyed by the source's base name, since the tools' temporary names
// collide for equal base names; a fixed number of lock files is shared among all names.
class SourceLock {
 public:
  // Waits for as long as it takes.
  SourceLock(const std::string& directory, const std::string& source);

  // Nothing at the deadline, and at once when half of those with a ticket wait for this source
  // already: the rest is for other sources.
  static std::optional<SourceLock> Take(const std::string& directory, const std::string& source,
                                        const BuildLimits& limits, const Deadline& deadline);

 private:
  explicit SourceLock(LockFile file) : file_(std::move(file)) {}

  LockFile file_;
};

class BuildSlot {
 public:
  // Waits for a slot. Nothing at the deadline.
  static std::optional<BuildSlot> Take(const std::string& directory, const BuildLimits& limits,
                                       const Deadline& deadline);

 private:
  explicit BuildSlot(LockFile slot) : slot_(std::move(slot)) {}

  LockFile slot_;
};

// How much there is to do on the machine.
struct BuildQueue {
  int building = 0;   // slots that are taken, by the indexer too
  int requested = 0;  // tickets that are taken
};

// Looks at the locks without taking any. Throws std::system_error.
BuildQueue LookAtQueue(const std::string& directory, const BuildLimits& limits);

// The source's lock and a slot for work that nobody waits for: taken only while
// nobody else waits for either, and both given up for those who do. One without the other is never
// held, since a request for the same source may be what waits.
class BackgroundSlot {
 public:
  BackgroundSlot(std::string directory, std::string source, const BuildLimits& limits)
      : directory_(std::move(directory)), source_(std::move(source)), limits_(limits) {}

  // Waits for both; false when `give_up`, asked now and then, says so first.
  bool Take(const std::function<bool()>& give_up);

  // Lets somebody who waits go first, then takes both again, as Take does. Others may have built
  // for the source meanwhile.
  bool GiveWay(const std::function<bool()>& give_up);

 private:
  bool TryTake();

  std::string directory_;
  std::string source_;
  BuildLimits limits_;
  std::optional<LockFile> source_lock_;
  std::optional<LockFile> slot_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_BUILD_SLOT_H_
