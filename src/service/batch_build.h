#ifndef VEXATHUMB_SERVICE_BATCH_BUILD_H_
#define VEXATHUMB_SERVICE_BATCH_BUILD_H_

#include <string>
#include <vector>

#include "service/error_cause.h"

namespace vexathumb::service {

enum class BuildState {
  kBuilt,
  kCurrent,  // nothing was done: the stored thumbnail is current, or the source serves as it is
  kFailed,
};

struct BuiltSize {
  std::string size;
  BuildState state = BuildState::kFailed;
  std::string from;    // "Docdeck" or "Original"; empty on failure
  std::string output;  // the stored thumbnail or the source; empty on failure
  double milliseconds = 0;
  Cause cause;  // of a failure
};

// Brings the stored thumbnails of one picture up to date, one after another, and starts a tool only
// for those that are not. `source` is absolute. Animated GIFs stay animated. Never throws on
// account of the source: then all sizes have failed.
std::vector<BuiltSize> BuildSizes(const std::string& source, const std::vector<std::string>& sizes);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BATCH_BUILD_H_
