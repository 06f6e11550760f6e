#ifndef VEXATHUMB_SERVICE_BUILD_REENCODING_H_
#define VEXATHUMB_SERVICE_BUILD_REENCODING_H_

#include <string>

namespace vexathumb::service {

// Both replace a finished thumbnail under the same name, by a rename, with the same mode and
// modification time. On failure it stays as it was.

// Re-encodes a thumbnail that holds BMP data, as the fast JPEG path leaves it, as JPEG of `quality`
// (1 to 100) with cjpeg. True when the file is no BMP data any more.
bool Compact(const std::string& path, int quality);

// Re-encodes a picture of any type that convert reads as `type`, its first frame. Where the tools
// find no extension that they know, they write the source's own format.
bool Reencode(const std::string& path, const std::string& type);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_REENCODING_H_
