#include "unit/service/x3f.h"

#include <cstdint>
#include <utility>
#include <vector>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/picture_drawing.h"
#include "kit/temp_dir.h"

namespace vexathumb::service {
namespace {

constexpr uint32_t kWidth = 800;
constexpr uint32_t kHeight = 600;
constexpr uint32_t kVersion = 0x20000;

std::string Long(uint32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

std::string Wide(const std::string& text) {
  std::string bytes;
  for (const char letter : text) bytes += {letter, '\0'};
  return bytes + std::string(2, '\0');
}

std::string Properties(const std::vector<std::pair<std::string, std::string>>& properties) {
  std::string offsets;
  std::string texts;
  for (const auto& [name, value] : properties) {
    for (const std::string& text : {name, value}) {
      offsets += Long(static_cast<uint32_t>(texts.size() / 2));
      texts += Wide(text);
    }
  }
  return "SECp" + Long(kVersion) + Long(static_cast<uint32_t>(properties.size())) + Long(0) +
         Long(0) + Long(static_cast<uint32_t>(texts.size() / 2)) + offsets + texts;
}

std::string Image(const std::string& jpeg) {
  constexpr uint32_t kPreview = 2;
  constexpr uint32_t kJpeg = 18;
  return "SECi" + Long(kVersion) + Long(kPreview) + Long(kJpeg) + Long(kWidth) + Long(kHeight) +
         Long(0) + jpeg;
}

int OrientationFor(int clockwise_degrees) {
  return clockwise_degrees == 90 ? 6 : clockwise_degrees == 180 ? 3 : 1;
}

}  // namespace

void WriteX3f(const std::string& path, int clockwise_degrees) {
  const kit::TempDir dir;
  const int orientation = OrientationFor(clockwise_degrees);
  const int width = static_cast<int>(kWidth);
  const int height = static_cast<int>(kHeight);
  kit::Draw("jpeg:" + dir / "preview",
            orientation < 5 ? kit::Size{width, height} : kit::Size{height, width}, orientation,
            {"red", "lime", "blue", "yellow"});

  std::string file = "FOVb" + Long(kVersion) + std::string(20, '\0') + Long(kWidth) +
                     Long(kHeight) + Long(static_cast<uint32_t>(clockwise_degrees));
  std::string directory = "SECd" + Long(kVersion) + Long(2);
  const auto add = [&](const std::string& type, const std::string& section) {
    directory += Long(static_cast<uint32_t>(file.size())) +
                 Long(static_cast<uint32_t>(section.size())) + type;
    file += section + std::string((4 - section.size() % 4) % 4, '\0');
  };
  add("PROP", Properties({{"CAMMANUF", "SIGMA"}, {"CAMMODEL", "SIGMA DP1"}}));
  add("IMAG", Image(kit::ReadFile(dir / "preview")));
  const auto directory_offset = static_cast<uint32_t>(file.size());
  kit::WriteFile(path, file + directory + Long(directory_offset));
}

}  // namespace vexathumb::service
