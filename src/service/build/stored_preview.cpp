#include "service/build/stored_preview.h"

#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "service/build/stored_thumbnail.h"
#include "service/picture/content_type.h"
#include "service/store/store_files.h"

namespace vexathumb::service {
namespace {

// The library writes the preview to a file of its own, which its user removes, also when the
// inspection fails after that.
class InspectionWithPreview {
 public:
  explicit InspectionWithPreview(const ThumbnailRequest& request) : info_(Describe(request)) {}
  ~InspectionWithPreview() {
    if (!preview().empty()) unlink(preview().c_str());
  }
  InspectionWithPreview(const InspectionWithPreview&) = delete;
  InspectionWithPreview& operator=(const InspectionWithPreview&) = delete;

  bool FindsPreview() {
    try {
      info_.ExtractImgInfo(true);
    } catch (const std::runtime_error&) {  // the library's own, and Exiv2's sums that overflow
      return false;
    }
    return !preview().empty();
  }

  std::string preview() const { return info_.GetEXIFPreviewTmpPath(); }
  const ThumbInfo& info() const { return info_; }

 private:
  ThumbInfo info_;
};

bool Convert(const ThumbInfo& info, const std::string& from, const std::string& to) {
  const std::string temporary = TemporaryFor(to);
  if (!ConvertCmd(info, from, temporary).exec()) return false;
  info.UpdateAMTime(temporary);
  if (rename(temporary.c_str(), to.c_str()) == 0) return true;
  unlink(temporary.c_str());
  return false;
}

}  // namespace

std::optional<BuiltPicture> StoreEmbeddedPreview(const ThumbnailRequest& request) {
  InspectionWithPreview inspection(request);
  if (!inspection.FindsPreview() || !IsStoreWritable(request.source)) return std::nullopt;
  const ThumbInfo& info = inspection.info();
  const bool upright = (info.GetRotate() + info.GetUserRotate()) % 4 == 0 && !info.GetFlop();
  const bool as_it_is = upright && info.GetMimeType() == kJpegType &&
                        ContentTypeOf(inspection.preview()) == kJpegType;
  const std::string stored = BuiltPath(request, info);
  const bool done = as_it_is ? PutIntoStore(inspection.preview(), stored)
                             : Convert(info, inspection.preview(), stored);
  if (!done) return std::nullopt;
  return BuiltPicture{stored, info.GetOutputMimeType()};
}

}  // namespace vexathumb::service
