#include "kit/pictures/pixels.h"

#include <sstream>
#include <stdexcept>

#include "kit/run_tool.h"

namespace vexathumb::kit {
namespace {

constexpr char kConvert[] = "/usr/bin/convert";
constexpr int kAlpha = 3;

struct NamedColour {
  const char* name;
  int rgb[3];
};
constexpr NamedColour kColours[] = {
    {"red", {255, 0, 0}},       {"green", {0, 255, 0}},  {"blue", {0, 0, 255}},
    {"yellow", {255, 255, 0}},  {"cyan", {0, 255, 255}}, {"magenta", {255, 0, 255}},
    {"white", {255, 255, 255}}, {"black", {0, 0, 0}},    {"gray", {128, 128, 128}},
};

std::string ColourName(const Raster& raster, int x, int y) {
  if (raster.At(x, y, kAlpha) < 128) return "transparent";
  const char* nearest = "";
  int nearest_distance = 3 * 256 * 256;
  for (const NamedColour& colour : kColours) {
    int distance = 0;
    for (int channel = 0; channel < 3; ++channel) {
      const int difference = colour.rgb[channel] - raster.At(x, y, channel);
      distance += difference * difference;
    }
    if (distance < nearest_distance) {
      nearest_distance = distance;
      nearest = colour.name;
    }
  }
  return nearest;
}

}  // namespace

PictureInfo Examine(const std::string& path) {
  std::istringstream lines(RunTool({kConvert, "-", "-format", "%m %w %h\n", "info:-"}, path));
  PictureInfo info = {};
  PictureInfo frame = {};
  while (lines >> frame.format >> frame.width >> frame.height) {
    if (info.frames == 0) info = frame;
    ++info.frames;
  }
  if (info.frames == 0) throw std::runtime_error(path + " is no picture");
  return info;
}

uint8_t Raster::At(int x, int y, int channel) const {
  const auto pixel = static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
  return static_cast<uint8_t>(rgba.at(pixel * 4 + static_cast<size_t>(channel)));
}

Raster ReadRaster(const std::string& path) {
  const std::string pam = RunTool({kConvert, "-[0]", "-colorspace", "sRGB", "-alpha", "set",
                                   "-depth", "8", "-type", "TrueColorAlpha", "pam:-"},
                                  path);
  constexpr char kHeaderEnd[] = "ENDHDR\n";
  const size_t header_end = pam.find(kHeaderEnd);
  if (header_end == std::string::npos) throw std::runtime_error(path + " is no picture");

  Raster raster = {};
  std::istringstream header(pam.substr(0, header_end));
  for (std::string field; header >> field;) {
    if (field == "WIDTH") header >> raster.width;
    if (field == "HEIGHT") header >> raster.height;
  }
  raster.rgba = pam.substr(header_end + sizeof(kHeaderEnd) - 1);
  return raster;
}

std::string Corners(const std::string& path) {
  const Raster raster = ReadRaster(path);
  const int left = raster.width / 4;
  const int right = raster.width * 3 / 4;
  const int top = raster.height / 4;
  const int bottom = raster.height * 3 / 4;
  return ColourName(raster, left, top) + " " + ColourName(raster, right, top) + " " +
         ColourName(raster, left, bottom) + " " + ColourName(raster, right, bottom);
}

}  // namespace vexathumb::kit
