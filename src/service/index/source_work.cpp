#include "service/index/source_work.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include "posix/error_text.h"
#include "service/base/machine_error.h"
#include "service/build/failure_proof.h"
#include "service/build/stored_facts.h"
#include "service/build/thumbnail_request.h"
#include "service/picture/media_names.h"
#include "service/store/failure_record.h"
#include "service/store/store_obstacle.h"
#include "service/store/sweeping.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {
namespace {

using Clock = std::chrono::steady_clock;

uint64_t BytesOf(const std::string& path) {
  struct stat st = {};
  return stat(path.c_str(), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
}

}  // namespace

std::string FormOf(const std::string& source) {
  if (MediaKindOf(source) == MediaKind::kVideo) return "screenshot";
  ThumbnailRequest request;
  request.label = kExtraLarge;
  request.animated_gif = true;
  request.use_preview = false;
  return FormOf(request);
}

SourceWork::SourceWork(const std::string& source, const SourceBuildOptions& options)
    : source_(source), options_(options) {
  report_.source = source;
}

SourceReport SourceWork::Run() {
  const Clock::time_point start = Clock::now();
  const vexaplatform::SettingsHold hold;
  Work();
  for (BuiltSize& size : report_.sizes) {
    if (size.state == BuildState::kBuilt) report_.bytes += BytesOf(size.output);
    if (options_.with_facts && !size.output.empty()) {
      size.picture = ReadPictureFacts(size.output);
    }
  }
  report_.state = OverallState();
  report_.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  return std::move(report_);
}

void SourceWork::Work() {
  if (EndKnownFailure() || !Examine(Reading::kOfStoreOrSource)) return;
  if (Due().empty() || options_.dry_run) return;
  if (const auto obstacle = FindStoreObstacle(source_)) {
    return EndWith(obstacle->is_of_source ? BuildState::kFailed : BuildState::kPostponed,
                   obstacle->cause);
  }

  version_->WaitWhileFresh();
  BackgroundSlot slot(options_.lock_directory, source_, options_.limits);
  if (!slot.Take(options_.is_stopping)) return EndWith(BuildState::kPostponed, {});
  // Others may have built for it meanwhile, or written it.
  if (!Examine(Reading::kOfSource)) return;
  const std::vector<BuiltSize> due = Due();
  if (due.empty()) return;
  if (version_->IsFresh()) return EndWith(BuildState::kPostponed, cause::kBeingWritten);
  SweepStoreDirectory(source_);
  MakeDue(due, &slot);
  if (report_.cause.text.empty()) RemoveFailureRecord(source_, {FormOf(source_)});
}

bool SourceWork::EndKnownFailure() {
  if (options_.retry_failed) return false;
  const auto failure = RecordedFailure(source_, {FormOf(source_)});
  if (!failure) return false;
  for (const std::string& label : Labels()) {
    report_.sizes.push_back({label, BuildState::kDue, "", "", 0, {}});
  }
  const std::string tries_now = "--retry-failed tries it again";
  if (failure->IsPostponed()) {
    EndWith(BuildState::kPostponed, {failure->reason, tries_now + ", or another run later"});
  } else {
    EndWith(BuildState::kFailed, {failure->reason, tries_now});
  }
  report_.is_known_failure = true;
  return true;
}

// Finds out what is current and what is due. False when nothing can be built of the source, which
// the report then says.
bool SourceWork::Examine(Reading reading) {
  report_.sizes.clear();
  for (const std::string& label : Labels()) {
    report_.sizes.push_back({label, BuildState::kDue, "", "", 0, {}});
  }
  try {
    version_.emplace(source_);
  } catch (const std::system_error&) {
    version_.reset();
    EndInspection(
        WhyNotInspected(source_, version_, {InspectionResult::kMissing, cause::kMissingSource}));
    return false;
  }
  if (!Inspect(reading)) return false;
  for (BuiltSize& size : report_.sizes) ExamineSize(&size);
  return true;
}

// Where everything is current, what its thumbnails say of the source is all that is needed.
bool SourceWork::Inspect(Reading reading) {
  if (reading == Reading::kOfStoreOrSource && MediaKindOf(source_) != MediaKind::kVideo) {
    if (const auto facts = StoredFacts(source_, version_->status(), Labels())) {
      inspected_.emplace(source_, true, *facts);
      report_.is_damaged = facts->is_damaged;
      return true;
    }
  }
  inspected_.emplace(source_, true, &*version_);
  if (inspected_->inspection().IsUsable()) return true;
  EndInspection(WhyNotInspected(source_, version_, inspected_->inspection()));
  return false;
}

std::vector<BuiltSize> SourceWork::Due() const {
  std::vector<BuiltSize> due;
  for (const BuiltSize& size : report_.sizes) {
    const bool is_listed = std::any_of(due.begin(), due.end(), [&size](const BuiltSize& one) {
      return one.output == size.output;
    });
    if (size.state == BuildState::kDue && !is_listed) due.push_back(size);
  }
  return due;
}

void SourceWork::EndInspection(const Thumbnail& none) {
  if (access(source_.c_str(), F_OK) != 0 && !IsMachineError(errno)) {
    return EndWith(BuildState::kGone, {});
  }
  if (none.pauses && !options_.dry_run) {
    RecordPostponement(source_, version_->status(), kEveryForm, none.cause.text, "");
  }
  if (none.outcome == Outcome::kPostponed || none.outcome == Outcome::kSourceChanged) {
    return EndWith(BuildState::kPostponed, none.cause);
  }
  // What is closed to this user is not remembered: rights change without the source's changing.
  const bool is_remembered = none.outcome == Outcome::kUnusable && !options_.dry_run;
  return is_remembered ? EndFailed(kEveryForm, none) : EndWith(BuildState::kFailed, none.cause);
}

void SourceWork::CountAsCurrent(const std::string& stored) {
  for (BuiltSize& size : report_.sizes) {
    if (size.output == stored) size.state = BuildState::kCurrent;
  }
}

void SourceWork::CountAsBuilt(const std::string& stored, double milliseconds) {
  BuildState state = BuildState::kBuilt;
  for (BuiltSize& size : report_.sizes) {
    if (size.output != stored) continue;
    size.state = std::exchange(state, BuildState::kCurrent);
    if (size.state == BuildState::kBuilt) size.milliseconds = milliseconds;
  }
}

void SourceWork::EndWithout(const Thumbnail& thumbnail) {
  if (thumbnail.outcome == Outcome::kMissing) return EndWith(BuildState::kGone, {});
  // A tool that was stopped with this process says nothing about the source.
  if (options_.is_stopping()) return EndWith(BuildState::kPostponed, {});
  if (thumbnail.pauses) {
    RecordPostponement(source_, version_->status(), FormOf(source_), thumbnail.cause.text,
                       thumbnail.tool);
  }
  if (thumbnail.outcome != Outcome::kUnusable) {
    return EndWith(BuildState::kPostponed, thumbnail.cause);
  }
  EndFailed(FormOf(source_), thumbnail);
}

// Where even this cannot be written, the store may be what has failed.
void SourceWork::EndFailed(const std::string& form, const Thumbnail& none) {
  const int error = RecordFailure(source_, version_->status(), form, none.cause.text, none.tool);
  if (error == 0 || error == ENAMETOOLONG) return EndWith(BuildState::kFailed, none.cause);
  EndWith(BuildState::kPostponed,
          {"its store cannot be written: " + posix::TextOfError(error), "check its volume"});
}

void SourceWork::EndWith(BuildState state, const Cause& cause) {
  report_.cause = cause;
  for (BuiltSize& size : report_.sizes) {
    if (size.state != BuildState::kDue) continue;
    size.state = state;
    size.from.clear();
    size.output.clear();
  }
}

BuildState SourceWork::OverallState() const {
  for (const BuildState state : {BuildState::kFailed, BuildState::kGone, BuildState::kPostponed,
                                 BuildState::kDue, BuildState::kBuilt}) {
    for (const BuiltSize& size : report_.sizes) {
      if (size.state == state) return state;
    }
  }
  return BuildState::kCurrent;
}

}  // namespace vexathumb::service
