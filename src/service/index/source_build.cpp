#include "service/index/source_build.h"

#include "service/index/picture_work.h"
#include "service/index/screenshot_work.h"
#include "service/picture/media_names.h"

namespace vexathumb::service {

SourceBuildOptions SourceBuildOptionsFrom(const vexaplatform::ServiceSettings& settings) {
  SourceBuildOptions options;
  options.build = BuildOptionsFrom(settings);
  options.lock_directory = settings.lock_dir;
  options.limits = BuildLimitsFrom(settings);
  return options;
}

SourceReport BuildSource(const std::string& source, const SourceBuildOptions& options) {
  if (MediaKindOf(source) != MediaKind::kVideo) return PictureWork(source, options).Run();
  if (!IsWithoutPicture(source)) return ScreenshotWork(source, options).Run();
  SourceReport nothing_to_do;
  nothing_to_do.source = source;
  return nothing_to_do;
}

}  // namespace vexathumb::service
