#include "service/build/thumbnail_request.h"

#include "service/base/path_name.h"

namespace vexathumb::service {

bool IsVideo(const ThumbnailRequest& request) {
  return IsSupportVideo(LastComponent(request.source));
}

int OptionsOf(const ThumbnailRequest& request) {
  int options = 0;
  if (request.pixdeck && !request.IsFreeBox()) options |= Thumb::PIXDECK_EA;
  if (request.docdeck) options |= Thumb::DOCDECK_EA;
  if (request.only_stored) options |= Thumb::EA_ONLY;
  if (request.animated_gif) options |= Thumb::ANIMATE_GIF;
  if (request.avatar) options |= Thumb::AVATAR;
  if (request.allow_smaller) options |= Thumb::FALLBACK_SMALLER;
  if (request.any_share) options |= Thumb::NOT_CHECK_INDEX;
  return options;
}

std::string FormOf(const ThumbnailRequest& request) {
  ThumbnailRequest any_size = request;
  if (!request.IsFreeBox()) any_size.label = "named";
  return FormOfSize(any_size);
}

std::string FormOfSize(const ThumbnailRequest& request) {
  std::string form = request.IsFreeBox() ? std::to_string(request.box.width_) + "x" +
                                               std::to_string(request.box.height_)
                                         : request.label;
  if (request.avatar) form += " avatar";
  if (request.turns != 0) form += " turned " + std::to_string(request.turns);
  if (request.animated_gif) form += " animated";
  if (!request.use_preview) form += " without preview";
  return form;
}

ThumbInfo Describe(const ThumbnailRequest& request) {
  ThumbInfo info(request.source, "", request.box);
  ApplyWishes(request, &info);
  return info;
}

bool IsUpright(const ThumbInfo& info) {
  return (info.GetRotate() + info.GetUserRotate()) % 4 == 0 && !info.GetFlop();
}

void ApplyWishes(const ThumbnailRequest& request, ThumbInfo* info) {
  info->SetSize(request.IsFreeBox() ? "__CUSTOM_SIZE__" : request.label);
  info->SetDimension(request.box);
  info->SetUserRotate(request.turns);
  info->SetEnableGIF(request.animated_gif);
  info->SetCropMode(request.avatar);
}

}  // namespace vexathumb::service
