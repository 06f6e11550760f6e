#ifndef VEXATHUMB_SERVICE_BUILD_SIZE_SERIES_H_
#define VEXATHUMB_SERVICE_BUILD_SIZE_SERIES_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "service/build/build_settings.h"
#include "service/build/thumbnail_request.h"

namespace vexathumb::service {

// Makes the pictures of one source at several sizes with less work than one by one:
//
// - An upright JPEG is decoded once for each scale that the library chooses: the source itself for
//   the largest size, and that one's result for the others, where its scales make the same pixels.
//   Sizes of one scale share the result. All have the pixels that they would have one by one.
// - Of everything else the largest size is made from the source, and smaller ones from a larger
//   one; by the JPEG decoder where the box is half as large. So it is with turned JPEGs, and with
//   raw files, whose preview is decoded once.
// - Animations are made one by one.
//
// Those that share a result have copies of it, not links: other programs write to these names in
// place.
class SizeSeries {
 public:
  struct Made {
    std::string mime;
    bool is_oversized = false;  // BMP data that the library would not keep: more than the source's
  };

  SizeSeries(const std::string& source, const BuildOptions& options);

  // Makes the picture that `request` asks for at `path`, in the form in which it is kept. `info` is
  // the request's description, inspected or found to be unreadable. Called for the largest size
  // first. Nothing when the tools cannot make it. Exceptions of the library pass through.
  std::optional<Made> Make(const ThumbnailRequest& request, const ThumbInfo& info,
                           const std::string& path);

  // Tells that the picture made last is now at `stored`, where it stays.
  void KeepAt(const std::string& stored);

 private:
  struct Picture {
    std::string path;
    uint32_t width;
    uint32_t height;
  };
  // What is to be made, and where.
  struct Task {
    const ThumbnailRequest& request;
    const ThumbInfo& info;
    std::string path;
  };

  std::optional<int> ScaleFor(const Task& task) const;
  bool MakeAtScale(const Task& task, int scale);
  bool DecodeLargest(const Task& task, int scale) const;
  bool MakeFitted(const Task& task);
  bool CopyOf(const std::string& picture, const Task& task);
  bool MakeAnimation(const Task& task);
  bool MakeFrom(const Picture& larger, const Task& task);
  bool MakeByHalving(const Picture& larger, ThumbInfo info, const Task& task);
  bool MakeFromSource(const Task& task);
  bool BringIntoForm(const Task& task);
  ThumbInfo InfoOfJpeg(const Task& task) const;
  const Picture& BestFor(const ThumbDimension& box) const;

  const std::string source_;
  const BuildOptions options_;

  std::string jpeg_;                     // what is decoded at the library's scales; may be empty
  std::map<int, std::string> by_scale_;  // what came of it, in the store; scale 0 is its own size

  // Of the one made last:
  Made made_;
  std::optional<int> scale_;         // at which the library's decoder made it
  bool is_decoded_preview_ = false;  // a raw file's preview at a scale

  std::vector<Picture> fitted_;  // in the store, largest first
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_SIZE_SERIES_H_
