#ifndef VEXATHUMB_SERVICE_BUILD_SIZE_SERIES_H_
#define VEXATHUMB_SERVICE_BUILD_SIZE_SERIES_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "service/build/build.h"
#include "service/picture/source_version.h"

namespace vexathumb::service {

// Makes stored thumbnails of one source at several sizes with less work than one by one:
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
// place. The caller holds the source's lock and has made its store directory.
class SizeSeries {
 public:
  enum class Outcome {
    kMade,
    kFailed,         // the tools cannot make it
    kSourceChanged,  // or is gone; nothing is stored
  };

  // `version` outlives this.
  SizeSeries(const std::string& source, const SourceVersion& version, const BuildOptions& options);

  // Makes the one that `request`, for a size label, asks for, and puts it into the store at
  // `stored`. `info` is the request's description, inspected or found to be unreadable. Called for
  // the largest size first. Exceptions of the library pass through.
  Outcome Make(const ThumbnailRequest& request, const ThumbInfo& info, const std::string& stored);

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
  bool MakeAnimation(const Task& task);
  bool MakeFrom(const Picture& larger, const Task& task);
  bool MakeByHalving(const Picture& larger, ThumbInfo info, const Task& task) const;
  bool MakeFromSource(const Task& task);
  bool BringIntoForm(const Task& task) const;
  ThumbInfo InfoOfJpeg(const Task& task) const;
  const Picture& BestFor(const ThumbDimension& box) const;
  void Remember(const std::string& stored, std::optional<int> scale);

  const std::string source_;
  const SourceVersion& version_;
  const BuildOptions options_;

  std::string jpeg_;                     // what is decoded at the library's scales; may be empty
  std::map<int, std::string> by_scale_;  // what came of it, in the store; scale 0 is its own size
  bool is_decoded_preview_ = false;      // the last one made is a raw file's preview at a scale
  std::vector<Picture> fitted_;          // in the store, largest first
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_SIZE_SERIES_H_
