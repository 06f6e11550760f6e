#ifndef VEXATHUMB_THUMB_LIBVEXATHUMB_H_
#define VEXATHUMB_THUMB_LIBVEXATHUMB_H_

#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "common/error/error.h"
#include "common/export.h"
#include "common/util/util.h"
#include "thumb/thumb_convert_cmd.h"
#include "thumb/thumb_info.h"

namespace vexathumb {

// A request for thumbnails of one source file: serves one to the web client, builds them into the
// store, or tells which file would serve.
//
//   vexathumb::Thumb thumb("/volume1/photo/a.jpg", vexathumb::Thumb::ALL_EA);
//   if (!thumb.Rotate(1).Output("big")) answer_not_found();
//   if (thumb.IsNeedDelete()) unlink(thumb.GetOutputFile().c_str());
//
// One object may serve several requests in sequence; each overwrites size, output file and output
// type. One thread at a time per object. Two requests for sources of one name in one second share
// their temporary names; callers that run several keep such requests apart.
class VEXATHUMB_API Thumb {
 public:
  using OPTION = enum {
    PIXDECK_EA = 1,      // look in the photo-album application's store slots
    DOCDECK_EA = 2,      // look in the file-manager application's store slot
    ALL_EA = 3,          // both
    EA_ONLY = 4,         // never generate; always so for videos
    ANIMATE_GIF = 8,     // animated GIFs may be answered as GIF
    NO_ORIG_IMAGE = 16,  // accepted, without effect
    AVATAR = 32,         // cropped, in a store slot of its own; the two application slots are off
    FALLBACK_SMALLER = 64,  // CalcOutputFile may answer with a smaller size
    NOT_CHECK_INDEX =
        128,  // use the photo-album and video slots on shares that are not indexed too
    DUMMY_END_BIT = 1073741824,
  };

  // Where the output file came from.
  using OUTPUT_TYPE = enum {
    kNull = 0,
    kPixdeck = 1,
    kDocdeck = 2,        // also avatars and embedded previews
    kDocdeckVarTmp = 3,  // generated, in /var/tmp since the store cannot be written
    kReeldeck = 4,
    kOriginalImage = 5,  // the source itself
  };

  // Size label to box in pixels. "large" and "xlarge" share a box, "original" has no limit.
  static const std::map<std::string, ThumbDimension> strThumbSizeMap_;

  // The size labels, largest first.
  static const std::vector<std::string> size_vec;

  // `path` is absolute, `options` a set of OPTION bits. Throws Error 601 when the source's status
  // cannot be had.
  Thumb(const std::string& path, int options);

  // Deletes the temporary file of an embedded preview. Never deletes the output file.
  ~Thumb();

  Thumb(const Thumb&) = delete;
  Thumb& operator=(const Thumb&) = delete;

  // Clockwise quarter turns besides the file's own. Any number is stored; those outside 0 to 3 name
  // other store files, and a stored photo-album thumbnail is turned by 0 to 3 only.
  Thumb& Rotate(int rotate);

  // Replaces all options. IsNeedDelete() keeps its answer.
  void SetOption(int options);

  // The file chosen by the last request; empty when there was none.
  const std::string& GetOutputFile() const { return outputName_; }

  // Whether that file is one to throw away: the caller deletes it after use. Set by generation.
  bool IsNeedDelete() const { return optNoSave_; }

  // The type under which that file is sent.
  std::string GetOutputMimeType() { return thumbInfo_.GetOutputMimeType(); }

  // "Pixdeck", "Docdeck", "DocdeckVarTmp", "Reeldeck", "Original"; "" when nothing is chosen.
  std::string GetOutputType();

  // Chooses the best file for the size and sends it on standard output: a Cache-Control line, then
  // the platform's headers and body. False, with nothing written, when there is none, and when
  // sending fails. Throws std::out_of_range ("map::at") for an unknown label and for a free box
  // with PIXDECK_EA on an indexed share; Error, other than 602, when the source cannot be
  // inspected; std::invalid_argument or std::out_of_range for a broken orientation.
  bool Output(const std::string& size);
  bool Output(int width, int height);  // pixels as displayed; not checked
  bool Output(int side);               // a square box

  // Builds thumbnails into the store and counts those built; a size for which the source serves as
  // it is counts 0. Reads no metadata: without an inspection by CalcOutputFile("original") or an
  // Output on the same object before, only raw development is tried. Exceptions of one element are
  // logged and the next is tried.
  //
  //   thumb.CalcOutputFile(vexathumb::kOriginal);
  //   int built = thumb.Convert({"small", "big"});
  int Convert(std::initializer_list<std::string> sizes);
  int Convert(std::initializer_list<ThumbDimension> dims);

  // Convert of the five sizes "small" to "xlarge"; true when at least one was built.
  bool ConvertAll();

  // The file that serves the size, found or built as by Output but not sent; with FALLBACK_SMALLER
  // the next smaller sizes are tried in turn. Empty when there is none or the label is unknown.
  // Throws as Output, but never for a label.
  std::string CalcOutputFile(const std::string& size);

  // Builds the thumbnail for the request as it stands. False when nothing was built; the output
  // type is then kOriginalImage if the source needs no conversion.
  bool SetOutOnline();

 private:
  // Entry and the chain of sources, best first. Each source that is there sets output file and
  // type.
  bool OutputImpl();
  std::string CalcOutputFile();
  bool SetOutPixdeckEA();
  bool SetOutPixdeckOldEA();
  bool SetOutDocdeckEA();
  bool SetOutReeldeckEA();
  bool SetOutAvatar();
  bool SetOutFromEXIFPreview();
  bool SetOutOriginalImage();

  bool IsIndexCheckPassed();
  bool SetOutEA(const std::string& name, OUTPUT_TYPE type,
                const std::function<bool(const std::string&)>& is_usable);

  bool OutputOriginalImage();
  bool HttpOutputFile(const std::string& mime);

  bool RunOnlineCommands(const std::string& dest);
  std::string GetOnlineOutputDest() const;
  bool SaveTmpThumbToEA(const std::string& tmp);

  OUTPUT_TYPE outputType_ = kNull;
  std::string path_;
  bool isVideo_;
  ThumbInfo thumbInfo_;
  std::string outputName_;
  bool optOnlyEA_ = false;
  bool optFS_ = false;
  bool optPS_ = false;
  bool optAllowGIF_ = false;
  bool optNotOrig_ = false;
  bool optNoSave_ = false;
  bool optAvatar_ = false;
  bool optFallback_ = false;
  bool optNotCheckIndex_ = false;
};

}  // namespace vexathumb

#endif  // VEXATHUMB_THUMB_LIBVEXATHUMB_H_
