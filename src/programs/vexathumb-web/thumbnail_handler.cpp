#include "programs/vexathumb-web/thumbnail_handler.h"

#include <syslog.h>

#include <chrono>
#include <string>

#include "programs/vexathumb-web/picture_sender.h"
#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/shared_file.h"
#include "programs/vexathumb-web/thumbnail_parameters.h"
#include "programs/vexathumb-web/workers.h"
#include "service/serve/obtain.h"

namespace vexathumb::web {
namespace {

using service::Outcome;

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
    case Outcome::kToolFault:
    case Outcome::kPicture:
      break;
  }
  syslog(LOG_ERR, "no thumbnail: %s", thumbnail.cause.text.c_str());
  return {500, "This machine cannot make thumbnails at the moment."};
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
  asked.any_share = asked.any_share || source.share.indexed;
  const service::Thumbnail thumbnail = service::ObtainThumbnail(asked, OptionsFrom(settings));
  if (thumbnail.outcome != Outcome::kPicture) throw ProblemOf(thumbnail);
  SendPicture(thumbnail, asked, request);
}

}  // namespace vexathumb::web
