#include "programs/vexathumb-web/thumbnail_handler.h"

#include <syslog.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>

#include "programs/vexathumb-web/metrics.h"
#include "programs/vexathumb-web/picture_sender.h"
#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/shared_file.h"
#include "programs/vexathumb-web/thumbnail_parameters.h"
#include "programs/vexathumb-web/workers.h"
#include "service/serve/delivery.h"
#include "service/serve/obtain.h"
#include "service/serve/upkeep.h"
#include "vexaplatform/expected_file.h"

namespace vexathumb::web {
namespace {

using service::Outcome;

// Whoever mends the machine does not tell its clients, so that none is sent away for long.
std::chrono::seconds PauseFor(const service::Thumbnail& postponed) {
  constexpr std::chrono::seconds kUnknown{60};
  constexpr std::chrono::seconds kLongest{3600};
  const auto pause = postponed.retry_after.count() > 0 ? postponed.retry_after : kUnknown;
  return std::min(pause, kLongest);
}

Problem ProblemOf(const service::Thumbnail& thumbnail) {
  switch (thumbnail.outcome) {
    case Outcome::kMissing:
    case Outcome::kNotStored:
      return NotFound();
    case Outcome::kUnusable:
      return {415, "No thumbnail can be made of this file: " + thumbnail.cause.text + "."};
    case Outcome::kOverload:
      return {503, "Too many thumbnails are being made at the moment."};
    case Outcome::kSourceChanged:
      return {503, "The file is being written at the moment."};
    case Outcome::kPostponed:
    case Outcome::kPicture:
      break;
  }
  if (!thumbnail.is_known) syslog(LOG_ERR, "no thumbnail: %s", thumbnail.cause.text.c_str());
  return {503, "This machine cannot make the thumbnail at the moment.", PauseFor(thumbnail)};
}

service::ObtainOptions OptionsFrom(const vexaplatform::Settings& settings) {
  service::ObtainOptions options = service::ObtainOptionsFrom(settings.service);
  options.patience = std::chrono::seconds(settings.service.patience);
  options.count_workers = [directory = settings.service.lock_dir] {
    return CountWorkers(directory);
  };
  return options;
}

}  // namespace

void SendThumbnail(const Request& request, const vexaplatform::Settings& settings) {
  service::ThumbnailRequest asked = ReadThumbnailParameters(request.query);
  const SharedFile source = FindSharedFile(settings, request.path);
  if (!S_ISREG(source.file.status.st_mode)) throw NotFound();
  asked.source = source.file.path;
  asked.found = source.file.status;
  asked.any_share = asked.any_share || source.share.indexed;
  service::ObtainOptions options = OptionsFrom(settings);
  options.free_box_store = source.share.path;
  const service::Thumbnail thumbnail = service::ObtainThumbnail(asked, options);
  CountThumbnail(settings.service.lock_dir, asked.source, thumbnail);
  service::NoteFreeBoxes(source.share.path, thumbnail.free_box_bytes);
  if (thumbnail.outcome != Outcome::kPicture) throw ProblemOf(thumbnail);
  std::optional<vexaplatform::ExpectedFile> expected;
  // What was made for this request has a name that nobody knows.
  if (thumbnail.owner != service::Owner::kCaller) {
    const auto status =
        StatusToDeliver(thumbnail, source.file.status, {source.share.path, settings.root});
    if (!status) throw NotFound();
    expected.emplace(thumbnail.path, *status);
  }
  SendPicture(thumbnail, asked, request);
}

}  // namespace vexathumb::web
