#include "service/build/engine.h"

#include <algorithm>

#include "service/picture/colour_profile.h"
#include "service/picture/content_type.h"
#include "service/picture/inspection.h"
#include "service/picture/picture_renderer.h"

namespace vexathumb::service {
namespace {

constexpr char kInOneDecode[] = "all sizes in one decode, in true colours";
constexpr char kNoLoader[] = "the renderer has no loader for it";

bool IsRendered(const std::string& type) {
  const auto& choices = EngineChoices();
  return std::any_of(choices.begin(), choices.end(), [&type](const EngineChoice& choice) {
    return choice.type == type && choice.engine == Engine::kRenderer;
  });
}

// What is a TIFF by its structure, and is called something else, is the raw file of a camera: the
// renderer would show the small picture before its data.
bool IsRawFile(const ThumbnailRequest& request, const ThumbInfo& info) {
  if (info.GetMimeType() != "image/tiff") return false;
  const std::string extension = file::GetFileExt(request.source);
  return extension != "tif" && extension != "tiff";
}

// djpeg has made one small picture while the renderer is still being started. It keeps the numbers
// of colours and drops what they mean.
bool IsMadeSooner(const ThumbnailRequest& request, const ThumbInfo& info) {
  render::Renderer* const renderer = PictureRenderer();
  return info.GetMimeType() == kJpegType && IsUpright(info) && !request.avatar &&
         renderer != nullptr && !renderer->IsStarted() &&
         !HasOwnColours(OpenSource(request.source).get());
}

}  // namespace

std::vector<Engine> EnginesFor(const ThumbnailRequest& request, const ThumbInfo& info,
                               const BuildOptions& options) {
  const bool is_rendered = PictureRenderer() != nullptr && info.IsGood() &&
                           info.GetOutputMimeType() != kGifType && IsRendered(info.GetMimeType()) &&
                           !IsRawFile(request, info);
  if (!is_rendered) return {Engine::kTools};
  if (options.is_for_one && IsMadeSooner(request, info)) {
    return {Engine::kDjpeg, Engine::kRenderer, Engine::kTools};
  }
  return {Engine::kRenderer, Engine::kTools};
}

void PrepareEngine(const ThumbnailRequest& request) {
  const std::string extension = file::GetFileExt(request.source);
  for (const char* rendered : {"png", "tif", "tiff", "webp", "heic", "heif", "avif", "jxl"}) {
    if (extension != rendered || request.only_stored) continue;
    if (render::Renderer* const renderer = PictureRenderer()) renderer->Start();
  }
}

const std::vector<EngineChoice>& EngineChoices() {
  static const std::vector<EngineChoice> kChoices = {
      {"image/jpeg", "JPEG", Engine::kRenderer,
       "all sizes in one decode, in true colours; one upright picture in sRGB by `vexathumb get` "
       "comes from djpeg, which has made it before the renderer has started"},
      {"image/png", "PNG", Engine::kRenderer, kInOneDecode},
      {"image/tiff", "TIFF", Engine::kRenderer, kInOneDecode},
      {"image/webp", "WebP", Engine::kRenderer, kInOneDecode},
      {"image/heic", "HEIC", Engine::kRenderer, kInOneDecode},
      {"image/heif", "HEIF", Engine::kRenderer, kInOneDecode},
      {"image/avif", "AVIF", Engine::kRenderer, kInOneDecode},
      {"image/jxl", "JPEG XL", Engine::kRenderer, kInOneDecode},
      {"image/jp2", "JPEG 2000", Engine::kRenderer, kInOneDecode},
      {"image/gif", "GIF", Engine::kRenderer,
       "its first picture; with all of them by gifsicle, several times faster than libvips"},
      {"image/x-ms-bmp", "BMP", Engine::kTools, kNoLoader},
      {"image/x-photoshop", "PSD", Engine::kTools, kNoLoader},
      {"image/targa", "TARGA", Engine::kTools, kNoLoader},
      {"", "raw files", Engine::kTools,
       "the camera's preview, by dcraw; smaller sizes of the largest by the renderer"},
  };
  return kChoices;
}

}  // namespace vexathumb::service
