#include "service/build/failure_proof.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <vector>

#include "posix/error_text.h"
#include "posix/process_end.h"
#include "service/base/machine_error.h"
#include "service/base/path_name.h"
#include "service/store/store_files.h"
#include "thumb/thumb_convert_cmd.h"
#include "vexaplatform/settings.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {
namespace {

using vexaplatform::ToolEnding;
using vexaplatform::ToolReport;

constexpr char kDoctor[] = "'vexathumb doctor' tells more";
constexpr char kLater[] = "it is tried again later";

std::string NameOf(const ToolReport& run) { return "the program " + LastComponent(run.program); }

bool IsPathTooLong(const ToolReport& run) {
  return run.ending == ToolEnding::kNotStarted &&
         (run.detail == ENAMETOOLONG || run.detail == E2BIG);
}

// Whether the tool ended by itself and for a reason of its own.
bool IsProof(const ToolReport& run) {
  if (run.machine_error != 0) return false;
  switch (run.ending) {
    case ToolEnding::kSucceeded:  // with a picture of no use
    case ToolEnding::kExited:
    case ToolEnding::kLimited:
      return true;
    case ToolEnding::kSignalled:
      return posix::IsOwnFault(run.detail);
    case ToolEnding::kNotStarted:
      return IsPathTooLong(run);
    case ToolEnding::kNone:
    case ToolEnding::kIncomplete:
      break;
  }
  return false;
}

// Why a run proves nothing.
Cause WhyNoProof(const ToolReport& run) {
  const std::string program = NameOf(run);
  if (run.machine_error == ENOMEM) {
    return {program + " got too little memory", "the machine has less than its limit allows"};
  }
  if (run.machine_error == ETIMEDOUT) {
    return {program + " waited too long, and was ended after its " + run.limit, kLater};
  }
  if (run.machine_error != 0) {
    return {program + " was stopped by the machine: " + posix::TextOfError(run.machine_error),
            kLater};
  }
  if (run.ending == ToolEnding::kSignalled) {
    const bool is_killed = run.detail == SIGKILL;
    return {program + " was ended by " + posix::TextOfSignal(run.detail),
            is_killed ? "the machine may be short of memory" : kLater};
  }
  if (run.ending == ToolEnding::kNotStarted) {
    return {program + " cannot be started: " + posix::TextOfError(run.detail), kDoctor};
  }
  return {program + " has left no whole picture", kLater};
}

Thumbnail Postponed(const Cause& cause, const std::string& program = "") {
  Thumbnail none = Thumbnail::None(Outcome::kPostponed, cause);
  none.tool = program;
  return none;
}

// What looking finds, so that whoever mends it need not wait.
std::optional<Cause> ObstacleFound(const FailedAttempt& attempt,
                                   const std::vector<ToolReport>& runs) {
  if (auto obstacle = SourceObstacle(attempt.source)) return obstacle;
  for (const ToolReport& run : runs) {
    if (run.ending == ToolEnding::kNotStarted && access(run.program.c_str(), X_OK) != 0) {
      return Cause{NameOf(run) + " cannot be started", kDoctor};
    }
  }
  for (const std::string& folder :
       {std::string("/var/tmp"), vexaplatform::CurrentSettings()->tools.temp_dir}) {
    if (!HasRoom(folder)) {
      return Cause{"there is no room for temporary files", "make room in " + folder};
    }
  }
  const bool stores = file::IsDestSupportEAWrite(file::Dirname(attempt.source));
  const bool has_store = stores && IsStoreWritable(attempt.source);
  if (has_store ? !HasRoom(StoreDirectoryOf(attempt.source)) : stores && attempt.develops) {
    return Cause{"there is no room for it in the store", "make room on its volume"};
  }
  return std::nullopt;
}

std::optional<Thumbnail> WhyNotProved(const FailedAttempt& attempt,
                                      const std::vector<ToolReport>& runs) {
  for (const ToolReport& run : runs) {
    if (IsProof(run)) continue;
    Thumbnail none = Postponed(WhyNoProof(run), run.program);
    none.pauses = run.ending != ToolEnding::kNotStarted;
    return none;
  }
  if (attempt.write_error != 0) {
    return Postponed({"its thumbnail cannot be written: " + posix::TextOfError(attempt.write_error),
                      "'vexathumb info' tells where it is to lie"});
  }
  const bool is_developed = std::any_of(runs.begin(), runs.end(), [](const ToolReport& run) {
    return run.program == ThumbConvertCmd::kDcraw;
  });
  const bool is_tried = is_developed || attempt.rendered || !attempt.develops;
  if (!runs.empty() && is_tried) return std::nullopt;
  Thumbnail none = Postponed({"no program could be run for it", kDoctor});
  none.pauses = true;
  return none;
}

Thumbnail Proved(const std::vector<ToolReport>& runs, const Cause& otherwise) {
  Thumbnail none = Thumbnail::None(Outcome::kUnusable, otherwise);
  none.tool = runs.back().program;
  for (const ToolReport& run : runs) {
    if (run.ending == ToolEnding::kLimited) {
      none.met_limit = true;
      none.tool = run.program;
      none.cause = {NameOf(run) + " met its limit: " + run.limit,
                    "raise the limits of tools in the settings, or leave the file"};
    } else if (IsPathTooLong(run)) {
      none.tool = run.program;
      none.cause = {"its path is too long for " + NameOf(run), "shorten the names of its folders"};
    }
  }
  return none;
}

}  // namespace

std::optional<Cause> SourceObstacle(const std::string& source) {
  const int error = MachineErrorOfReading(source);
  if (error == 0) return std::nullopt;
  return Cause{"it cannot be read at the moment: " + posix::TextOfError(error), "check its volume"};
}

Thumbnail WhyThereIsNone(const FailedAttempt& attempt, const Cause& otherwise) {
  std::vector<ToolReport> runs = vexaplatform::ToolRuns();
  if (attempt.rendered) runs.push_back(*attempt.rendered);
  if (access(attempt.source.c_str(), F_OK) != 0 && !IsMachineError(errno)) {
    return Thumbnail::None(Outcome::kMissing, cause::kMissingSource);
  }
  if (const auto obstacle = ObstacleFound(attempt, runs)) return Postponed(*obstacle);
  if (!attempt.version.IsCurrent() || attempt.is_unfinished) {
    return Thumbnail::None(Outcome::kSourceChanged, cause::kBeingWritten);
  }
  if (attempt.write_error == ENAMETOOLONG) {
    return Thumbnail::None(Outcome::kUnusable, cause::kPathTooLong);
  }
  if (auto none = WhyNotProved(attempt, runs)) return *none;
  return Proved(runs, otherwise);
}

Thumbnail WhyNotInspected(const std::string& source, const std::optional<SourceVersion>& version,
                          const Inspection& inspection) {
  if (const auto obstacle = SourceObstacle(source)) return Postponed(*obstacle);
  const bool is_gone = inspection.result == InspectionResult::kMissing ||
                       inspection.result == InspectionResult::kUnreadable;
  if (is_gone) return Thumbnail::None(Outcome::kMissing, inspection.cause);
  if (inspection.result == InspectionResult::kChanged || (version && !version->IsCurrent())) {
    return Thumbnail::None(Outcome::kSourceChanged, cause::kBeingWritten);
  }
  if (inspection.result == InspectionResult::kInterrupted) {
    Thumbnail none = Postponed(inspection.cause);
    none.pauses = true;
    return none;
  }
  return Thumbnail::None(Outcome::kUnusable, inspection.cause);
}

}  // namespace vexathumb::service
