#ifndef VEXATHUMB_SERVICE_BUILD_THUMBNAIL_REQUEST_H_
#define VEXATHUMB_SERVICE_BUILD_THUMBNAIL_REQUEST_H_

#include <sys/stat.h>

#include <optional>
#include <string>

#include "thumb/libvexathumb.h"

namespace vexathumb::service {

// Of a free box that users may ask for, in pixels; none is below 1.
constexpr int kLargestSide = 4096;

// What a user of our programs asks for.
struct ThumbnailRequest {
  std::string source;           // absolute path
  std::string label;            // a size label; empty for a free box
  ThumbDimension box = {0, 0};  // pixels as displayed; of the label, or free
  int turns = 0;                // clockwise quarter turns, 0 to 3
  bool pixdeck = true;          // look in the photo-album application's slots
  bool docdeck = true;          // look in the file-manager application's slot
  bool any_share = false;       // use the photo-album's slots whether the share is indexed or not
  bool only_stored = false;     // never build
  bool allow_smaller = false;   // a smaller stored size may take the place
  bool avatar = false;          // fill the box instead of fitting into it
  bool animated_gif = false;    // an animated GIF stays animated
  bool use_preview = true;      // the camera's embedded preview may take the picture's place
  // The status of the file that the source must be, where somebody may put another in its place.
  std::optional<struct stat> found = {};

  bool IsFreeBox() const { return label.empty(); }

  // Whether there may be any number of such thumbnails (free_boxes.h).
  bool IsOfChosenBox() const { return IsFreeBox() || avatar; }
};

// By the source's name, as the library decides it.
bool IsVideo(const ThumbnailRequest& request);

// The library's option bits for the request. A free box has no photo-album name, so that bit is
// left out for it.
int OptionsOf(const ThumbnailRequest& request);

// The form that the request asks for, under which failures are remembered (failure_record.h). All
// named sizes are one, as what keeps one from being made keeps all; but for limits, which a smaller
// size may not meet: then a named size has a form of its own.
std::string FormOf(const ThumbnailRequest& request);
std::string FormOfSize(const ThumbnailRequest& request);

// The source's description for the request, not inspected yet. Throws Error 601 when the source's
// status cannot be had.
ThumbInfo Describe(const ThumbnailRequest& request);

// Whether nothing is to be turned or mirrored, for the source or its user.
bool IsUpright(const ThumbInfo& info);

// Makes a description of the request's source, inspected or not, one for this request.
void ApplyWishes(const ThumbnailRequest& request, ThumbInfo* info);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_THUMBNAIL_REQUEST_H_
