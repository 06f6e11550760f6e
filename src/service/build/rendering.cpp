#include "service/build/rendering.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

#include "posix/unique_fd.h"
#include "service/picture/content_type.h"
#include "service/picture/inspection.h"
#include "service/picture/picture_renderer.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {
namespace {

using render::Ending;
using vexaplatform::ToolEnding;
using vexaplatform::ToolReport;

// An avatar is no larger on a side than its source.
ThumbDimension BoxOf(const ThumbnailRequest& request, const ThumbInfo& info) {
  if (!request.avatar) return request.box;
  ThumbDimension box = info.GetTargetDimension();
  if (((info.GetRotate() + info.GetUserRotate()) & 1) != 0) std::swap(box.width_, box.height_);
  return box;
}

// Of types that the tools decode by the same libraries.
bool IsFinal(const render::Answer& answer) {
  if (answer.ending != Ending::kUnreadable) {
    return answer.ending == Ending::kLimited || answer.ending == Ending::kStopped;
  }
  return answer.type == kJpegType || answer.type == kPngType || answer.type == "image/webp";
}

ToolReport ReportOf(const render::Answer& answer) {
  ToolReport report;
  report.program = RendererProgram();
  report.ending = answer.ending == Ending::kLimited ? ToolEnding::kLimited : ToolEnding::kExited;
  report.limit = answer.detail;
  if (answer.ending == Ending::kStopped) {
    report.ending = ToolEnding::kSignalled;
    report.detail = SIGKILL;
    report.machine_error = answer.error;
  }
  return report;
}

render::Coding CodingOf(const std::string& mime) {
  return mime == kPngType ? render::Coding::kPng : render::Coding::kJpeg;
}

// Without pictures yet; `info` describes the open source.
render::Job JobOn(const posix::UniqueFd& source, const ThumbInfo& info) {
  render::Job job;
  job.source = source.get();
  job.orientation = ExifOrientation(info.GetRotate(), info.GetFlop());
  job.turns = info.GetUserRotate() % 4;
  job.limits = RendererLimits();
  return job;
}

// Whether two pictures may be one, whichever way they lie.
bool IsOfSize(const render::Answer& answer, const ThumbInfo& info) {
  const auto of_source = std::minmax({info.GetWidth(), info.GetHeight()});
  const auto of_answer = std::minmax({answer.width, answer.height});
  return of_source == of_answer;
}

}  // namespace

Rendering::Rendering(const std::string& source, const SourceVersion& version, int quality)
    : source_(source), version_(version), quality_(quality) {}

void Rendering::Expect(const ThumbnailRequest& request, const ThumbInfo& info,
                       const NewFile& new_file) {
  if (auto picture = PictureFor(request, info, quality_, new_file)) {
    expected_.push_back(*std::move(picture));
  }
}

std::optional<MadePicture> Rendering::Make(const ThumbnailRequest& request, const ThumbInfo& info,
                                           const NewFile& new_file) {
  const auto wanted = PictureFor(request, info, quality_, new_file);
  if (!wanted) return std::nullopt;
  if (made_.count(wanted->form) == 0) {
    std::vector<Picture> pictures = {*wanted};
    for (Picture& other : std::exchange(expected_, {})) {
      if (other.form != wanted->form) pictures.push_back(std::move(other));
    }
    if (!Run(pictures, info)) return std::nullopt;
  }
  auto made = made_.extract(wanted->form);
  return std::move(made.mapped());
}

void Rendering::GoOnWith(const std::string& larger) {
  if (PictureRenderer() != nullptr) larger_ = larger;
}

std::optional<Rendering::Picture> Rendering::PictureFor(const ThumbnailRequest& request,
                                                        const ThumbInfo& info, int quality,
                                                        const NewFile& new_file) {
  const std::string mime = info.GetOutputMimeType();
  if (mime == kGifType) return std::nullopt;
  const ThumbDimension box = BoxOf(request, info);
  Picture picture;
  picture.order.width = box.width_;
  picture.order.height = box.height_;
  picture.order.fill = request.avatar;
  picture.order.coding = CodingOf(mime);
  picture.order.quality = quality;
  picture.form = FormOfSize(request);
  picture.mime = mime;
  picture.new_file = new_file;
  return picture;
}

bool Rendering::Run(const std::vector<Picture>& pictures, const ThumbInfo& info) {
  end_.reset();
  is_unfinished_ = false;
  render::Renderer* const renderer = PictureRenderer();
  if (renderer == nullptr) return false;
  const posix::UniqueFd source = OpenSource(HasLarger() ? larger_ : source_);
  if (!source || (!HasLarger() && !version_.IsOf(source.get()))) return false;
  render::Job job = JobOn(source, info);
  job.takes_damaged = true;
  if (HasLarger()) {
    job.orientation = 1;
    job.turns = 0;
  }
  std::map<std::string, MadePicture> made;
  for (const Picture& picture : pictures) {
    MadePicture result = {picture.new_file(), picture.mime, Maker::kRenderer};
    render::PictureOrder order = picture.order;
    order.file = result.file->Create();
    if (order.file < 0) return false;
    job.pictures.push_back(order);
    made.emplace(picture.form, std::move(result));
  }
  const render::Answer answer = renderer->Run(job);
  if (PictureRenderer() == nullptr) return false;  // it could not be started
  if (!IsUsable(answer, info)) return false;
  for (auto& [form, picture] : made) picture.is_damaged = answer.is_damaged;
  made_ = std::move(made);
  return true;
}

bool Rendering::IsUsable(const render::Answer& answer, const ThumbInfo& info) {
  if (IsFinal(answer)) end_ = ReportOf(answer);
  if (answer.ending != Ending::kDone) return false;
  // A TIFF may begin with a small picture of what it holds.
  if (!HasLarger() && info.GetMimeType() == "image/tiff" && !IsOfSize(answer, info)) return false;
  is_unfinished_ = answer.is_damaged && !HasLarger() && !version_.IsSettled();
  return !is_unfinished_;
}

bool FitByRenderer(const ThumbInfo& info, const ThumbDimension& box, const std::string& picture,
                   const std::string& fitted) {
  render::Renderer* const renderer = PictureRenderer();
  if (renderer == nullptr) return false;
  const posix::UniqueFd source = OpenSource(picture);
  AtomicFile file(fitted);
  render::Job job = JobOn(source, info);
  render::PictureOrder order;
  order.width = box.width_;
  order.height = box.height_;
  order.coding = CodingOf(info.GetOutputMimeType());
  order.quality = vexaplatform::CurrentSettings()->service.quality;
  order.file = file.Create();
  if (!source || order.file < 0) return false;
  job.pictures = {order};
  return renderer->Run(job).ending == Ending::kDone && file.Commit();
}

}  // namespace vexathumb::service
