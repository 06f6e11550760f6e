#include <gtest/gtest.h>

#include "kit/case_name.h"
#include "kit/run_tool.h"
#include "platform/sandbox/landlock.h"
#include "unit/platform/tool/listened_thread.h"
#include "unit/platform/tool/tool_fixture.h"

namespace vexaplatform {
namespace {

struct PlaylistCase {
  const char* name;
  const char* tool;
  const char* text;  // VIDEO stands for the path of another's
};

void PrintTo(const PlaylistCase& playlist, std::ostream* out) { *out << playlist.name; }

// A text that is called a video, and names one that nobody is to see.
class PlaylistTest : public ToolTest, public testing::WithParamInterface<PlaylistCase> {
 protected:
  PlaylistTest() {
    vexathumb::kit::RunTool({"/usr/bin/ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
                             "testsrc=size=160x120:duration=1", "-c:v", "mpeg4",
                             folder_ / "pictures/secret.mp4"});
    std::string text = GetParam().text;
    const size_t at = text.find("VIDEO");
    if (at != std::string::npos) text.replace(at, 5, folder_ / "pictures/secret.mp4");
    vexathumb::kit::WriteFile(folder_ / "pictures/playlist.mp4", text);
  }

  int MakeScreenshot() const {
    const std::string from = folder_ / "pictures/playlist.mp4";
    const std::string to = destination();
    const std::string from_file = "file:" + from;
    const std::string to_file = "file:" + to;
    const std::vector<const char*> argv = GetParam().tool == std::string("/usr/bin/ffmpeg")
                                              ? std::vector<const char*>{GetParam().tool,
                                                                         "-nostdin",
                                                                         "-v",
                                                                         "quiet",
                                                                         "-y",
                                                                         "-i",
                                                                         from_file.c_str(),
                                                                         "-an",
                                                                         "-sn",
                                                                         "-vf",
                                                                         "thumbnail",
                                                                         "-frames:v",
                                                                         "1",
                                                                         "-q:v",
                                                                         "3",
                                                                         "-f",
                                                                         "mjpeg",
                                                                         to_file.c_str(),
                                                                         nullptr}
                                              : std::vector<const char*>{GetParam().tool,
                                                                         "-i",
                                                                         from.c_str(),
                                                                         "-o",
                                                                         to.c_str(),
                                                                         "-s",
                                                                         "0",
                                                                         "-q",
                                                                         "8",
                                                                         "-c",
                                                                         "jpeg",
                                                                         nullptr};
    return VLIBCExecv(argv[0], argv.data(), 1);
  }
};

TEST_P(PlaylistTest, IsNotFollowed) {
  if (LandlockVersion() == 0) GTEST_SKIP() << "not on this kernel";
  for (const int version : {kOwnLandlock, 5, 2, 1}) {
    RunWithLandlock(version, [this] { EXPECT_NE(MakeScreenshot(), 0); });
    EXPECT_FALSE(std::filesystem::exists(destination()) &&
                 std::filesystem::file_size(destination()) > 0);
  }
}

TEST_P(PlaylistTest, IsFollowedWithoutConfinement) {
  Set("confinement = no\n");
  // Later releases refuse what is named like a video by themselves.
  if (MakeScreenshot() != 0) GTEST_SKIP() << "this program follows none";
  EXPECT_TRUE(std::filesystem::exists(destination()));
}

constexpr char kHls[] = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nVIDEO\n#EXT-X-ENDLIST\n";
constexpr char kConcat[] = "ffconcat version 1.0\nfile secret.mp4\n";

INSTANTIATE_TEST_SUITE_P(, PlaylistTest,
                         testing::Values(PlaylistCase{"HlsByFfmpeg", "/usr/bin/ffmpeg", kHls},
                                         PlaylistCase{"HlsByFfmpegThumbnailer",
                                                      "/usr/bin/ffmpegthumbnailer", kHls},
                                         PlaylistCase{"ConcatByFfmpeg", "/usr/bin/ffmpeg", kConcat},
                                         PlaylistCase{"ConcatByFfmpegThumbnailer",
                                                      "/usr/bin/ffmpegthumbnailer", kConcat}),
                         vexathumb::kit::CaseName());

}  // namespace
}  // namespace vexaplatform
