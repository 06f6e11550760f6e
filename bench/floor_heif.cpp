// Plain decoding of the main picture of a HEIC or AVIF file, by as many threads as libheif starts.

#include <libheif/heif.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "bench/floor.h"

namespace {

void Demand(const heif_error& error) {
  if (error.code != heif_error_Ok) throw std::runtime_error(error.message);
}

void Decode(const std::string& bytes) {
  const std::unique_ptr<heif_context, decltype(&heif_context_free)> context(heif_context_alloc(),
                                                                            &heif_context_free);
  Demand(heif_context_read_from_memory_without_copy(context.get(), bytes.data(), bytes.size(),
                                                    nullptr));
  heif_image_handle* handle = nullptr;
  Demand(heif_context_get_primary_image_handle(context.get(), &handle));
  const std::unique_ptr<heif_image_handle, decltype(&heif_image_handle_release)> kept_handle(
      handle, &heif_image_handle_release);
  heif_image* image = nullptr;
  Demand(
      heif_decode_image(handle, &image, heif_colorspace_undefined, heif_chroma_undefined, nullptr));
  heif_image_release(image);
}

}  // namespace

int main(int argc, char** argv) { return vexathumb::bench::MeasureFloor(argc, argv, &Decode); }
