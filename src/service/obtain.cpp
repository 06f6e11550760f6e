#include "service/obtain.h"

#include <algorithm>
#include <stdexcept>

#include "service/failure_memory.h"
#include "service/stored_thumbnail.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {
namespace {

constexpr char kNoPicture[] = "it is not a picture that the tools can read";

Thumbnail Without(Obtained outcome, const std::string& reason) {
  Thumbnail none;
  none.outcome = outcome;
  none.reason = reason;
  return none;
}

Thumbnail With(const std::string& path, const std::string& mime) {
  Thumbnail picture;
  picture.path = path;
  picture.mime = mime == "image/x-ms-bmp" ? "image/bmp" : mime;
  return picture;
}

bool IsVideo(const ThumbnailRequest& request) {
  return IsSupportVideo(request.source.substr(request.source.rfind('/') + 1));
}

std::optional<Thumbnail> Stored(const ThumbnailRequest& request, const ThumbInfo& info) {
  const auto stored = FindStored(request, info);
  if (!stored) return std::nullopt;
  Thumbnail picture = With(stored->path, stored->mime);
  picture.turn_when_sent = stored->turn_when_sent;
  return picture;
}

// A stored thumbnail of the largest named size below the one asked for.
std::optional<Thumbnail> StoredSmaller(ThumbnailRequest request) {
  auto label = std::find(Thumb::size_vec.begin(), Thumb::size_vec.end(), request.label);
  if (!request.allow_smaller || label == Thumb::size_vec.end()) return std::nullopt;
  while (++label != Thumb::size_vec.end()) {
    request.label = *label;
    request.box = Thumb::strThumbSizeMap_.at(*label);
    ThumbInfo info = Describe(request);
    info.ExtractImgInfo(false);
    if (auto stored = Stored(request, info)) return stored;
  }
  return std::nullopt;
}

// The request's source as it is now. Its inspection either succeeds, or leaves a source that only
// raw development may read, or gives the answer.
struct Inspected {
  std::optional<ThumbInfo> info;
  std::optional<Thumbnail> answer;
};

Inspected Inspect(const ThumbnailRequest& request) {
  Inspected inspected;
  try {
    inspected.info = Describe(request);
  } catch (const Error&) {
    inspected.answer = Without(Obtained::kMissing, "there is no such file");
    return inspected;
  }
  try {
    inspected.info->ExtractImgInfo(false);
  } catch (const Error& error) {
    if (error.Code() == Error::kFileNotFound) {
      inspected.answer = Without(Obtained::kMissing, "it cannot be opened");
    } else if (error.Code() != Error::kNoExifMeta) {
      inspected.answer = Without(Obtained::kUnusable, "its metadata are damaged");
    }
  } catch (const std::logic_error&) {
    inspected.answer = Without(Obtained::kUnusable, "its orientation is not a number");
  }
  return inspected;
}

// Everything that answers without building.
std::optional<Thumbnail> AnswerAtOnce(const ThumbnailRequest& request, const ThumbInfo& info) {
  if (request.label == kOriginal) {
    if (info.IsWebAcceptable()) return With(request.source, info.GetMimeType());
    if (auto smaller = StoredSmaller(request)) return smaller;
    return Without(Obtained::kUnusable, "browsers cannot show the original");
  }
  if (auto stored = Stored(request, info)) return stored;
  if (request.only_stored || IsVideo(request)) {
    if (auto smaller = StoredSmaller(request)) return smaller;
    return request.only_stored ? Without(Obtained::kNotStored, "it is not stored")
                               : Without(Obtained::kUnusable, "the video has no stored screenshot");
  }
  if (!request.avatar && !info.IsNeedConvert()) return With(request.source, info.GetMimeType());
  return std::nullopt;
}

Thumbnail Build(const ThumbnailRequest& request, const ThumbInfo& info,
                const ObtainOptions& options) {
  std::optional<BuiltPicture> built;
  vexaplatform::ForgetLastToolRun();
  try {
    built = BuildThumbnail(request, info, options.build);
  } catch (const std::exception&) {
    // As good as no picture: the library throws on sources only.
  }
  if (built) {
    Thumbnail picture = With(built->path, built->mime);
    picture.throw_away = built->throw_away;
    return picture;
  }
  const vexaplatform::ToolReport tool = vexaplatform::LastToolRun();
  if (tool.ending == vexaplatform::ToolEnding::kNotStarted) {
    return Without(Obtained::kToolFault, "the program " + tool.program + " cannot be started");
  }
  if (auto smaller = StoredSmaller(request)) return *smaller;
  RememberFailure(request.source, kNoPicture, tool.program);
  return Without(Obtained::kUnusable, kNoPicture);
}

}  // namespace

Thumbnail ObtainThumbnail(const ThumbnailRequest& request, const ObtainOptions& options) {
  Inspected inspected = Inspect(request);
  if (inspected.answer) return *inspected.answer;
  if (auto answer = AnswerAtOnce(request, *inspected.info)) return *answer;
  if (options.retry_failed) {
    ForgetFailure(request.source);
  } else if (const auto failure = RememberedFailure(request.source)) {
    return Without(Obtained::kUnusable, failure->reason);
  }

  const SourceLock lock(options.lock_directory, request.source);
  // Another may have built it, or failed, while this one waited.
  inspected = Inspect(request);
  if (inspected.answer) return *inspected.answer;
  if (auto answer = AnswerAtOnce(request, *inspected.info)) return *answer;
  if (const auto failure = RememberedFailure(request.source)) {
    return Without(Obtained::kUnusable, failure->reason);
  }
  const auto turn = BuildTurn::Take(options.lock_directory, options.limits);
  if (!turn) return Without(Obtained::kOverload, "too many thumbnails are being built");
  return Build(request, *inspected.info, options);
}

}  // namespace vexathumb::service
