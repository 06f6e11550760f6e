// Plain decoding of all frames of a GIF.

#include <gif_lib.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "bench/floor.h"

namespace {

int Read(GifFileType* file, GifByteType* to, int count) {
  auto* const rest = static_cast<std::string_view*>(file->UserData);
  const size_t read = std::min(rest->size(), static_cast<size_t>(count));
  std::memcpy(to, rest->data(), read);
  rest->remove_prefix(read);
  return static_cast<int>(read);
}

void Decode(const std::string& bytes) {
  std::string_view rest = bytes;
  GifFileType* const file = DGifOpen(&rest, &Read, nullptr);
  if (file == nullptr) throw std::runtime_error("not a GIF");
  const int status = DGifSlurp(file);
  DGifCloseFile(file, nullptr);
  if (status != GIF_OK) throw std::runtime_error("the GIF cannot be decoded");
}

}  // namespace

int main(int argc, char** argv) { return vexathumb::bench::MeasureFloor(argc, argv, &Decode); }
