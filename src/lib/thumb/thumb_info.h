#ifndef VEXATHUMB_THUMB_THUMB_INFO_H_
#define VEXATHUMB_THUMB_THUMB_INFO_H_

#include <sys/stat.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "common/export.h"
#include "common/util/util.h"
#include "thumb/exiv2_compat.h"

namespace vexathumb {

// One source file for one thumbnail request: where it is, which size is wanted, what it is; and the
// decisions that follow from that.
//
// Two phases. After construction it knows path, label, box and file status; the type is empty, the
// source size 0 by 0, and every decision answers on that basis. After ExtractImgInfo it also knows
// type, size and orientation. Set what the request needs first, inspect, then ask:
//
//   vexathumb::ThumbInfo info("/volume1/photo/a.jpg", vexathumb::kBig, {640, 640});
//   info.ExtractImgInfo(false);
//   if (info.IsNeedConvert()) build(info.GetPixdeckThumbEAName());
//
// Units: sizes in pixels, turns in clockwise quarter turns. "Stored" is the picture as it lies in
// the file, before its orientation is applied; the requested box is as displayed, after all turns.
// The turn sum is the file's own turns plus the caller's; when it is odd, width and height swap.
//
// A value: copying copies it, destroying it deletes no file. One thread at a time per object; the
// metadata reads of all objects in a process run one after another.
class VEXATHUMB_API ThumbInfo {
 public:
  // A source of fewer pixels than this (1280 x 1280) is served as it is for "large".
  static constexpr uint32_t LARGE_ORIG_THRESHOLD = 1638400;

  // EXIF keys of the orientation: the standard one, and those of camera makers' notes, asked in
  // this order when the standard one says "1".
  static const Exiv2::ExifKey stdOrientationKey;
  static const std::vector<Exiv2::ExifKey> orientationKeyList_;

  // EXIF orientation number minus 1 to (clockwise quarter turns, left-right mirror).
  static const std::vector<std::pair<int, bool>> rotateFlopMappingList_;

  // Held during every use of Exiv2 in the process, which is not safe for threads. Not recursive.
  static std::mutex exiv2_mutex_;

  // Takes the status of `path`, following links. `size` is a size label or "__CUSTOM_SIZE__" and is
  // not checked. Throws Error 601 when the status cannot be had; any kind of file is accepted.
  ThumbInfo(const std::string& path, const std::string& size, const ThumbDimension& dimension);

  // Reads type, stored size and orientation; a video, by its name, is left alone. `withPreview`
  // also writes the best embedded preview to a temporary file (GetEXIFPreviewTmpPath), which the
  // caller owns; a second call loses the first one's. Pictures of the HEIC family and JPEG XL count
  // as upright, since their decoders turn them, and their previews are not used.
  //
  // Throws Error 603 when the source cannot be opened, 602 when its content is of no known image
  // type or one that only Exiv2's video and EPS parsers read, 601 for every other failure of Exiv2
  // and for a FIFO, socket or device, which is not opened; std::invalid_argument or
  // std::out_of_range for an orientation that is no number; std::overflow_error for offsets and
  // sizes that Exiv2 cannot add. IsGood() stays as it was then.
  void ExtractImgInfo(bool withPreview);

  // Chooses the embedded preview for the box and writes it to "/tmp/thumb.<pid>.<time>.<random>"
  // plus its extension, with the source's times. `image` is open with its metadata read, and the
  // caller holds exiv2_mutex_. Leaves an empty path when no preview fits or it cannot be written.
  // Exiv2's exceptions pass through.
  void ExtractEXIFPreviewInfo(const Exiv2ImagePtr& image);

