#ifndef VEXAPLATFORM_HTTP_TEXT_ENCODING_H_
#define VEXAPLATFORM_HTTP_TEXT_ENCODING_H_

#include <string>

namespace vexaplatform {

bool IsControl(char c);

bool IsUtf8(const std::string& text);

// Letters, digits and the characters of `plain` as they are, all other bytes as %XX.
std::string PercentEncoded(const std::string& text, const char* plain);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_TEXT_ENCODING_H_
