#include "service/index/source_work.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

#include "service/picture/media_names.h"
#include "service/store/failure_record.h"
#include "service/store/store_obstacle.h"
#include "service/store/sweeping.h"
#include "vexaplatform/settings.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {
namespace {

using Clock = std::chrono::steady_clock;

uint64_t BytesOf(const std::string& path) {
  struct stat st = {};
  return stat(path.c_str(), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
}

}  // namespace

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
  if (EndKnownFailure() || !Examine() || Due().empty() || options_.dry_run) return;
  if (const auto obstacle = StoreObstacle(source_)) return EndWith(BuildState::kFailed, *obstacle);

  version_->WaitWhileFresh();
  BackgroundSlot slot(options_.lock_directory, source_, options_.limits);
  if (!slot.Take(options_.is_stopping)) return EndWith(BuildState::kPostponed, {});
  // Others may have built for it meanwhile, or written it.
  if (!Examine()) return;
  const std::vector<BuiltSize> due = Due();
  if (due.empty()) return;
  if (version_->IsFresh()) return EndWith(BuildState::kPostponed, cause::kBeingWritten);
  SweepStoreDirectory(source_);
  MakeDue(due, &slot);
  if (report_.cause.text.empty()) RemoveFailureRecord(source_);
}

bool SourceWork::EndKnownFailure() {
  if (options_.retry_failed) return false;
  const auto failure = RecordedFailure(source_);
  if (!failure) return false;
  for (const std::string& label : Labels()) {
    report_.sizes.push_back({label, BuildState::kDue, "", "", 0, {}});
  }
  EndWith(BuildState::kFailed, {failure->reason, "--retry-failed tries it again"});
  report_.is_known_failure = true;
  return true;
}

// Finds out what is current and what is due. False when nothing can be built of the source, which
// the report then says.
bool SourceWork::Examine() {
  report_.sizes.clear();
  for (const std::string& label : Labels()) {
    report_.sizes.push_back({label, BuildState::kDue, "", "", 0, {}});
  }
  try {
    version_.emplace(source_);
  } catch (const std::system_error&) {
    EndInspection(cause::kMissingSource);
    return false;
  }
  inspected_.emplace(source_, true);
  if (!inspected_->inspection().IsUsable()) {
    EndInspection(inspected_->inspection().cause);
    return false;
  }
  for (BuiltSize& size : report_.sizes) ExamineSize(&size);
  return true;
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

void SourceWork::EndInspection(const Cause& cause) {
  if (access(source_.c_str(), F_OK) != 0) return EndWith(BuildState::kGone, {});
  EndWith(BuildState::kFailed, cause);
  // Rights change without the source's changing.
  const bool is_readable = access(source_.c_str(), R_OK) == 0;
  if (version_ && is_readable && !options_.dry_run && !StoreObstacle(source_)) {
    RecordFailure(source_, version_->status(), cause.text, "");
  }
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
  if (thumbnail.outcome != Outcome::kUnusable) {
    return EndWith(BuildState::kPostponed, thumbnail.cause);
  }
  RecordFailure(source_, version_->status(), thumbnail.cause.text,
                vexaplatform::LastToolRun().program);
  EndWith(BuildState::kFailed, thumbnail.cause);
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
