#ifndef VEXATHUMB_SERVICE_STORE_BUILD_SLOT_H_
#define VEXATHUMB_SERVICE_STORE_BUILD_SLOT_H_

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "service/base/lock_file.h"

namespace vexathumb::service {

// Who builds when, across all processes of the machine:
//
//   SourceLock lock(directory, source);        // waits for others with this source
//   if (stored by now) return;
//   auto slot = BuildSlot::Take(directory, limits);  // waits for one of the machine's slots
//   if (!slot) answer_overload();
//
// Both are released when the object goes, or its process dies.

// One at a time for one source. Keyed by the source's base name, since the tools' temporary names
// collide for equal base names; a fixed number of lock files is shared among all names.
class SourceLock {
 public:
  SourceLock(const std::string& directory, const std::string& source);

 private:
  LockFile file_;
};

struct BuildLimits {
  int builders;  // builds at once on the machine
  int waiting;   // builds that may wait for a slot besides
};

class BuildSlot {
 public:
  // Waits for a slot. Nothing when too many wait already.
  static std::optional<BuildSlot> Take(const std::string& directory, const BuildLimits& limits);

 private:
  BuildSlot(LockFile ticket, LockFile slot) : ticket_(std::move(ticket)), slot_(std::move(slot)) {}

  LockFile ticket_;
  LockFile slot_;
};

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
