#include "service/serve/obtain.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include "service/build/machine_fault.h"
#include "service/build/stored_thumbnail.h"
#include "service/picture/content_type.h"
#include "service/serve/metadata_cache.h"
#include "service/store/failure_record.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {
namespace {

constexpr char kNoSource[] = "there is no such file";
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
  picture.mime = mime == "image/x-ms-bmp" ? kBmpType : mime;
  return picture;
}

// The request's source as it is now. Its inspection either succeeds, or leaves a source that only
// raw development may read, or gives the answer.
struct Inspected {
  std::optional<ThumbInfo> info;
  std::optional<Thumbnail> answer;
};

Inspected Inspect(const ThumbnailRequest& request) {
  Inspected inspected;
  struct stat before = {};
  const bool exists = stat(request.source.c_str(), &before) == 0;
  try {
    inspected.info = Describe(request);
  } catch (const Error&) {
    inspected.answer = Without(Obtained::kMissing, kNoSource);
    return inspected;
  }
  try {
    inspected.info->ExtractImgInfo(false);
    if (exists) CacheMetadata(request.source, before, *inspected.info);
  } catch (const Error& error) {
    if (error.Code() == Error::kFileNotFound) {
      inspected.answer = Without(Obtained::kMissing, "it cannot be opened");
    } else if (error.Code() != Error::kNoExifMeta) {
      inspected.answer = Without(Obtained::kUnusable, "its metadata are damaged");
    }
  } catch (const std::logic_error&) {
    inspected.answer = Without(Obtained::kUnusable, "its orientation is not a number");
  } catch (const std::runtime_error&) {
    inspected.answer = Without(Obtained::kUnusable, "its metadata are damaged");
  }
  return inspected;
}

class Obtaining {
 public:
  Obtaining(const ThumbnailRequest& request, const ObtainOptions& options)
      : request_(request), options_(options) {}

  Thumbnail Run() {
    if (auto stored = StoredByEarlierInspection()) return *stored;
    if (auto answer = AnswerAtOnce()) return *answer;
    if (options_.retry_failed) {
      RemoveFailureRecord(request_.source);
    } else if (auto failed = AnswerFromMemory()) {
      return *failed;
    }
    const SourceLock lock(options_.lock_directory, request_.source);
    // Another may have built it, or failed, while this one waited.
    if (auto answer = AnswerAtOnce()) return *answer;
    if (auto failed = AnswerFromMemory()) return *failed;
    const auto slot = BuildSlot::Take(options_.lock_directory, options_.limits);
    if (!slot) return Without(Obtained::kOverload, "too many thumbnails are being built");
    return Build();
  }

 private:
  const ThumbInfo& info() const { return *info_; }

  // What is stored most often, at the least cost.
  std::optional<Thumbnail> StoredByEarlierInspection() const {
    if (request_.label == kOriginal) return std::nullopt;
    const auto info = CachedMetadata(request_);
    return info ? Stored(request_, *info) : std::nullopt;
  }

  // Everything that answers without building, by the source as it is now.
  std::optional<Thumbnail> AnswerAtOnce() {
    Inspected inspected = Inspect(request_);
    if (inspected.answer) return inspected.answer;
    info_ = std::move(inspected.info);
    if (request_.label == kOriginal) {
      if (info().IsWebAcceptable()) return With(request_.source, info().GetMimeType());
      if (!request_.allow_smaller) {
        return Without(Obtained::kUnusable, "browsers cannot show the original");
      }
      request_.label = kExtraLarge;
      request_.box = Thumb::strThumbSizeMap_.at(kExtraLarge);
      info_->SetSize(request_.label);
      info_->SetDimension(request_.box);
    }
    if (auto stored = Stored(request_, info())) return stored;
    if (request_.only_stored) return OrStoredSmaller(Obtained::kNotStored, "it is not stored");
    if (IsVideo(request_)) {
      return OrStoredSmaller(Obtained::kUnusable, "the video has no stored screenshot");
    }
    if (!request_.avatar && !info().IsNeedConvert()) {
      return With(request_.source, info().GetMimeType());
    }
    return std::nullopt;
  }

  std::optional<Thumbnail> AnswerFromMemory() {
    const auto failure = RecordedFailure(request_.source);
    if (!failure) return std::nullopt;
    return OrStoredSmaller(Obtained::kUnusable, failure->reason);
  }

  std::optional<Thumbnail> Stored(const ThumbnailRequest& request, const ThumbInfo& info) const {
    const auto stored = FindStored(request, info);
    // What will be compacted is about to be replaced, or deleted by the one who asked for it.
    if (!stored || (stored->bmp_data && options_.build.compaction)) return std::nullopt;
    Thumbnail picture = With(stored->path, stored->mime);
    picture.turn_when_sent = stored->turn_when_sent;
    return picture;
  }

  // A stored thumbnail of the largest named size below the one asked for, where that will do.
  Thumbnail OrStoredSmaller(Obtained outcome, const std::string& reason) const {
    auto label = std::find(Thumb::size_vec.begin(), Thumb::size_vec.end(), request_.label);
    if (!request_.allow_smaller || label == Thumb::size_vec.end()) return Without(outcome, reason);
    ThumbnailRequest smaller = request_;
    ThumbInfo info = *info_;
    while (++label != Thumb::size_vec.end()) {
      smaller.label = *label;
      smaller.box = Thumb::strThumbSizeMap_.at(*label);
      info.SetSize(smaller.label);
      info.SetDimension(smaller.box);
      if (auto stored = Stored(smaller, info)) return *stored;
    }
    return Without(outcome, reason);
  }

  Thumbnail Build() {
    struct stat tried = {};
    if (stat(request_.source.c_str(), &tried) != 0) return Without(Obtained::kMissing, kNoSource);
    vexaplatform::ForgetLastToolRun();
    try {
      if (const auto built = BuildThumbnail(request_, info(), options_.build)) {
        Thumbnail picture = With(built->path, built->mime);
        picture.throw_away = built->throw_away;
        return picture;
      }
    } catch (const std::system_error&) {
      throw;
    } catch (const std::logic_error&) {
      // As good as no picture: apart from these the library throws on account of sources only.
    } catch (const std::runtime_error&) {
    }
    if (access(request_.source.c_str(), F_OK) != 0) return Without(Obtained::kMissing, kNoSource);
    if (const auto fault = FaultOfMachine(request_.source, info())) {
      return OrStoredSmaller(Obtained::kToolFault, fault->text);
    }
    RecordFailure(request_.source, tried, kNoPicture, vexaplatform::LastToolRun().program);
    return OrStoredSmaller(Obtained::kUnusable, kNoPicture);
  }

  ThumbnailRequest request_;
  const ObtainOptions& options_;
  std::optional<ThumbInfo> info_;
};

}  // namespace

Thumbnail ObtainThumbnail(const ThumbnailRequest& request, const ObtainOptions& options) {
  return Obtaining(request, options).Run();
}

}  // namespace vexathumb::service
