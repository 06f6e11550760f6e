#include "programs/vexathumb-web/thumbnail_handler.h"

#include <syslog.h>

#include <string>

#include "programs/vexathumb-web/picture_sender.h"
#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/shared_file.h"
#include "programs/vexathumb-web/thumbnail_parameters.h"
#include "service/build/build_settings.h"
#include "service/serve/obtain.h"

namespace vexathumb::web {
namespace {

using service::Obtained;

service::ObtainOptions OptionsFrom(const vexaplatform::ServiceSettings& settings) {
  service::ObtainOptions options;
  options.lock_directory = settings.lock_dir;
  options.limits = service::BuildLimitsFrom(settings);
  options.build = service::BuildOptionsFrom(settings);
  return options;
}

Problem ProblemOf(const service::Thumbnail& thumbnail) {
  switch (thumbnail.outcome) {
    case Obtained::kMissing:
    case Obtained::kNotStored:
      return NotFound();
    case Obtained::kUnusable:
      return {415, "No thumbnail can be made of this file: " + thumbnail.reason + "."};
    case Obtained::kOverload:
      return {503, "Too many thumbnails are being made at the moment."};
    case Obtained::kToolFault:
    case Obtained::kPicture:
      break;
  }
  syslog(LOG_ERR, "no thumbnail: %s", thumbnail.reason.c_str());
  return {500, "This machine cannot make thumbnails at the moment."};
}

}  // namespace

void SendThumbnail(const Request& request, const vexaplatform::Settings& settings) {
  service::ThumbnailRequest asked = ReadThumbnailParameters(request.query);
  const SharedFile source = FindSharedFile(settings, request.path);
  if (!S_ISREG(source.file.status.st_mode)) throw NotFound();
  asked.source = source.file.path;
  asked.any_share = asked.any_share || source.share.indexed;
  const service::Thumbnail thumbnail =
      service::ObtainThumbnail(asked, OptionsFrom(settings.service));
  if (thumbnail.outcome != Obtained::kPicture) throw ProblemOf(thumbnail);
  SendPicture(thumbnail, asked, request);
}

}  // namespace vexathumb::web
