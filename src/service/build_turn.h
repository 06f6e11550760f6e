#ifndef VEXATHUMB_SERVICE_BUILD_TURN_H_
#define VEXATHUMB_SERVICE_BUILD_TURN_H_

#include <optional>
#include <string>

#include "service/lock_file.h"

namespace vexathumb::service {

// Whose turn it is to build, across all processes of the machine:
//
//   SourceLock lock(directory, source);        // waits for others with this source
//   if (stored by now) return;
//   auto turn = BuildTurn::Take(directory, limits);  // waits for one of the builders' places
//   if (!turn) answer_overload();
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
  int waiting;   // builds that may wait for a place besides
};

class BuildTurn {
 public:
  // Waits for a place among the builders. Nothing when too many wait already.
  static std::optional<BuildTurn> Take(const std::string& directory, const BuildLimits& limits);

 private:
  BuildTurn(LockFile ticket, LockFile place)
      : ticket_(std::move(ticket)), place_(std::move(place)) {}

  LockFile ticket_;
  LockFile place_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_TURN_H_
