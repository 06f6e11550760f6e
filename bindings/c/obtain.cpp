#include "service/serve/obtain.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "bindings/c/no_throw.h"
#include "bindings/c/picture.h"
#include "bindings/c/request.h"
#include "service/base/atomic_file.h"
#include "service/base/machine_error.h"
#include "service/base/share_paths.h"
#include "service/picture/inspection.h"
#include "service/serve/delivery.h"
#include "service/serve/upkeep.h"
#include "vexaplatform/expected_file.h"
#include "vexaplatform/quiet_tools.h"
#include "vexaplatform/settings.h"

namespace {

namespace service = vexathumb::service;
using service::Cause;
using service::Outcome;
using service::Owner;
using service::Thumbnail;
using vexathumb::c::NoThrow;

// A call that ends without a picture.
struct Failure {
  VexathumbStatus status;
  Cause cause;
  std::chrono::seconds retry_after{0};
};

VexathumbStatus StatusOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::kPicture:
      return VEXATHUMB_OK;
    case Outcome::kMissing:
      return VEXATHUMB_MISSING;
    case Outcome::kNotStored:
      return VEXATHUMB_NOT_STORED;
    case Outcome::kUnusable:
      return VEXATHUMB_UNUSABLE;
    case Outcome::kSourceChanged:
      return VEXATHUMB_SOURCE_CHANGED;
    case Outcome::kOverload:
      return VEXATHUMB_OVERLOAD;
    case Outcome::kPostponed:
      break;
  }
  return VEXATHUMB_POSTPONED;
}

VexathumbOrigin OriginOf(const Thumbnail& thumbnail) {
  if (thumbnail.owner == Owner::kSource) return VEXATHUMB_ORIGIN_SOURCE;
  if (thumbnail.owner == Owner::kCaller) return VEXATHUMB_ORIGIN_UNSTORED;
  if (thumbnail.from == service::kFromPixdeck) return VEXATHUMB_ORIGIN_PIXDECK;
  if (thumbnail.from == service::kFromReeldeck) return VEXATHUMB_ORIGIN_REELDECK;
  return VEXATHUMB_ORIGIN_DOCDECK;
}

// One call: the same settings from beginning to end, and the request's source as it is now.
class Asking {
 public:
  explicit Asking(const VexathumbRequest& request)
      : settings_(vexaplatform::CurrentSettings()), asked_(request.asked) {
    if (!request.has_size) {
      throw Failure{VEXATHUMB_INVALID, {"no size and no box is asked for", "set one"}};
    }
    options_ = service::ObtainOptionsFrom(settings_->service);
    options_.patience =
        std::chrono::seconds(request.patience.value_or(settings_->service.patience));
    if (*options_.patience < std::chrono::seconds(0)) options_.patience.reset();
    options_.use_failure_record = !request.try_again;
    if (request.share) {
      FindInShare(request);
    } else if (const auto* share = service::ShareOf(*settings_, asked_.source)) {
      options_.free_box_store = share->path;
    }
  }

  const service::ThumbnailRequest& asked() const { return asked_; }
  const service::ObtainOptions& options() const { return options_; }

  // Which file the answer must be; nothing where it may be any.
  std::optional<struct stat> Expected(const Thumbnail& thumbnail) const {
    if (!found_ || thumbnail.owner == Owner::kCaller) return std::nullopt;
    auto status = service::StatusToDeliver(thumbnail, found_->status,
                                           {options_.free_box_store, settings_->root});
    if (!status) throw Failure{VEXATHUMB_MISSING, service::cause::kMissingSource};
    return status;
  }

 private:
  void FindInShare(const VexathumbRequest& request) {
    const auto* const share = service::FindShare(*settings_, *request.share);
    errno = 0;
    if (share != nullptr && !request.path_in_share.empty()) {
      found_ = service::FindInShare(*share, request.path_in_share);
    }
    if (!found_ && share != nullptr && service::IsMachineError(errno)) {
      throw Failure{VEXATHUMB_POSTPONED,
                    {"the file cannot be read at the moment", "try again later"}};
    }
    if (!found_ || !S_ISREG(found_->status.st_mode)) {
      throw Failure{VEXATHUMB_MISSING, service::cause::kMissingSource};
    }
    asked_.source = found_->path;
    asked_.found = found_->status;
    asked_.any_share = asked_.any_share || share->indexed;
    options_.free_box_store = share->path;
  }

  std::shared_ptr<const vexaplatform::Settings> settings_;
  service::ThumbnailRequest asked_;
  service::ObtainOptions options_;
  std::optional<service::SharedPath> found_;  // where somebody may put another file in its place
};

