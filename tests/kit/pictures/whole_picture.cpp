#include "kit/pictures/whole_picture.h"

#include <cstdint>
#include <filesystem>

#include "kit/files.h"

namespace vexathumb::kit {
namespace {

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Cameras pad their previews behind the end. The end of an embedded thumbnail lies before the
// scans.
bool IsWholeJpeg(const std::string& bytes) {
  const size_t end = bytes.rfind("\xff\xd9");
  const size_t scan = bytes.rfind("\xff\xda");
  return end != std::string::npos && scan != std::string::npos && scan < end;
}

bool IsWholeBmp(const std::string& bytes) {
  constexpr size_t kLengthAt = 2;
  constexpr size_t kTypeAndSize = 6;
  if (bytes.size() < kTypeAndSize) return false;
  size_t length = 0;
  for (size_t i = 0; i < 4; ++i) {
    length |= size_t{static_cast<uint8_t>(bytes[kLengthAt + i])} << (8 * i);
  }
  return bytes.size() >= length;
}

}  // namespace

bool IsWholePicture(const std::string& bytes) {
  if (StartsWith(bytes, "\xff\xd8")) return IsWholeJpeg(bytes);
  if (StartsWith(bytes, "\x89PNG")) return EndsWith(bytes, "IEND\xae\x42\x60\x82");
  if (StartsWith(bytes, "GIF8")) return EndsWith(bytes, ";");
  return StartsWith(bytes, "BM") && IsWholeBmp(bytes);
}

std::vector<std::string> PartialThumbnails(const std::string& folder) {
  namespace fs = std::filesystem;
  std::vector<std::string> partial;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    const bool is_thumbnail = entry.is_regular_file() && StartsWith(name, "VEXAFILE_THUMB");
    if (is_thumbnail && !IsWholePicture(ReadFile(entry.path()))) partial.push_back(entry.path());
  }
  return partial;
}

}  // namespace vexathumb::kit
