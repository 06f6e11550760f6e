#include "service/build/size_series.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "service/build/animation.h"
#include "service/build/thumbnail_form.h"
#include "service/picture/content_type.h"
#include "service/picture/inspection.h"

namespace vexathumb::service {
namespace {

bool IsUpright(const ThumbInfo& info) {
  return (info.GetRotate() + info.GetUserRotate()) % 4 == 0 && !info.GetFlop();
}

bool IsUprightJpeg(const ThumbInfo& info) {
  return info.IsGood() && info.GetMimeType() == kJpegType && IsUpright(info);
}

// The request, with a picture that has been made in the place of the source.
ThumbInfo InfoOf(const std::string& picture, const ThumbnailRequest& request) {
  ThumbnailRequest of_picture = request;
  of_picture.source = picture;
  ThumbInfo info = Describe(of_picture);
  Inspect(&info);
  return info;
}

}  // namespace

SizeSeries::SizeSeries(const std::string& source, const BuildOptions& options)
    : source_(source), options_(options), jpeg_(source) {}

std::optional<SizeSeries::Made> SizeSeries::Make(const ThumbnailRequest& request,
                                                 const ThumbInfo& info, const std::string& path) {
  if (jpeg_ == source_ && !IsUprightJpeg(info)) jpeg_.clear();
  const Task task = {request, info, path};
  made_ = {};
  is_decoded_preview_ = false;
  scale_ = ScaleFor(task);
  bool is_made = scale_ && MakeAtScale(task, *scale_);
  if (scale_ && !is_made) {
    jpeg_.clear();
    scale_.reset();
  }
  is_made = is_made || MakeFitted(task);
  return is_made ? std::make_optional(made_) : std::nullopt;
}

std::optional<int> SizeSeries::ScaleFor(const Task& task) const {
  if (jpeg_.empty()) return std::nullopt;
  return DJpegCmd(InfoOfJpeg(task), jpeg_, task.path).GetScale();
}

ThumbInfo SizeSeries::InfoOfJpeg(const Task& task) const {
  return jpeg_ == source_ ? task.info : InfoOf(jpeg_, task.request);
}

bool SizeSeries::MakeAtScale(const Task& task, int scale) {
  const auto same = by_scale_.find(scale);
  if (same != by_scale_.end()) return CopyOf(same->second, task);
  if (DecodeLargest(task, scale) && BringIntoForm(task)) return true;
  unlink(task.path.c_str());
  DJpegCmd decoder(InfoOfJpeg(task), jpeg_, task.path);
  if (decoder.exec() && BringIntoForm(task)) {
    made_.is_oversized = made_.mime == kBmpType && decoder.IsNeedDelete();
    return true;
  }
  unlink(task.path.c_str());
  return false;
}

bool SizeSeries::CopyOf(const std::string& picture, const Task& task) {
  std::error_code error;
  if (!std::filesystem::copy_file(picture, task.path, error)) return false;
  made_.mime = ContentTypeOf(task.path) == kBmpType ? kBmpType : task.info.GetOutputMimeType();
  return true;
}

// A decoder's scales are powers of two, so one of the source is often one of the largest picture
// made of it, which has far fewer data to read.
bool SizeSeries::DecodeLargest(const Task& task, int scale) const {
  if (by_scale_.empty()) return false;
  const auto& [scale_of_largest, largest] = *by_scale_.begin();
  if (largest == jpeg_ || ContentTypeOf(largest) != kJpegType) return false;
  DJpegCmd decoder(InfoOf(largest, task.request), largest, task.path);
  return scale_of_largest + decoder.GetScale() == scale && decoder.exec();
}

bool SizeSeries::MakeFitted(const Task& task) {
  if (task.info.GetOutputMimeType() == kGifType) return MakeAnimation(task);
  if (!fitted_.empty() && MakeFrom(BestFor(task.info.GetDimension()), task)) return true;
  return MakeFromSource(task);
}

bool SizeSeries::MakeAnimation(const Task& task) {
  const bool is_made = service::MakeAnimation(task.info, source_, task.path) ||
                       ConvertCmd(task.info, source_, task.path).exec();
  return is_made && BringIntoForm(task);
}

bool SizeSeries::MakeFrom(const Picture& larger, const Task& task) {
  const ThumbInfo info = InfoOf(larger.path, task.request);
  if (!info.IsNeedConvert()) return CopyOf(larger.path, task);
  if (MakeByHalving(larger, info, task)) return true;
  return ConvertCmd(info, larger.path, task.path).exec() && BringIntoForm(task);
}

// Where the box is half as large, the decoder's scale fits it, at a tenth of the cost of reading
// all pixels and fitting them.
bool SizeSeries::MakeByHalving(const Picture& larger, ThumbInfo info, const Task& task) {
  const ThumbDimension box = task.info.GetDimension();
  const bool halves =
      std::max(larger.width, larger.height) == uint64_t{2} * std::max(box.width_, box.height_);
  if (!halves || !options_.compaction || ContentTypeOf(larger.path) != kJpegType) return false;
  info.SetDimension({(larger.width + 1) / 2, (larger.height + 1) / 2});
  if (DJpegCmd(info, larger.path, task.path).exec() && BringIntoForm(task)) return true;
  unlink(task.path.c_str());
  return false;
}

// The library's commands in the library's order. An upright JPEG comes here when its decoder has
// failed.
bool SizeSeries::MakeFromSource(const Task& task) {
  const ThumbInfo& info = task.info;
  const bool turns_jpeg = info.GetMimeType() == kJpegType && !IsUpright(info);
  if (info.IsGood() && turns_jpeg && DJpegCmd(info, source_, task.path).exec()) {
    return BringIntoForm(task);
  }
  if (!info.IsWebAcceptable() && DcrawCmd(info, source_, task.path).exec()) {
    is_decoded_preview_ = ContentTypeOf(task.path) == kBmpType;
    return BringIntoForm(task);
  }
  return info.IsGood() && ConvertCmd(info, source_, task.path).exec() && BringIntoForm(task);
}

bool SizeSeries::BringIntoForm(const Task& task) {
  const auto mime = service::BringIntoForm(task.request, task.info, options_, task.path);
  if (mime) made_.mime = *mime;
  return mime.has_value();
}

// The smallest with half as many pixels again on its longer side, or the largest. One much larger
// would be thinned to the nearest pixels before it is fitted, at three times the cost.
const SizeSeries::Picture& SizeSeries::BestFor(const ThumbDimension& box) const {
  const uint64_t enough = uint64_t{3} * std::max(box.width_, box.height_) / 2;
  for (auto picture = fitted_.rbegin(); picture != fitted_.rend(); ++picture) {
    if (std::max(picture->width, picture->height) >= enough) return *picture;
  }
  return fitted_.front();
}

void SizeSeries::KeepAt(const std::string& stored) {
  if (scale_) {
    by_scale_[*scale_] = stored;
    return;
  }
  const auto type = ContentTypeOf(stored);
  if (type == kGifType) return;
  if (is_decoded_preview_ && type == kJpegType) {
    jpeg_ = stored;
    by_scale_ = {{0, stored}};
    return;
  }
  ThumbInfo info(stored, kOriginal, {0, 0});
  if (!Inspect(&info).IsUsable()) return;
  fitted_.push_back({stored, info.GetWidth(), info.GetHeight()});
}

}  // namespace vexathumb::service
