#ifndef VEXATHUMB_SERVICE_PICTURE_MEDIA_NAMES_H_
#define VEXATHUMB_SERVICE_PICTURE_MEDIA_NAMES_H_

#include <string>

namespace vexathumb::service {

enum class MediaKind { kNone, kPicture, kVideo };

// What an album shows and an indexer builds for, by the name alone: what the library calls images
// and videos, and further picture formats that its tools read.
MediaKind MediaKindOf(const std::string& path);

// Whether the name counts as a video's and yet says that there is only sound or text in it.
bool IsWithoutPicture(const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_MEDIA_NAMES_H_
