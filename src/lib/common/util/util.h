#ifndef VEXATHUMB_COMMON_UTIL_UTIL_H_
#define VEXATHUMB_COMMON_UTIL_UTIL_H_

#include <cstdint>
#include <map>
#include <string>
#include <unordered_set>

#include "common/export.h"

namespace vexathumb {

// A width and a height in pixels. 2147483647 in both means "no limit".
struct VEXATHUMB_API ThumbDimension {
  ThumbDimension(uint32_t width, uint32_t height) : width_(width), height_(height) {}

  uint32_t width_;
  uint32_t height_;
};

// The constants below have internal linkage: every source file that includes this header builds its
// own copies before its own static objects, so no file depends on another's initialisation order.

// Size labels: what a caller asks for. Compared exactly, in lower case.
const std::string kSmall = "small";
const std::string kMedium = "medium";
const std::string kBig = "big";
const std::string kLarge = "large";
const std::string kExtraLarge = "xlarge";
const std::string kOriginal = "original";  // the source file itself, no thumbnail

// Store suffixes: how the store names a size.
const std::string kS = "S";
const std::string kM = "M";
const std::string kB = "B";
const std::string kL = "L";  // used by no row of the map: "large" is stored as "XL"
const std::string kXL = "XL";

// Size label to store suffix. "large" and "xlarge" are one file in the store; "original" has none.
const std::map<std::string, std::string> kSizeLabelMap_ = {
    {kSmall, kS}, {kMedium, kM}, {kBig, kB}, {kLarge, kXL}, {kExtraLarge, kXL},
};

// Extensions, in lower case and without the dot, by which a name counts as an image or a video.
// Audio and container formats among the videos are meant to be there. A set's own lookup compares
// addresses; use IsSupportExt, which compares texts.
const std::unordered_set<const char*> kImageExt = {
    "jpg", "jpeg", "jpe", "bmp", "png", "tif", "tiff", "gif", "arw",  "srf",  "sr2",
    "dcr", "k25",  "kdc", "cr2", "crw", "nef", "mrw",  "ptx", "pef",  "raf",  "3fr",
    "erf", "mef",  "mos", "orf", "rw2", "dng", "x3f",  "raw", "heic", "heif",
};
const std::unordered_set<const char*> kVideoExt = {
    "3gp", "3g2",   "asf",   "dat",   "divx", "dvr-ms", "m2t",  "m2ts", "mk3d", "mka", "mks", "m4a",
    "m4v", "mkv",   "mp4",   "mts",   "m4p",  "m4b",    "m4r",  "mov",  "qt",   "tp",  "trp", "ts",
    "vob", "wmv",   "xvid",  "ac3",   "amr",  "rm",     "rmvb", "ifo",  "mpeg", "mpg", "mpe", "m1v",
    "m2v", "mpeg1", "mpeg2", "mpeg4", "ogv",  "webm",   "flv",  "f4v",  "avi",  "swf", "vdr", "iso",
};

// Whether the extension of `path` is an entry of `set`. The name alone decides; no file is opened.
VEXATHUMB_API bool IsSupportExt(const std::unordered_set<const char*>& set,
                                const std::string& path);
VEXATHUMB_API bool IsSupportImage(const std::string& path);  // kImageExt
VEXATHUMB_API bool IsSupportVideo(const std::string& path);  // kVideoExt

// File helpers between the thumbnail logic and the platform. None throws on its own, none keeps
// state; all may be called from any thread. Paths are absolute byte strings of at most 4095 bytes.
namespace file {

// What follows the last dot of the whole path, in lower case; the whole path in lower case if it
// has no dot. The dot may lie in a directory's name: "/a/b.c/name" gives "c/name".
VEXATHUMB_API std::string GetFileExt(const std::string& path);

// The path of the store entry `name` of the source `path`; the entry need not exist. Empty, after a
// log line, when the platform refuses.
VEXATHUMB_API std::string GetEAPath(const std::string& path, const std::string& name);

// Makes the store directory of the source `path` where it is missing. True when it is there.
VEXATHUMB_API bool MakeEADir(const std::string& path);

// Whether a store may be written for sources in the folder `dir`: not on remote volumes, not on
// images such as ISO. A volume whose type cannot be read counts as writable, after a log line.
VEXATHUMB_API bool IsDestSupportEAWrite(const std::string& dir);

// Moves a file through the platform's copy routine, which does not overwrite. Logs a failure.
VEXATHUMB_API bool SDKMoveFile(const std::string& src, const std::string& dst);

// The directory part, as dirname(3) has it. A path over 4095 bytes is cut first.
VEXATHUMB_API std::string Dirname(const std::string& path);

// "<store entry>_<process id>_<seconds>": a temporary name in the store directory of `path`. Empty
// when the entry's path cannot be had.
VEXATHUMB_API std::string GetEATmpPath(const std::string& path, const std::string& name);

// "/var/tmp/vexathumb_<name>_<process id>_<seconds>". The same name in one process and second gives
// the same path.
VEXATHUMB_API std::string GetVarTmpPath(const std::string& name);

}  // namespace file
}  // namespace vexathumb

#endif  // VEXATHUMB_COMMON_UTIL_UTIL_H_
