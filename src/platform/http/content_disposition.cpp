#include "platform/http/content_disposition.h"

#include <algorithm>
#include <cstring>

#include "platform/http/text_encoding.h"

namespace vexaplatform {
namespace {

bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

// What browsers take literally in a quoted string, everything else as "_".
std::string PlainName(std::string name) {
  std::replace_if(
      name.begin(), name.end(),
      [](char c) { return IsControl(c) || !IsAscii(c) || strchr("\"\\/%", c) != nullptr; }, '_');
  return name;
}

}  // namespace

std::string ContentDisposition(const std::string& name) {
  constexpr char kPlain[] = "!#$&+-.^_`|~";  // of RFC 8187's attr-char
  const std::string plain = PlainName(name);
  std::string value = "inline; filename=\"" + plain + "\"";
  // A name in another character set has no true form here.
  if (plain != name && IsUtf8(name)) value += "; filename*=UTF-8''" + PercentEncoded(name, kPlain);
  return value;
}

}  // namespace vexaplatform
