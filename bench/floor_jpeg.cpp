// Entropy decoding of a JPEG alone: every decoder must do it for all of the file, at whatever
// scale.

#include <cstdio>
// It wants the declarations above.
#include <jpeglib.h>

#include <stdexcept>
#include <string>

#include "bench/floor.h"

namespace {

[[noreturn]] void Fail(j_common_ptr info) {
  char text[JMSG_LENGTH_MAX];
  info->err->format_message(info, text);
  throw std::runtime_error(text);
}

class Decompressor {
 public:
  Decompressor() {
    info_.err = jpeg_std_error(&errors_);
    errors_.error_exit = &Fail;
    jpeg_create_decompress(&info_);
  }
  ~Decompressor() { jpeg_destroy_decompress(&info_); }
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;

  void ReadCoefficients(const std::string& bytes) {
    jpeg_mem_src(&info_, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    jpeg_read_header(&info_, TRUE);
    jpeg_read_coefficients(&info_);
  }

 private:
  jpeg_decompress_struct info_ = {};
  jpeg_error_mgr errors_ = {};
};

}  // namespace

int main(int argc, char** argv) {
  return vexathumb::bench::MeasureFloor(
      argc, argv, [](const std::string& bytes) { Decompressor().ReadCoefficients(bytes); });
}
