#include "service/index/picture_work.h"

#include <algorithm>
#include <chrono>

#include "service/build/thumbnail_builder.h"
#include "service/store/current_entry.h"

namespace vexathumb::service {
namespace {

using Clock = std::chrono::steady_clock;

uint32_t WidthOf(const std::string& label) { return Thumb::strThumbSizeMap_.at(label).width_; }

ThumbnailRequest RequestFor(const std::string& source, const std::string& label) {
  ThumbnailRequest request;
  request.source = source;
  request.label = label;
  request.box = Thumb::strThumbSizeMap_.at(label);
  request.animated_gif = true;
  // All sizes have the same look, whether the camera's preview is large enough for one or not.
  request.use_preview = false;
  return request;
}

}  // namespace

void PictureWork::ExamineSize(BuiltSize* size) const {
  const ThumbInfo info = inspected().ForSize(size->size);
  if (!info.IsNeedConvert()) {
    size->state = BuildState::kCurrent;
    size->from = kFromOriginal;
    size->output = source();
    return;
  }
  size->from = kFromDocdeck;
  size->output = inspected().StorePath(info.GetDocdeckThumbEAName());
  if (IsCurrentEntry(size->output, version().status())) {
    size->state = BuildState::kCurrent;
  }
}

void PictureWork::MakeDue(const std::vector<BuiltSize>& due, BackgroundSlot* slot) {
  std::vector<BuiltSize> largest_first = due;
  std::stable_sort(largest_first.begin(), largest_first.end(),
                   [](const BuiltSize& one, const BuiltSize& other) {
                     return WidthOf(one.size) > WidthOf(other.size);
                   });
  BuildOptions build = options().build;
  build.outside_store = OutsideStore::kNever;
  ThumbnailBuilder builder(source(), version(), build);
  for (const BuiltSize& size : largest_first) {
    builder.Expect(RequestFor(source(), size.size), inspected().ForSize(size.size));
  }
  bool is_first = true;
  for (const BuiltSize& size : largest_first) {
    if (!is_first && (options().is_stopping() || !slot->GiveWay(options().is_stopping))) {
      return EndWith(BuildState::kPostponed, {});
    }
    is_first = false;
    if (IsCurrentEntry(size.output, version().status())) {
      CountAsCurrent(size.output);
      continue;
    }
    const Clock::time_point start = Clock::now();
    const Thumbnail thumbnail =
        builder.Build(RequestFor(source(), size.size), inspected().ForSize(size.size));
    // What the largest size fails for, the others would fail for.
    if (thumbnail.outcome != Outcome::kPicture) return EndWithout(thumbnail);
    if (thumbnail.is_damaged) NoteDamage();
    CountAsBuilt(size.output,
                 std::chrono::duration<double, std::milli>(Clock::now() - start).count());
  }
}

}  // namespace vexathumb::service
