#include <sys/stat.h>
#include <syslog.h>

#include <iterator>

#include "common/error/error.h"
#include "common/util/log_format.h"
#include "thumb/container_orientation.h"
#include "thumb/path_name.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

constexpr char kLogSource[] = "thumb_info.cpp";

const char* const kMakerNoteOrientationKeys[] = {
    "Exif.Panasonic.Rotation",      "Exif.MinoltaCs5D.Rotation",    "Exif.MinoltaCs5D.Rotation2",
    "Exif.MinoltaCs7D.Rotation",    "Exif.Sony1MltCsA100.Rotation", "Exif.Sony1Cs.Rotation",
    "Exif.Sony2Cs.Rotation",        "Exif.Sony1Cs2.Rotation",       "Exif.Sony2Cs2.Rotation",
    "Exif.Sony1MltCsA100.Rotation",
};

// Opening a FIFO waits for a writer and opening a device may do anything, so these are refused
// unopened. A source that cannot be examined is left to Exiv2's own answer.
void RefuseSpecialFile(const std::string& path) {
  struct stat st = {};
  if (stat(path.c_str(), &st) != 0) return;
  if (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode) || S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) {
    throw Error(Error::kInternalError, path + ": Not a regular file");
  }
}

// Exiv2 chooses its parser by content, whatever the name says. Its video and EPS parsers crash and
// hang on crafted files, so what they would get counts as an unknown image type. With BMFF support
// HEIC, AVIF and CR3 have a parser of their own; without it they would be taken for QuickTime.
Exiv2ImagePtr OpenImage(const std::string& path) {
  static const bool bmff_enabled = (EnableBmff(), true);
  static_cast<void>(bmff_enabled);
  if (IsVideoOrEps(Exiv2::ImageFactory::getType(path))) {
    throw Exiv2Error(Exiv2::ErrorCode::kerFileContainsUnknownImageType, path);
  }
  return Exiv2::ImageFactory::open(path, true);
}

size_t OrientationIndex(const Exiv2::Exifdatum& orientation) {
  return static_cast<unsigned>(std::stoi(orientation.toString())) - 1U;
}

size_t FindOrientationIndex(const Exiv2::ExifData& exif) {
  const auto standard = exif.findKey(ThumbInfo::stdOrientationKey);
  if (standard == exif.end()) return 0;
  if (standard->toString() != "1") return OrientationIndex(*standard);
  for (const Exiv2::ExifKey& key : ThumbInfo::orientationKeyList_) {
    const auto maker_note = exif.findKey(key);
    if (maker_note != exif.end()) return OrientationIndex(*maker_note);
  }
  return 0;
}

int ErrorCodeOf(int exiv2_error) {
  if (exiv2_error == kExiv2OpenFailed) return Error::kFileNotFound;
  if (exiv2_error == kExiv2UnknownImageType) return Error::kNoExifMeta;
  return Error::kInternalError;
}

}  // namespace

const Exiv2::ExifKey ThumbInfo::stdOrientationKey("Exif.Image.Orientation");

const std::vector<Exiv2::ExifKey> ThumbInfo::orientationKeyList_(
    std::begin(kMakerNoteOrientationKeys), std::end(kMakerNoteOrientationKeys));

const std::vector<std::pair<int, bool>> ThumbInfo::rotateFlopMappingList_ = {
    {0, false}, {0, true}, {2, false}, {2, true}, {1, true}, {1, false}, {3, true}, {3, false},
};

std::mutex ThumbInfo::exiv2_mutex_;

void ThumbInfo::ExtractImgInfo(bool withPreview) {
  if (IsSupportVideo(LastComponent(path_))) return;
  RefuseSpecialFile(path_);

  size_t index = 0;
  try {
    const std::lock_guard<std::mutex> lock(exiv2_mutex_);
    const Exiv2ImagePtr image = OpenImage(path_);
    image->readMetadata();
    mime_ = image->mimeType();
    width_ = static_cast<uint32_t>(image->pixelWidth());
    height_ = static_cast<uint32_t>(image->pixelHeight());
    if (withPreview) ExtractEXIFPreviewInfo(image);
    if (!IsTurnedByDecoder(mime_)) index = FindOrientationIndex(image->exifData());
  } catch (const Exiv2Error& error) {
    const int number = Exiv2ErrorNumber(error);
    const int code = ErrorCodeOf(number);
    if (code == Error::kInternalError) {
      syslog(LOG_ERR, VEXATHUMB_LOG_FORMAT("Exiv2 exception: E%d %s"), kLogSource, __LINE__,
             __func__, number, error.what());
    }
    throw Error(code, error.what());
  }

  const auto& row = rotateFlopMappingList_[index < rotateFlopMappingList_.size() ? index : 0];
  is_good_ = true;
  rotate_ = row.first;
  flop_ = row.second;
}

}  // namespace vexathumb
