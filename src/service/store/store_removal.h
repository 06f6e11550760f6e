#ifndef VEXATHUMB_SERVICE_STORE_STORE_REMOVAL_H_
#define VEXATHUMB_SERVICE_STORE_STORE_REMOVAL_H_

#include <cstdint>
#include <string>

#include "service/store/store_walk.h"

namespace vexathumb::service {

// What was removed, or would be.
struct Freed {
  uint64_t directories = 0;
  uint64_t files = 0;
  uint64_t bytes = 0;         // length of the files
  bool kept_foreign = false;  // something in a directory is none of this store's, and stays

  Freed& operator+=(const Freed& other);
};

struct RemovalOptions {
  std::string lock_directory;
  bool dry_run = false;
};

// Both wait for whoever builds for that source. Neither follows a link, whatever others put in the
// place of what was seen before. What cannot be removed stays and does not count. They throw
// std::system_error when the locks cannot be had.

// Removes the store directory of a source that is gone, unless that is there again by now: what the
// applications of this store derive from a source; other files, folders and links stay, and the
// directory with them. Under a store root the emptied mirror of folders that are gone goes too.
Freed RemoveOrphan(const StoreDirectory& directory, const RemovalOptions& options);

// Removes what killed processes have left in a store directory (sweeping.h).
Freed RemoveLeftovers(const StoreDirectory& directory, const RemovalOptions& options);

// Removes one file of a store directory; `name` has no slash. False when it could not be removed.
bool RemoveEntry(const StoreDirectory& directory, const std::string& name,
                 const std::string& lock_directory);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_STORE_REMOVAL_H_
