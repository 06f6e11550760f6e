#ifndef VEXATHUMB_TESTS_UNIT_THUMB_COMMAND_COMMAND_TEST_H_
#define VEXATHUMB_TESTS_UNIT_THUMB_COMMAND_COMMAND_TEST_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "kit/doubles/call_journal.h"
#include "kit/doubles/libc_double.h"
#include "kit/doubles/platform_double.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_convert_cmd.h"

namespace vexathumb {

// What a command is told of its source.
struct Source {
  kit::Size pixels = {4000, 3000};
  kit::Size box = {320, 240};
  int rotate = 0;
  int user_rotate = 0;
  bool flop = false;
  bool crop = false;
};

// Commands on a platform and a libc that record. Paths are under a folder of the test's own.
class CommandTest : public testing::Test {
 protected:
  using Vector = std::vector<std::string>;

  CommandTest() {
    libc_.pid = 1234;
    libc_.time = now_;
  }

  // A description without metadata but for what is told; a mirror takes a real picture.
  ThumbInfo Describe(const Source& source) {
    const std::string path = dir_ / "described.jpg";
    kit::JpegOptions picture;
    picture.size = {16, 16};
    picture.orientation = 2;
    if (source.flop) {
      kit::WriteJpeg(path, picture);
    } else {
      kit::WriteFile(path, "");
    }
    ThumbInfo info(path, "__CUSTOM_SIZE__", Box(source.box));
    if (source.flop) info.ExtractImgInfo(false);
    info.SetWidth(static_cast<uint32_t>(source.pixels.width));
    info.SetHeight(static_cast<uint32_t>(source.pixels.height));
    info.SetRotate(source.rotate);
    info.SetUserRotate(source.user_rotate);
    info.SetCropMode(source.crop);
    kit::CallJournal::Get().Clear();
    return info;
  }

  static ThumbDimension Box(const kit::Size& size) {
    return {static_cast<uint32_t>(size.width), static_cast<uint32_t>(size.height)};
  }

  static std::vector<Vector> ToolVectors() { return kit::CallJournal::Get().ToolVectors(); }

  // The paths that the library removed, in order.
  static Vector Unlinked() {
    Vector paths;
    for (const kit::Call& call : kit::CallJournal::Get().Of({"unlink"})) {
      paths.push_back(call.path);
    }
    return paths;
  }

  static bool Exists(const std::string& path) { return std::filesystem::exists(path); }

  // Differs between processes, so that names in shared folders do too.
  const time_t now_ = 1700000000 + getpid();
  kit::TempDir dir_;
  kit::PlatformDouble platform_;
  kit::LibcDouble libc_;
};

}  // namespace vexathumb

#endif  // VEXATHUMB_TESTS_UNIT_THUMB_COMMAND_COMMAND_TEST_H_
