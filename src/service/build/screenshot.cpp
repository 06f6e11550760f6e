#include "service/build/screenshot.h"

#include <unistd.h>

#include "service/build/thumbnail_form.h"
#include "service/picture/content_type.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

constexpr char kFfmpegThumbnailer[] = "/usr/bin/ffmpegthumbnailer";
constexpr char kFfmpeg[] = "/usr/bin/ffmpeg";

bool IsInstalled(const char* program) { return access(program, X_OK) == 0; }

bool RunFfmpegThumbnailer(const std::string& video, const std::string& target) {
  // Of the video's own size: asked for another, it enlarges.
  const char* const argv[] = {kFfmpegThumbnailer,
                              "-i",
                              video.c_str(),
                              "-o",
                              target.c_str(),
                              "-s",
                              "0",
                              "-q",
                              "8",
                              "-c",
                              "jpeg",
                              nullptr};
  return VLIBCExecv(kFfmpegThumbnailer, argv, 1) == 0;
}

bool RunFfmpeg(const std::string& video, const std::string& target) {
  const std::string from = "file:" + video;
  const std::string to = "file:" + target;  // so that nothing in the names is a pattern or protocol
  const char* const argv[] = {
      kFfmpeg,     "-nostdin",  "-v", "quiet", "-y", "-i", from.c_str(), "-an",      "-sn",  "-vf",
      "thumbnail", "-frames:v", "1",  "-q:v",  "3",  "-f", "mjpeg",      to.c_str(), nullptr};
  return VLIBCExecv(kFfmpeg, argv, 1) == 0;
}

}  // namespace

bool CanMakeScreenshots() { return IsInstalled(kFfmpegThumbnailer) || IsInstalled(kFfmpeg); }

bool MakeScreenshot(const std::string& video, const std::string& target) {
  const bool is_made = (IsInstalled(kFfmpegThumbnailer) && RunFfmpegThumbnailer(video, target)) ||
                       (IsInstalled(kFfmpeg) && RunFfmpeg(video, target));
  if (!is_made || ContentTypeOf(target) != kJpegType) return false;
  ThumbnailRequest largest;
  largest.label = kExtraLarge;
  largest.box = Thumb::strThumbSizeMap_.at(kExtraLarge);
  return FitIntoBox(largest, target);
}

}  // namespace vexathumb::service
