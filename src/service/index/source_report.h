#ifndef VEXATHUMB_SERVICE_INDEX_SOURCE_REPORT_H_
#define VEXATHUMB_SERVICE_INDEX_SOURCE_REPORT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "service/picture/error_cause.h"
#include "service/picture/picture_facts.h"

namespace vexathumb::service {

enum class BuildState {
  kBuilt,
  kCurrent,    // nothing was done: the stored thumbnail is current, or the source serves as it is
  kDue,        // it would be built
  kFailed,     // no thumbnail can be made
  kPostponed,  // not now: the source is being written, or the run is being stopped
  kGone,       // the source is not there any more
};

// "built", "current", "due", "failed", "postponed", "gone".
const char* NameOf(BuildState state);

struct BuiltSize {
  std::string size;
  BuildState state = BuildState::kFailed;
  std::string from;    // "Docdeck", "Original" or "Reeldeck"; empty when there is none
  std::string output;  // the stored thumbnail or the source; empty when there is none
  double milliseconds = 0;
  PictureFacts picture;  // only where they were asked for
};

// What became of one source.
struct SourceReport {
  std::string source;
  BuildState state = BuildState::kCurrent;  // kBuilt when any size was built and none failed
  std::vector<BuiltSize> sizes;             // as they were asked for
  Cause cause;                              // of kFailed and kPostponed
  bool is_damaged = false;        // what was built, or is there, shows what can be read of it
  bool is_known_failure = false;  // remembered from before, and not tried again
  uint64_t bytes = 0;             // of what was built
  double milliseconds = 0;
};

// A report as bytes, for another process of the same program.
std::string Pack(const SourceReport& report);
SourceReport Unpack(const std::string& bytes);  // throws std::exception on anything else

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_SOURCE_REPORT_H_
