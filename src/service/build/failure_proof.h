#ifndef VEXATHUMB_SERVICE_BUILD_FAILURE_PROOF_H_
#define VEXATHUMB_SERVICE_BUILD_FAILURE_PROOF_H_

#include <optional>
#include <string>

#include "service/build/thumbnail.h"
#include "service/picture/inspection.h"
#include "service/picture/source_version.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {

// Here alone is decided that a source is to blame. That is proved only where every tool that was
// run for it, or its inspection, ended by itself and told its own error or met a limit of ours, and
// where source, store and temporary folder are afterwards what they were before. Everything else is
// postponed: by what can be found by looking, such as a store without room, until that is mended;
// otherwise with a pause that grows (failure_record.h).

// An attempt on this thread to make a picture of a source, without one.
struct FailedAttempt {
  const std::string& source;
  const SourceVersion& version;  // from before
  int write_error = 0;           // errno of the attempt's own writing, apart from the tools
  bool develops = false;         // raw development, which needs the store, was to come first
  std::optional<vexaplatform::ToolReport> rendered = {};  // how the renderer ended, if it decides
  bool is_unfinished = false;  // it seems cut short, and was written a moment ago
};

// kMissing, kSourceChanged, kPostponed or kUnusable; `otherwise` is the cause where no tool has met
// a limit. Goes by vexaplatform::ToolRuns().
Thumbnail WhyThereIsNone(const FailedAttempt& attempt, const Cause& otherwise);

// The same of an inspection that is not usable. `version` is from before it, nothing when it could
// not be had.
Thumbnail WhyNotInspected(const std::string& source, const std::optional<SourceVersion>& version,
                          const Inspection& inspection);

// How the machine keeps from reading the source, when it does.
std::optional<Cause> SourceObstacle(const std::string& source);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_FAILURE_PROOF_H_
