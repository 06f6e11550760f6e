#include "service/index/screenshot_work.h"

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <exception>

#include "service/base/atomic_file.h"
#include "service/build/failure_proof.h"
#include "service/build/screenshot.h"
#include "service/store/store_files.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {
namespace {

using Clock = std::chrono::steady_clock;

bool IsThere(const std::string& stored) {
  struct stat st = {};
  return !stored.empty() && lstat(stored.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
         st.st_size > 0;
}

bool TryMakeScreenshot(const std::string& video, const std::string& target) {
  vexaplatform::ForgetToolRuns();
  try {
    return MakeScreenshot(video, target);
  } catch (const std::exception&) {  // of the library, on account of the video
    return false;
  }
}

}  // namespace

void ScreenshotWork::ExamineSize(BuiltSize* size) const {
  size->from = kFromReeldeck;
  size->output = inspected().StorePath(inspected().info().GetReeldeckThumbEAName());
  if (IsThere(size->output)) size->state = BuildState::kCurrent;
}

void ScreenshotWork::MakeDue(const std::vector<BuiltSize>& due, BackgroundSlot* /*slot*/) {
  if (!CanMakeScreenshots()) {
    return EndWith(BuildState::kPostponed, {"there is no program that makes screenshots of videos",
                                            "install ffmpegthumbnailer or ffmpeg"});
  }
  if (IsNoVideo(source())) {
    return EndWithout(Thumbnail::None(Outcome::kUnusable, cause::kUnknownContent));
  }
  const Clock::time_point start = Clock::now();
  const std::string& stored = due.front().output;
  FailedAttempt attempt = {source(), version()};
  if (!MakeAt(stored, &attempt.write_error)) {
    return EndWithout(WhyThereIsNone(attempt, cause::kNoTool));
  }
  CountAsBuilt(stored, std::chrono::duration<double, std::milli>(Clock::now() - start).count());
}

bool ScreenshotWork::MakeAt(const std::string& stored, int* write_error) const {
  if (stored.empty()) {
    *write_error = ENAMETOOLONG;
    return false;
  }
  AtomicFile entry(stored, OpenStoreDirectory(source(), version().status()));
  if (!TryMakeScreenshot(source(), entry.path()) || !version().IsCurrent()) return false;
  if (entry.Commit(StoredAttributes(version().status()))) return true;
  *write_error = errno;
  return false;
}

}  // namespace vexathumb::service
