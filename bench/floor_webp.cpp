// Plain decoding of a WebP picture.

#include <webp/decode.h>

#include <stdexcept>
#include <string>

#include "bench/floor.h"

namespace {

void Decode(const std::string& bytes) {
  int width = 0;
  int height = 0;
  uint8_t* const pixels =
      WebPDecodeRGB(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), &width, &height);
  if (pixels == nullptr) throw std::runtime_error("the WebP cannot be decoded");
  WebPFree(pixels);
}

}  // namespace

int main(int argc, char** argv) { return vexathumb::bench::MeasureFloor(argc, argv, &Decode); }
