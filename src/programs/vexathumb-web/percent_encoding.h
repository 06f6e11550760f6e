#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PERCENT_ENCODING_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PERCENT_ENCODING_H_

#include <optional>
#include <string>
#include <string_view>

namespace vexathumb::web {

// The bytes behind the %XX of `text`, once. Nothing when a "%" is not followed by two hexadecimal
// digits.
std::optional<std::string> PercentDecode(std::string_view text);

// Everything but letters, digits and "-._~" as %XX, slashes included.
std::string PercentEncode(std::string_view bytes);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_PERCENT_ENCODING_H_
