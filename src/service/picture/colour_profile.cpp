#include "service/picture/colour_profile.h"

#include <unistd.h>

#include <string>
#include <string_view>

namespace vexathumb::service {
namespace {

using std::string_view_literals::operator""sv;

constexpr auto kStartOfImage = "\xff\xd8"sv;
constexpr auto kProfile = "ICC_PROFILE\0"sv;

std::string ReadAt(int file, off_t position, size_t size) {
  std::string bytes(size, '\0');
  const ssize_t count = pread(file, bytes.data(), size, position);
  bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
  return bytes;
}

// In the text of its description, which is of bytes or of UTF-16.
bool CallsItselfSrgb(const std::string& profile) {
  return profile.find("sRGB"sv) != std::string::npos ||
         profile.find("s\0R\0G\0B"sv) != std::string::npos;
}

}  // namespace

bool HasOwnColours(int file) {
  constexpr unsigned char kMarker = 0xff;
  constexpr unsigned char kApplication2 = 0xe2;
  constexpr unsigned char kStartOfScan = 0xda;
  constexpr int kMostSegments = 256;
  if (file < 0 || ReadAt(file, 0, kStartOfImage.size()) != kStartOfImage) return false;
  off_t position = static_cast<off_t>(kStartOfImage.size());
  for (int i = 0; i < kMostSegments; ++i) {
    const std::string head = ReadAt(file, position, 4 + kProfile.size());
    if (head.size() < 4 + kProfile.size()) return false;
    const auto byte = [&head](size_t at) { return static_cast<unsigned char>(head[at]); };
    if (byte(0) != kMarker || byte(1) == kStartOfScan) return false;
    const size_t length = size_t{byte(2)} * 256 + byte(3);
    if (byte(1) == kApplication2 && head.substr(4) == kProfile) {
      return !CallsItselfSrgb(ReadAt(file, position + 4, length));
    }
    position += static_cast<off_t>(2 + length);
  }
  return false;
}

}  // namespace vexathumb::service
