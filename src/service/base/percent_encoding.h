#ifndef VEXATHUMB_SERVICE_BASE_PERCENT_ENCODING_H_
#define VEXATHUMB_SERVICE_BASE_PERCENT_ENCODING_H_

#include <optional>
#include <string>
#include <string_view>

namespace vexathumb::service {

// The bytes behind the %XX of `text`, once. Nothing when a "%" is not followed by two hexadecimal
// digits.
std::optional<std::string> PercentDecode(std::string_view text);

// Everything but letters, digits and what is `kept` as %XX, slashes included.
std::string PercentEncode(std::string_view bytes, std::string_view kept = "-._~");

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_PERCENT_ENCODING_H_
