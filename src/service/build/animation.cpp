#include "service/build/animation.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "posix/unique_fd.h"
#include "service/base/atomic_file.h"
#include "service/base/path_name.h"
#include "service/picture/inspection.h"
#include "thumb/thumb_convert_cmd.h"
#include "vexaplatform/tool_on_files.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

std::string Degrees(int quarter_turns) { return std::to_string(quarter_turns * 90); }

// The box that the frames lie in once they are turned.
std::string TurnedBox(const ThumbInfo& info) {
  ThumbDimension box = info.GetTargetDimension();
  if ((info.GetRotate() + info.GetUserRotate()) % 2 != 0) std::swap(box.width_, box.height_);
  return std::to_string(box.width_) + "x" + std::to_string(box.height_);
}

// A drawing of few colours gets those between them too, or its edges would be as ragged as if they
// had not been smoothed. Up to 256 a photograph's frames would get some each, at four times the
// time and to no eye's gain.
std::vector<const char*> VectorFor(const std::string& box, const std::string& turn) {
  return {kGifsicle,
          "--no-warnings",
          "--no-ignore-errors",
          "--no-comments",
          "--no-names",
          "--no-extensions",
          turn.c_str(),
          "--resize-fit",
          box.c_str(),
          "--resize-method",
          "mix",
          "--resize-colors",
          "128",
          "--colors",
          "256",
          "-O2",
          "-",
          "#0-",  // fails where there is no frame
          nullptr};
}

// By gifsicle, which turns first and fits then.
bool FitOpenAnimation(const ThumbInfo& info, int quarter_turns, int from, const std::string& path) {
  const posix::UniqueFd target(
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (!target) return false;
  quarter_turns = (quarter_turns % 4 + 4) % 4;
  const std::string turn =
      quarter_turns == 0 ? "--no-rotate" : "--rotate-" + Degrees(quarter_turns);
  const std::string box = TurnedBox(info);
  const auto argv = VectorFor(box, turn);
  if (vexaplatform::RunToolOnFiles(argv[0], argv.data(), from, target.get()) == 0) return true;
  unlink(path.c_str());
  return false;
}

bool HasGifsicle() { return access(kGifsicle, X_OK) == 0; }

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

// The two steps of the library's command, with a file in between that is nobody else's: the library
// names that one by the second and the source's name, so that two builds at once would take each
// other's.
bool MakeByConvert(const ThumbInfo& info, const std::string& source, const std::string& path) {
  const std::string frames = TemporaryFor("/var/tmp/" + LastComponent(source));
  const bool is_made = WriteFullFrames(source, frames) && FitFrames(info, frames, path);
  unlink(frames.c_str());
  if (!is_made) unlink(path.c_str());
  return is_made;
}

}  // namespace

bool MakeAnimation(const ThumbInfo& info, const std::string& source, const std::string& path,
                   const SourceVersion* version) {
  if (HasGifsicle()) {
    const posix::UniqueFd file = OpenSource(source);
    if (version != nullptr && !version->IsOf(file.get())) return false;
    const int quarter_turns = info.GetRotate() + info.GetUserRotate();
    if (file && FitOpenAnimation(info, quarter_turns, file.get(), path)) return true;
  }
  return MakeByConvert(info, source, path);
}

bool MakeSmallerAnimation(const ThumbInfo& info, int larger, const std::string& path) {
  return HasGifsicle() && FitOpenAnimation(info, 0, larger, path);
}

}  // namespace vexathumb::service
