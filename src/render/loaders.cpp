#include "render/loaders.h"

#include <cstring>

namespace vexathumb::render {
namespace {

// By class, not by what this release of the decoders calls trusted. JPEG XL and JPEG 2000 are among
// those that it does not, and are decoded by a process that can reach nothing.
constexpr Loader kLoaders[] = {
    {"VipsForeignLoadJpegSource", "image/jpeg", false, false, true, true},
    {"VipsForeignLoadPngSource", "image/png", false, false, false, false},
    {"VipsForeignLoadWebpSource", "image/webp", false, true, false, false},
    {"VipsForeignLoadTiffSource", "image/tiff", false, true, false, false},
    {"VipsForeignLoadHeifSource", "image/heif", true, true, false, false},
    {"VipsForeignLoadNsgifSource", "image/gif", false, true, true, false},
    {"VipsForeignLoadJxlSource", "image/jxl", true, true, false, false},
    {"VipsForeignLoadJp2kSource", "image/jp2", false, false, false, false},
};

}  // namespace

void AllowLoaders() {
  vips_operation_block_set("VipsForeignLoad", TRUE);
  for (const Loader& loader : kLoaders) vips_operation_block_set(loader.name, FALSE);
}

std::string InstalledTypes() {
  std::string types;
  for (const Loader& loader : kLoaders) {
    if (vips_class_find("VipsForeignLoad", loader.name) == nullptr) continue;
    types += std::string(loader.type) + "\n";
    if (strcmp(loader.type, "image/heif") == 0) types += "image/heic\nimage/avif\n";
  }
  return types;
}

const Loader* LoaderFor(const vips::VSource& source) {
  const char* const found = vips_foreign_find_load_source(source.get_source());
  for (const Loader& loader : kLoaders) {
    if (found != nullptr && strcmp(found, loader.name) == 0) return &loader;
  }
  return nullptr;
}

}  // namespace vexathumb::render
