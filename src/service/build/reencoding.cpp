#include "service/build/reencoding.h"

#include <sys/stat.h>
#include <unistd.h>

#include <functional>

#include "service/base/atomic_file.h"
#include "service/picture/content_type.h"
#include "thumb/thumb_convert_cmd.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

constexpr char kCjpeg[] = "/usr/bin/cjpeg";

// `write` makes the new content under the name that it is given.
bool Replace(const std::string& path, const std::function<bool(const std::string&)>& write) {
  struct stat st = {};
  if (stat(path.c_str(), &st) != 0) return false;
  AtomicFile replacement(path);
  return write(replacement.path()) &&
         replacement.Commit({st.st_mode & 07777, AtomicFile::Times{st.st_atim, st.st_mtim}, {}});
}

}  // namespace

bool Compact(const std::string& path, int quality) {
  if (access(path.c_str(), R_OK) != 0) return false;
  if (ContentTypeOf(path) != kBmpType) return true;
  return Replace(path, [&](const std::string& compacted) {
    const std::string quality_text = std::to_string(quality);
    // Huffman tables of its own make a smooth picture a tenth smaller.
    const char* const argv[] = {kCjpeg,     "-optimize",       "-quality",   quality_text.c_str(),
                                "-outfile", compacted.c_str(), path.c_str(), nullptr};
    return VLIBCExecv(kCjpeg, argv, 1) == 0;
  });
}

bool Reencode(const std::string& path, const std::string& type) {
  return Replace(path, [&](const std::string& encoded) {
    const std::string first_frame = path + "[0]";
    const std::string target = type.substr(type.find('/') + 1) + ":" + encoded;
    const char* const argv[] = {ThumbConvertCmd::kConvert.c_str(),
                                first_frame.c_str(),
                                "-strip",
                                "-colorspace",
                                "sRGB",
                                target.c_str(),
                                nullptr};
    return VLIBCExecv(argv[0], argv, 1) == 0;
  });
}

}  // namespace vexathumb::service
