#include "service/build/screenshot.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include "service/build/thumbnail_form.h"
#include "service/picture/content_type.h"
#include "service/picture/inspection.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

constexpr char kFfmpegThumbnailer[] = "/usr/bin/ffmpegthumbnailer";
constexpr char kFfmpeg[] = "/usr/bin/ffmpeg";

// What holds a video by itself. What names other files, a playlist or a list of parts, is none of
// these, whatever it is called.
constexpr char kContainers[] =
    "mov,mp4,m4a,3gp,3g2,mj2,matroska,webm,avi,asf,flv,mpeg,mpegts,mpegvideo,m4v,h264,hevc,dv,rm,"
    "ogg,mxf,wtv,aac,ac3,amr,mp3";

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
  const char* const argv[] = {kFfmpeg,      "-nostdin",
                              "-v",         "quiet",
                              "-y",         "-protocol_whitelist",
                              "file",       "-format_whitelist",
                              kContainers,  "-i",
                              from.c_str(), "-an",
                              "-sn",        "-vf",
                              "thumbnail",  "-frames:v",
                              "1",          "-q:v",
                              "3",          "-f",
                              "mjpeg",      to.c_str(),
                              nullptr};
  return VLIBCExecv(kFfmpeg, argv, 1) == 0;
}

}  // namespace

bool IsNoVideo(const std::string& path) {
  constexpr size_t kHead = 8;
  char head[kHead] = {};
  const posix::UniqueFd file = OpenSource(path);  // which does not wait
  if (!file || pread(file.get(), head, kHead, 0) != static_cast<ssize_t>(kHead)) return false;
  const std::string start(head, kHead);
  for (const char* box : {"ftyp", "moov", "mdat", "free", "skip", "wide", "pnot"}) {
    if (start.compare(4, 4, box) == 0) return false;
  }
  if (start.compare(0, 4, "RIFF") == 0) return false;
  const size_t mark = start.compare(0, 3, "\xef\xbb\xbf") == 0 ? 3 : 0;  // of text in UTF-8
  return std::all_of(start.begin() + static_cast<std::ptrdiff_t>(mark), start.end(), [](char c) {
    return (c >= ' ' && c <= '~') || c == '\n' || c == '\r' || c == '\t';
  });
}

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
