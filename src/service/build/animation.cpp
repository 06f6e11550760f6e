#include "service/build/animation.h"

#include <unistd.h>

#include "service/base/atomic_file.h"
#include "service/base/path_name.h"
#include "thumb/thumb_convert_cmd.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

std::string Degrees(int quarter_turns) { return std::to_string(quarter_turns * 90); }

bool WriteFullFrames(const std::string& source, const std::string& path) {
  const char* const argv[] = {ThumbConvertCmd::kConvert.c_str(), source.c_str(), "-coalesce",
                              path.c_str(), nullptr};
  return VLIBCExecv(argv[0], argv, 1) == 0;
}

bool FitFrames(const ThumbInfo& info, const std::string& frames, const std::string& path) {
  const std::string box = info.GetXString();
  const std::string turn = Degrees(info.GetRotate());
  const std::string user_turn = Degrees(info.GetUserRotate());
  const char* const argv[] = {ThumbConvertCmd::kConvert.c_str(),
                              "-strip",
                              "-colorspace",
                              "sRGB",
                              "-thumbnail",
                              box.c_str(),
                              "-rotate",
                              turn.c_str(),
                              "-layers",
                              "optimize",
                              frames.c_str(),
                              "-rotate",
                              user_turn.c_str(),
                              path.c_str(),
                              nullptr};
  return VLIBCExecv(argv[0], argv, 1) == 0;
}

}  // namespace

bool MakeAnimation(const ThumbInfo& info, const std::string& source, const std::string& path) {
  const std::string frames = TemporaryFor("/var/tmp/" + LastComponent(source));
  const bool is_made = WriteFullFrames(source, frames) && FitFrames(info, frames, path);
  unlink(frames.c_str());
  if (!is_made) unlink(path.c_str());
  return is_made;
}

}  // namespace vexathumb::service
