#ifndef VEXATHUMB_SERVICE_BUILD_ANIMATION_H_
#define VEXATHUMB_SERVICE_BUILD_ANIMATION_H_

#include <string>

#include "service/picture/source_version.h"
#include "thumb/thumb_info.h"

namespace vexathumb::service {

// Makes animations quickly; without it, and where it refuses, `convert` makes them.
constexpr char kGifsicle[] = "/usr/bin/gifsicle";

// Writes all frames of the animated GIF `source` to `path`, where nothing lies, fitted and turned
// as `info` says. Their timing, looping and transparency stay, and none are enlarged. Of a version
// that is named gifsicle reads that very file and no other. On failure nothing is left.
bool MakeAnimation(const ThumbInfo& info, const std::string& source, const std::string& path,
                   const SourceVersion* version = nullptr);

// The same of a larger thumbnail of that source, turned the same way, that is open as `larger` and
// has not been read yet: much faster, and looks the same. By gifsicle alone, false without it.
bool MakeSmallerAnimation(const ThumbInfo& info, int larger, const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_ANIMATION_H_
