#ifndef VEXATHUMB_SERVICE_PICTURE_CONTENT_TYPE_H_
#define VEXATHUMB_SERVICE_PICTURE_CONTENT_TYPE_H_

#include <optional>
#include <string>

namespace vexathumb::service {

// The types that thumbnails have and that browsers show.
constexpr char kJpegType[] = "image/jpeg";
constexpr char kPngType[] = "image/png";
constexpr char kGifType[] = "image/gif";
constexpr char kBmpType[] = "image/bmp";

// Which of these types a file has by its first bytes, whatever its name says; empty for any other
// type. Nothing when it is no regular file or cannot be read.
std::optional<std::string> ContentTypeOf(const std::string& path);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_CONTENT_TYPE_H_