  bool IsGood() const { return is_good_; }           // the metadata have been read
  int GetRotate() const { return rotate_; }          // 0 to 3, from the file
  int GetUserRotate() const { return userRotate_; }  // any number, from the caller
  bool GetFlop() const { return flop_; }
  bool GetEnableGIF() const { return enableGIF_; }
  bool GetCropMode() const { return isCropMode_; }
  const std::string& GetMimeType() const { return mime_; }  // by content; empty until read
  const std::string& GetSize() const { return size_; }
  ThumbDimension GetDimension() const { return dimension_; }  // the requested box
  uint32_t GetWidth() const { return width_; }                // stored; 0 until known
  uint32_t GetHeight() const { return height_; }              // stored; 0 until known
  uint32_t GetFileSize() const { return static_cast<uint32_t>(st_.st_size); }  // low 32 bits
  std::string GetEXIFPreviewTmpPath() const { return exif_preview_path_; }

  void SetWidth(uint32_t width) { width_ = width; }
  void SetHeight(uint32_t height) { height_ = height; }
  void SetRotate(int rotate) { rotate_ = rotate; }
  void SetUserRotate(int rotate) { userRotate_ = rotate; }
  void SetSize(const std::string& size) { size_ = size; }
  void SetDimension(const ThumbDimension& dimension) { dimension_ = dimension; }
  void SetEnableGIF(bool enable) { enableGIF_ = enable; }
  void SetCropMode(bool crop) { isCropMode_ = crop; }

  // GIF stays GIF when enabled and not cropped, PNG stays PNG, everything else becomes JPEG.
  std::string GetOutputMimeType() const;
  std::string GetOutputExtension() const;  // ".gif", ".png" or ".jpg"

  // The box to fit the stored picture into: the requested one, turned to the stored orientation,
  // and where the source's size is known no side larger than the source's.
  ThumbDimension GetTargetDimension() const;

  // Whether browsers show the source's type: JPEG, PNG, GIF, BMP.
  bool IsWebAcceptable() const;

  // Whether the source itself cannot be sent for this request.
  bool IsNeedConvert() const;

  // Whether the file carries the source's modification time, to the second. False when it is
  // missing.
  bool IsThumbUptoDate(const std::string& thumbPath) const;

  // Gives the file the source's access and modification times. Failures are silent.
  void UpdateAMTime(const std::string& thumbPath) const;

  // Names in the store. Those with a size suffix throw std::out_of_range ("map::at") for
  // "original",
  // "__CUSTOM_SIZE__" and unknown labels; Docdeck knows "__CUSTOM_SIZE__".
  std::string GetRotateSuffix() const;        // "" or "_r<turn sum remainder 4>", negative ones too
  std::string GetXString() const;             // the target box, "320x240"
  std::string GetPixdeckThumbEAName() const;  // never has a rotate suffix
  std::string GetPixdeckOldThumbEAName() const;  // former scheme
  std::string GetDocdeckThumbEAName() const;
  std::string GetDocdeckTmpThumbEAName() const;
  std::string GetReeldeckThumbEAName() const;
  std::string GetAvatarThumbEAName() const;

  // Whether the share that holds the source, the second component of its path, is marked as
  // indexed. False when there is no such share.
  bool IsThumbShareIndexed() const;

 private:
  // Whoever has had the metadata read elsewhere.
  friend struct SourceFacts;

  // Wrapping, so that no count of turns that a caller asks for is undefined.
  int TurnSum() const {
    return static_cast<int>(static_cast<uint32_t>(rotate_) + static_cast<uint32_t>(userRotate_));
  }
  bool IsSideways() const { return (TurnSum() & 1) != 0; }

  std::string path_;
  std::string size_;
  std::string mime_;
  std::string exif_preview_path_;
  ThumbDimension dimension_;
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  int rotate_ = 0;
  int userRotate_ = 0;
  bool is_good_ = false;
  bool flop_ = false;
  bool enableGIF_ = false;
  bool isCropMode_ = false;
  struct stat st_ = {};
};

}  // namespace vexathumb

#endif  // VEXATHUMB_THUMB_THUMB_INFO_H_
