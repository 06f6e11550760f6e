#ifndef VEXATHUMB_TESTS_KIT_PICTURES_PIXELS_H_
#define VEXATHUMB_TESTS_KIT_PICTURES_PIXELS_H_

#include <cstdint>
#include <string>

namespace vexathumb::kit {

// Reading pictures back with ImageMagick. A file is read through standard input, so that neither
// its name nor its extension has a say. EXIF orientation is not applied. All throw
// std::runtime_error when the file is no picture. Callable from several threads.

struct PictureInfo {
  std::string format;  // as ImageMagick calls it: "JPEG", "PNG", "GIF", "BMP3", "TIFF", "HEIC"
  int width;
  int height;
  int frames;
};
PictureInfo Examine(const std::string& path);

// The first frame's pixels, four bytes each (red, green, blue, alpha), row by row.
struct Raster {
  int width;
  int height;
  std::string rgba;

  uint8_t At(int x, int y, int channel) const;
};
Raster ReadRaster(const std::string& path);

// The colours in the middle of the four quadrants as the nearest of "red", "green", "blue",
// "yellow", "cyan", "magenta", "white", "black" and "gray", or "transparent", in reading order:
// "red green blue yellow".
std::string Corners(const std::string& path);

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_PICTURES_PIXELS_H_
