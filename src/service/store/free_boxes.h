#ifndef VEXATHUMB_SERVICE_STORE_FREE_BOXES_H_
#define VEXATHUMB_SERVICE_STORE_FREE_BOXES_H_

#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service/store/store_walk.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {

// Thumbnails of boxes that callers choose, and avatars: there may be any number of them, so those
// used longest ago go. When one was used last is the time of its status: of its making, or of a use
// that was noted since, which file systems without access times keep too.

struct FreeBoxLimits {
  int files = 16;                               // of one source
  uint64_t bytes = uint64_t{32} << 20;          // of one source
  uint64_t bytes_of_store = uint64_t{2} << 30;  // of all sources of a share, or below a folder
};

FreeBoxLimits FreeBoxLimitsFrom(const vexaplatform::ServiceSettings& settings);

// That a stored one is sent: noted once a day.
void NoteFreeBoxUse(const std::string& stored);

// Removes those of the store of a source with that status that were used longest ago, until the
// limits of one source are kept; `newest`, by its path, stays. Whoever calls holds the source's
// lock.
void EvictFreeBoxes(const std::string& source, const struct stat& status,
                    const FreeBoxLimits& limits, const std::string& newest);

// What a store has of them, and what went.
struct FreeBoxSum {
  uint64_t files = 0;
  uint64_t bytes = 0;
};
struct FreeBoxEviction {
  FreeBoxSum before;
  FreeBoxSum removed;
};

// Where all below a folder take more than the limit of a store, removes those used longest ago
// until a quarter of it is free. A dry run tells the same. `path` is absolute.
FreeBoxEviction EvictFreeBoxesBelow(
    const std::string& path, const FreeBoxLimits& limits, bool dry_run,
    const std::function<void(const std::string& folder, const std::string& cause)>& on_unreadable);

// How much the free boxes of a store take, as far as somebody has looked, and has stored since: a
// whole share is not to be walked through for every request. Kept beside the locks, so that it is
// not known after a restart of the machine. Throws std::system_error when that folder cannot be
// used.
class FreeBoxTally {
 public:
  static constexpr uint64_t kUnknown = uint64_t{1} << 60U;  // more than any limit

  // `store`: the folder of its share.
  FreeBoxTally(std::string lock_directory, const std::string& store);

  uint64_t Add(uint64_t bytes);  // the sum then
  void Set(uint64_t bytes);      // found by looking

 private:
  std::string directory_;
  std::string name_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_FREE_BOXES_H_
