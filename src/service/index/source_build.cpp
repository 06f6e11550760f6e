#include "service/index/source_build.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <system_error>
#include <utility>

#include "service/build/build_settings.h"
#include "service/build/machine_fault.h"
#include "service/build/screenshot.h"
#include "service/build/size_series.h"
#include "service/picture/inspected_source.h"
#include "service/picture/media_names.h"
#include "service/picture/source_version.h"
#include "service/store/failure_record.h"
#include "service/store/new_store_entry.h"
#include "service/store/store_files.h"
#include "service/store/store_place_check.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kScreenshotSize[] = "screenshot";

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

uint64_t BytesOf(const std::string& path) {
  struct stat st = {};
  return stat(path.c_str(), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
}

// What stands in the way of keeping thumbnails of the source.
std::optional<Cause> StoreObstacle(const std::string& source) {
  const StorePlace place = CheckStorePlace(source);
  if (!place.volume_fits) {
    return Cause{"its volume holds no store", "set layout = auto under [store] in the settings"};
  }
  if (place.IsWritable() && IsStoreWritable(source)) return std::nullopt;
  const std::string why = place.obstacle.empty() ? place.directory : place.obstacle;
  return Cause{"its store cannot be written: " + why,
               "give the right to write there, or set layout = auto under [store] in the settings"};
}

class SourceBuilding {
 public:
  SourceBuilding(const std::string& source, const SourceBuildOptions& options)
      : source_(source), options_(options), is_video_(MediaKindOf(source) == MediaKind::kVideo) {
    report_.source = source;
  }

  SourceReport Run() {
    const Clock::time_point start = Clock::now();
    Work();
    for (BuiltSize& size : report_.sizes) {
      if (size.state == BuildState::kBuilt) report_.bytes += BytesOf(size.output);
      if (options_.with_facts && !size.output.empty()) {
        size.picture = ReadPictureFacts(size.output);
      }
    }
    report_.state = OverallState();
    report_.milliseconds = MillisecondsSince(start);
    return std::move(report_);
  }

 private:
  // A thumbnail that is to be made.
  struct Due {
    ThumbnailRequest request;
    ThumbInfo info;
    std::string stored;
  };

  void Work() {
    if (is_video_ && IsWithoutPicture(source_)) return;
    if (IsKnownFailure() || !Examine() || due_.empty()) return;
    if (options_.dry_run) return;
    if (const auto obstacle = StoreObstacle(source_))
      return EndWith(BuildState::kFailed, *obstacle);

    BackgroundSlot slot(options_.lock_directory, source_, options_.limits);
    if (!slot.Take(options_.is_stopping)) return EndWith(BuildState::kPostponed, {});
    // Others may have built for it meanwhile, or written it.
    if (!Examine() || due_.empty()) return;
    SweepStoreDirectory(source_);
    if (is_video_) {
      MakeScreenshotOfVideo();
    } else {
      MakeDue(slot);
    }
    if (report_.cause.text.empty()) RemoveFailureRecord(source_);
  }

  bool IsKnownFailure() {
    if (options_.retry_failed) return false;
    const auto failure = RecordedFailure(source_);
    if (!failure) return false;
    for (const std::string& label : Labels()) AddSize(label);
    EndWith(BuildState::kFailed, {failure->reason, "--retry-failed tries it again"});
    report_.is_known_failure = true;
    return true;
  }

  std::vector<std::string> Labels() const {
    return is_video_ ? std::vector<std::string>{kScreenshotSize} : options_.sizes;
  }

  BuiltSize& AddSize(const std::string& label) {
    report_.sizes.emplace_back();
    report_.sizes.back().size = label;
    report_.sizes.back().state = BuildState::kDue;
    return report_.sizes.back();
  }

  // Finds out what is current and what is due. False when nothing can be built of the source, which
  // the report then says.
  bool Examine() {
    report_.sizes.clear();
    due_.clear();
    try {
      version_.emplace(source_);
      inspected_.emplace(source_, true);
    } catch (const std::exception& error) {
      for (const std::string& label : Labels()) AddSize(label);
      EndInspection(CauseOf(error));
      return false;
    }
    for (const std::string& label : Labels()) ExamineSize(label);
    std::stable_sort(due_.begin(), due_.end(), [](const Due& one, const Due& other) {
      return one.request.box.width_ > other.request.box.width_;
    });
    return true;
  }

  void ExamineSize(const std::string& label) {
    BuiltSize& size = AddSize(label);
    const ThumbInfo info = is_video_ ? inspected_->info() : inspected_->ForSize(label);
    if (!is_video_ && !info.IsNeedConvert()) {
      size.state = BuildState::kCurrent;
      size.from = "Original";
      size.output = source_;
      return;
    }
    size.from = is_video_ ? "Reeldeck" : "Docdeck";
    size.output = inspected_->StorePath(is_video_ ? info.GetReeldeckThumbEAName()
                                                  : info.GetDocdeckThumbEAName());
    if (IsCurrent(size.output)) {
      size.state = BuildState::kCurrent;
      return;
    }
    const bool is_listed = std::any_of(
        due_.begin(), due_.end(), [&size](const Due& due) { return due.stored == size.output; });
    if (is_listed) return;
    ThumbnailRequest request;
    request.source = source_;
    request.label = label;
    request.box = info.GetDimension();
    request.animated_gif = true;
    due_.push_back({request, info, size.output});
  }

  // The video application keeps its screenshots current itself, and gives them what time it likes.
  bool IsCurrent(const std::string& stored) const {
    struct stat st = {};
    return !stored.empty() && lstat(stored.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
           st.st_size > 0 && (is_video_ || st.st_mtime == version_->status().st_mtime);
  }

  void EndInspection(const Cause& cause) {
    if (access(source_.c_str(), F_OK) != 0) return EndWith(BuildState::kGone, {});
    EndWith(BuildState::kFailed, cause);
    // Rights change without the source's changing.
    const bool is_readable = access(source_.c_str(), R_OK) == 0;
    if (version_ && is_readable && !options_.dry_run && !StoreObstacle(source_)) {
      RecordFailure(source_, version_->status(), cause.text, "");
    }
  }

  void MakeDue(BackgroundSlot& slot) {
    SizeSeries series(source_, *version_, options_.build);
    for (size_t i = 0; i < due_.size(); ++i) {
      if (i > 0 && (options_.is_stopping() || !slot.GiveWay(options_.is_stopping))) {
        return EndWith(BuildState::kPostponed, {});
      }
      if (IsCurrent(due_[i].stored)) {
        CountAsCurrent(due_[i].stored);
        continue;
      }
      const Clock::time_point start = Clock::now();
      const SizeSeries::Outcome outcome = Make(series, due_[i]);
      if (outcome == SizeSeries::Outcome::kMade) {
        CountAsBuilt(due_[i].stored, MillisecondsSince(start));
      } else {
        // What the largest size fails for, the others would fail for.
        return EndFailed(outcome == SizeSeries::Outcome::kSourceChanged);
      }
    }
  }

  static SizeSeries::Outcome Make(SizeSeries& series, const Due& due) {
    vexaplatform::ForgetLastToolRun();
    try {
      return series.Make(due.request, due.info, due.stored);
    } catch (const std::exception&) {
      return SizeSeries::Outcome::kFailed;
    }
  }

  bool TryMakeScreenshot(const std::string& target) const {
    try {
      return MakeScreenshot(source_, target);
    } catch (const std::exception&) {
      return false;
    }
  }

  void MakeScreenshotOfVideo() {
    if (!CanMakeScreenshots()) {
      return EndWith(BuildState::kFailed, {"there is no program that makes screenshots of videos",
                                           "install ffmpegthumbnailer or ffmpeg"});
    }
    const Clock::time_point start = Clock::now();
    const std::string& stored = due_.front().stored;
    NewStoreEntry entry(stored);
    vexaplatform::ForgetLastToolRun();
    const bool is_made = TryMakeScreenshot(entry.path());
    const bool is_changed = !version_->IsCurrent();
    if (!is_made || is_changed || !entry.Commit(version_->status().st_mtime)) {
      return EndFailed(is_changed);
    }
    CountAsBuilt(stored, MillisecondsSince(start));
  }

  void CountAsCurrent(const std::string& stored) {
    for (BuiltSize& size : report_.sizes) {
      if (size.output == stored) size.state = BuildState::kCurrent;
    }
  }

  // Two sizes may be one file, which is built once.
  void CountAsBuilt(const std::string& stored, double milliseconds) {
    BuildState state = BuildState::kBuilt;
    for (BuiltSize& size : report_.sizes) {
      if (size.output != stored) continue;
      size.state = std::exchange(state, BuildState::kCurrent);
      if (size.state == BuildState::kBuilt) size.milliseconds = milliseconds;
    }
  }

  void EndFailed(bool source_changed) {
    if (access(source_.c_str(), F_OK) != 0) return EndWith(BuildState::kGone, {});
    if (source_changed) {
      return EndWith(BuildState::kPostponed, {"it is being written", "run again later"});
    }
    if (options_.is_stopping()) return EndWith(BuildState::kPostponed, {});
    if (const auto fault = FaultOfMachine(source_, inspected_->info())) {
      return EndWith(BuildState::kPostponed, *fault);
    }
    const Cause cause = inspected_->content_problem().value_or(
        Cause{"no tool could make a thumbnail of it",
              "the file is likely damaged; 'vexathumb doctor' checks the tools"});
    RecordFailure(source_, version_->status(), cause.text, vexaplatform::LastToolRun().program);
    EndWith(BuildState::kFailed, cause);
  }

  // Whatever was still to be done ends this way.
  void EndWith(BuildState state, const Cause& cause) {
    report_.cause = cause;
    for (BuiltSize& size : report_.sizes) {
      if (size.state != BuildState::kDue) continue;
      size.state = state;
      size.from.clear();
      size.output.clear();
    }
  }

  BuildState OverallState() const {
    for (const BuildState state : {BuildState::kFailed, BuildState::kGone, BuildState::kPostponed,
                                   BuildState::kDue, BuildState::kBuilt}) {
      for (const BuiltSize& size : report_.sizes) {
        if (size.state == state) return state;
      }
    }
    return BuildState::kCurrent;
  }

  const std::string source_;
  const SourceBuildOptions& options_;
  const bool is_video_;
  SourceReport report_;
  std::optional<SourceVersion> version_;
  std::optional<InspectedSource> inspected_;
  std::vector<Due> due_;
};

}  // namespace

SourceBuildOptions SourceBuildOptionsFrom(const vexaplatform::ServiceSettings& settings) {
  SourceBuildOptions options;
  options.build = BuildOptionsFrom(settings);
  options.lock_directory = settings.lock_dir;
  options.limits = BuildLimitsFrom(settings);
  return options;
}

SourceReport BuildSource(const std::string& source, const SourceBuildOptions& options) {
  return SourceBuilding(source, options).Run();
}

}  // namespace vexathumb::service
