// Plain decoding of a JPEG XL picture, by one thread.

#include <jxl/decode_cxx.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/floor.h"

namespace {

void Decode(const std::string& bytes) {
  static std::vector<uint8_t> pixels;
  const JxlDecoderPtr decoder = JxlDecoderMake(nullptr);
  const JxlPixelFormat format = {3, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
  JxlDecoderSubscribeEvents(decoder.get(), JXL_DEC_FULL_IMAGE);
  JxlDecoderSetInput(decoder.get(), reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  JxlDecoderCloseInput(decoder.get());
  for (;;) {
    const JxlDecoderStatus status = JxlDecoderProcessInput(decoder.get());
    if (status == JXL_DEC_FULL_IMAGE) return;
    size_t size = 0;
    if (status != JXL_DEC_NEED_IMAGE_OUT_BUFFER ||
        JxlDecoderImageOutBufferSize(decoder.get(), &format, &size) != JXL_DEC_SUCCESS) {
      throw std::runtime_error("the JPEG XL cannot be decoded");
    }
    pixels.resize(size);
    if (JxlDecoderSetImageOutBuffer(decoder.get(), &format, pixels.data(), size) !=
        JXL_DEC_SUCCESS) {
      throw std::runtime_error("the JPEG XL's pixels find no place");
    }
  }
}

}  // namespace

int main(int argc, char** argv) { return vexathumb::bench::MeasureFloor(argc, argv, &Decode); }
