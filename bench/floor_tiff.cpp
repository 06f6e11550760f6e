// Plain decoding of a TIFF's first picture.

#include <tiffio.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "bench/floor.h"

namespace {

class Tiff {
 public:
  explicit Tiff(const std::string& path) : file_(TIFFOpen(path.c_str(), "r")) {
    if (file_ == nullptr) throw std::runtime_error(path + " is no TIFF");
  }
  ~Tiff() { TIFFClose(file_); }
  Tiff(const Tiff&) = delete;
  Tiff& operator=(const Tiff&) = delete;

  void Decode() {
    const bool in_tiles = TIFFIsTiled(file_) != 0;
    const tmsize_t size = in_tiles ? TIFFTileSize(file_) : TIFFStripSize(file_);
    const uint32_t count = in_tiles ? TIFFNumberOfTiles(file_) : TIFFNumberOfStrips(file_);
    static std::vector<char> pixels;
    pixels.resize(static_cast<size_t>(size));
    for (uint32_t i = 0; i < count; ++i) {
      const tmsize_t read = in_tiles ? TIFFReadEncodedTile(file_, i, pixels.data(), size)
                                     : TIFFReadEncodedStrip(file_, i, pixels.data(), size);
      if (read < 0) throw std::runtime_error("a part of the TIFF cannot be decoded");
    }
  }

 private:
  TIFF* file_;
};

}  // namespace

// libtiff maps the file: its pages are in memory after the first round, as the bytes of others are.
int main(int argc, char** argv) {
  return vexathumb::bench::MeasureFloor(
      argc, argv, [argv](const std::string& /*bytes*/) { Tiff(argv[1]).Decode(); });
}