[[noreturn]] void Refuse(const Thumbnail& none) {
  throw Failure{StatusOf(none.outcome), none.cause, none.retry_after};
}

// Turns what is stored once for all turns, into a file of the caller's.
void Turn(Thumbnail* thumbnail, const std::string& source) {
  const std::string turned = service::TemporaryFor("/var/tmp/picture.jpg");
  DeliverToFile(*thumbnail, source, turned);
  thumbnail->path = turned;
  thumbnail->owner = Owner::kCaller;
  thumbnail->turns_to_come = 0;
}

// Null where the file has gone since it was found: others may make it anew, or make room.
std::unique_ptr<VexathumbPicture> Open(const Asking& asking, Thumbnail thumbnail) {
  auto picture = std::make_unique<VexathumbPicture>();
  picture->path = thumbnail.path;
  picture->is_temporary = thumbnail.owner == Owner::kCaller;
  picture->mime = thumbnail.mime;
  picture->origin = OriginOf(thumbnail);
  picture->is_damaged = IsDamaged(thumbnail, asking.asked().source);
  auto expected = asking.Expected(thumbnail);
  if (thumbnail.turns_to_come != 0) {
    std::optional<vexaplatform::ExpectedFile> only;
    if (expected) only.emplace(thumbnail.path, *expected);
    Turn(&thumbnail, asking.asked().source);
    picture->path = thumbnail.path;
    picture->is_temporary = true;
    expected.reset();
  }
  picture->file = service::OpenSource(picture->path);
  if (!picture->file && errno == ENOENT) return nullptr;
  struct stat status = {};
  if (!picture->file || fstat(picture->file.get(), &status) != 0) {
    throw std::system_error(errno, std::generic_category());
  }
  const bool is_other =
      expected && (expected->st_dev != status.st_dev || expected->st_ino != status.st_ino);
  if (!S_ISREG(status.st_mode) || is_other) return nullptr;
  picture->bytes = static_cast<uint64_t>(status.st_size);
  return picture;
}

void Note(VexathumbRequest* request, const Cause& cause, std::chrono::seconds retry_after) {
  request->message = cause.text;
  request->advice = cause.advice;
  request->retry_after = retry_after;
}

// Runs one call for a request and keeps why it failed.
template <typename Call>
VexathumbStatus Answer(VexathumbRequest* request, Call call) noexcept {
  return NoThrow([&] {
    const vexaplatform::SettingsHold hold;
    const vexaplatform::QuietTools quiet;
    Note(request, {}, std::chrono::seconds(0));
    try {
      call();
      return VEXATHUMB_OK;
    } catch (const Failure& failure) {
      Note(request, failure.cause, failure.retry_after);
      return failure.status;
    } catch (const service::TurnFailed&) {
      Note(request, {"its stored thumbnail cannot be turned", "ask for it without turns"}, {});
      return VEXATHUMB_UNUSABLE;
    } catch (const std::system_error& error) {
      Note(request, {error.code().message(), "check the settings, and what doctor says"}, {});
      return VEXATHUMB_SYSTEM;
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      Note(request, {error.what(), ""}, {});
      return VEXATHUMB_SYSTEM;
    }
  });
}

}  // namespace

VexathumbStatus vexathumb_request_choose(VexathumbRequest* request, VexathumbOrigin* origin) {
  if (request == nullptr || origin == nullptr) return VEXATHUMB_INVALID;
  return Answer(request, [&] {
    const Asking asking(*request);
    const auto chosen = AnswerWithoutBuilding(asking.asked(), asking.options());
    if (chosen && chosen->outcome != Outcome::kPicture) Refuse(*chosen);
    *origin = chosen ? OriginOf(*chosen) : VEXATHUMB_ORIGIN_TO_BE_MADE;
  });
}

VexathumbStatus vexathumb_request_obtain(VexathumbRequest* request, VexathumbPicture** picture) {
  if (request == nullptr || picture == nullptr) return VEXATHUMB_INVALID;
  return Answer(request, [&] {
    const Asking asking(*request);
    constexpr int kTries = 2;
    std::unique_ptr<VexathumbPicture> obtained;
    for (int i = 0; i < kTries && obtained == nullptr; ++i) {
      Thumbnail thumbnail = ObtainThumbnail(asking.asked(), asking.options());
      service::NoteFreeBoxes(asking.options().free_box_store, thumbnail.free_box_bytes);
      if (thumbnail.outcome != Outcome::kPicture) Refuse(thumbnail);
      obtained = Open(asking, std::move(thumbnail));
    }
    if (obtained == nullptr) throw Failure{VEXATHUMB_SOURCE_CHANGED, service::cause::kBeingWritten};
    *picture = obtained.release();
  });
}
