// Plain decoding of a PNG.

#include <png.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "bench/floor.h"

namespace {

void Decode(const std::string& bytes) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) == 0) {
    throw std::runtime_error(image.message);
  }
  image.format = (image.format & PNG_FORMAT_FLAG_ALPHA) != 0 ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
  static std::vector<png_byte> pixels;
  pixels.resize(PNG_IMAGE_SIZE(image));
  if (png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) == 0) {
    throw std::runtime_error(image.message);
  }
}

}  // namespace

int main(int argc, char** argv) { return vexathumb::bench::MeasureFloor(argc, argv, &Decode); }
