#ifndef VEXATHUMB_SERVICE_SERVE_PNG_TEXT_H_
#define VEXATHUMB_SERVICE_SERVE_PNG_TEXT_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vexathumb::service {

// Keywords, of 1 to 79 bytes, and texts; neither holds a zero byte.
using PngTexts = std::vector<std::pair<std::string, std::string>>;

// The bytes of a PNG with texts (tEXt chunks) before its pixels. Nothing when they do not begin as
// a PNG does.
std::optional<std::string> WithTexts(const std::string& png, const PngTexts& texts);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_PNG_TEXT_H_
