#include "service/batch_build.h"

#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>

#include "service/inspected_source.h"
#include "service/silenced_descriptor.h"
#include "service/store_files.h"
#include "service/store_place_check.h"
#include "thumb/libvexathumb.h"

namespace vexathumb::service {
namespace {

using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

class SourceBuilder {
 public:
  explicit SourceBuilder(const std::string& path) : source_(path, true) {}

  BuiltSize Build(const std::string& size) {
    BuiltSize result;
    result.size = size;
    const ThumbInfo info = source_.ForSize(size);
    if (!info.IsNeedConvert()) {
      result.state = BuildState::kCurrent;
      result.from = "Original";
      result.output = source_.path();
      return result;
    }
    const std::string stored = source_.StorePath(info.GetDocdeckThumbEAName());
    if (!stored.empty() && info.IsThumbUptoDate(stored)) {
      result.state = BuildState::kCurrent;
    } else if (const std::optional<Cause> cause = Convert(size)) {
      result.cause = *cause;
      return result;
    } else {
      result.state = BuildState::kBuilt;
    }
    result.from = "Docdeck";
    result.output = stored;
    return result;
  }

 private:
  // The cause of a failure.
  std::optional<Cause> Convert(const std::string& size) {
    // Without a store the result would be made for nothing.
    const StorePlace place = CheckStorePlace(source_.path());
    if (!place.volume_fits) {
      return Cause{"its volume holds no store", "set layout = auto under [store] in the settings"};
    }
    if (!place.obstacle.empty()) {
      return Cause{"its store cannot be written: " + place.obstacle,
                   "give the right to write there, or set layout = auto under [store] in the "
                   "settings"};
    }
    // What the tools complain of is not for whoever reads the report.
    const SilencedDescriptor silent_tools(stderr);
    if (!thumb_) {
      thumb_.emplace(source_.path(), Thumb::ANIMATE_GIF);
      // Conversion reads no metadata itself. This request tries no other source, and the object is
      // not inspected again, so that its temporary preview is deleted with it.
      thumb_->CalcOutputFile(kOriginal);
    }
    if (thumb_->Convert({size}) == 1) return std::nullopt;
    if (source_.content_problem()) return source_.content_problem();
    if (!HasStoreRoom(source_.path())) {
      return Cause{"there is no room for it in the store", "make room on its volume"};
    }
    return Cause{"no tool could make a thumbnail of it",
                 "the file is likely damaged; 'vexathumb doctor' checks the tools"};
  }

  InspectedSource source_;
  std::optional<Thumb> thumb_;
};

}  // namespace

std::vector<BuiltSize> BuildSizes(const std::string& source,
                                  const std::vector<std::string>& sizes) {
  std::vector<BuiltSize> results;
  std::optional<Cause> problem;
  std::optional<SourceBuilder> builder;
  for (const std::string& size : sizes) {
    const Clock::time_point start = Clock::now();
    BuiltSize result;
    result.size = size;
    try {
      if (!problem) {
        if (!builder) builder.emplace(source);
        result = builder->Build(size);
      }
    } catch (const std::exception& error) {
      problem = CauseOf(error);
    }
    if (problem) result.cause = *problem;
    result.milliseconds = MillisecondsSince(start);
    results.push_back(result);
  }
  return results;
}

}  // namespace vexathumb::service
