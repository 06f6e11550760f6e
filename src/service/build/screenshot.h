#ifndef VEXATHUMB_SERVICE_BUILD_SCREENSHOT_H_
#define VEXATHUMB_SERVICE_BUILD_SCREENSHOT_H_

#include <string>

namespace vexathumb::service {

// Whether the file at `path` is text, by its first bytes: a playlist, as a rule, which names other
// files to whatever plays it. False when it cannot be read.
bool IsNoVideo(const std::string& path);

// Whether one of the programs is installed that make screenshots of videos.
bool CanMakeScreenshots();

// Writes a picture out of a video as a JPEG of at most 1280 pixels a side to `target`, with
// ffmpegthumbnailer or ffmpeg, whichever is installed. False when there is no such file afterwards.
// Exceptions of the library pass through.
bool MakeScreenshot(const std::string& video, const std::string& target);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_SCREENSHOT_H_
