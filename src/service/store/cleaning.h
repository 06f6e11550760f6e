#ifndef VEXATHUMB_SERVICE_STORE_CLEANING_H_
#define VEXATHUMB_SERVICE_STORE_CLEANING_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "service/picture/error_cause.h"
#include "service/store/store_removal.h"

namespace vexathumb::service {

// Store directories of one folder that lost all their sources at once, as when a share is not
// mounted, are not taken for orphans from this number on.
constexpr uint64_t kManyOrphans = 1000;

struct CleaningOptions {
  RemovalOptions removal;
  bool force = false;             // remove orphans also where they are many
  std::vector<std::string> gone;  // absolute folders below which all orphans are removed
};

// What is found while cleaning.
struct CleaningEvents {
  // After it was removed, or as it would be.
  std::function<void(const StoreDirectory&, const Freed&)> on_removed;
  // What is left alone below a folder, and why it may not be mounted.
  std::function<void(const std::string& folder, uint64_t orphans, const Cause& why)> on_refused;
  std::function<void(const std::string& folder, const std::string& cause)> on_unreadable;
};

// Removes the store directories of a file that is gone, or of all such files below a folder, and
// what killed processes have left in the others; `path` is absolute. No source is touched, nor any
// file that is not of the store. Orphans stay below a folder none of whose stores has a source any
// more, unless it is told to be gone,
// - if they are as many as kManyOrphans, unless forced,
// - if their stores lie elsewhere and the folder is the named one or that of a share in the
//   settings, and holds neither pictures nor videos, whatever else.
// Throws std::system_error when the locks cannot be had.
void Clean(const std::string& path, const CleaningOptions& options, const CleaningEvents& events);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_CLEANING_H_
