#include "platform/http/text_encoding.h"

#include <iconv.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace vexaplatform {
namespace {

// Whatever the host's locale is.
bool IsLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

}  // namespace

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

bool IsUtf8(const std::string& text) {
  iconv_t converter = iconv_open("UCS-4LE", "UTF-8");
  if (reinterpret_cast<std::intptr_t>(converter) == -1) return false;
  std::string source = text;
  std::vector<char> converted(4 * text.size());
  char* from = source.data();
  size_t left = source.size();
  char* to = converted.data();
  size_t room = converted.size();
  const bool valid = iconv(converter, &from, &left, &to, &room) != static_cast<size_t>(-1);
  iconv_close(converter);
  return valid;
}

std::string PercentEncoded(const std::string& text, const char* plain) {
  std::string encoded;
  for (const char c : text) {
    if (IsLetterOrDigit(c) || (c != '\0' && strchr(plain, c) != nullptr)) {
      encoded += c;
    } else {
      char hex[4];
      snprintf(hex, sizeof(hex), "%%%02X", static_cast<unsigned char>(c));
      encoded += hex;
    }
  }
  return encoded;
}

}  // namespace vexaplatform
