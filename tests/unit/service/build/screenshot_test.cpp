#include "service/build/screenshot.h"

#include <gtest/gtest.h>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

struct BeginningCase {
  const char* name;
  std::string beginning;
  bool is_text;
};

void PrintTo(const BeginningCase& beginning, std::ostream* out) { *out << beginning.name; }

class VideoThatBeginsAs : public ServiceTest, public testing::WithParamInterface<BeginningCase> {};

TEST_P(VideoThatBeginsAs, TextIsNone) {
  kit::WriteFile(Picture("a.mp4"), GetParam().beginning);
  EXPECT_EQ(IsNoVideo(Picture("a.mp4")), GetParam().is_text);
}

using namespace std::string_literals;

INSTANTIATE_TEST_SUITE_P(
    , VideoThatBeginsAs,
    testing::Values(BeginningCase{"Hls", "#EXTM3U\n/srv/b.ts\n", true},
                    BeginningCase{"Concat", "ffconcat version 1.0\nfile b.mp4\n", true},
                    BeginningCase{"Dash", "<?xml version=\"1.0\"?>\n<MPD>", true},
                    BeginningCase{"MarkedText", "\xef\xbb\xbf#EXTM3U\n", true},
                    BeginningCase{"Session", "v=0\r\no=- 0 0 IN IP4 1.2.3.4\r\n", true},
                    BeginningCase{"Mp4",
                                  "\0\0\0\x20"
                                  "ftypisom"s,
                                  false},
                    BeginningCase{"MovieWhoseSizeReadsAsText", "!   mdat", false},
                    BeginningCase{"AviWhoseSizeReadsAsText", "RIFF    AVI ", false},
                    BeginningCase{"Matroska", "\x1a\x45\xdf\xa3\x01\0\0\0"s, false},
                    BeginningCase{"Flash", "FLV\x01\x05\0\0\0\x09"s, false},
                    BeginningCase{"Program", "\0\0\x01\xba\x44\0\x04\0"s, false},
                    BeginningCase{"Short", "#EXTM3U", false}, BeginningCase{"Empty", "", false}),
    kit::CaseName());

TEST_F(ServiceTest, AFifoInThePlaceOfAVideoIsNotWaitedFor) {
  kit::WriteFifo(elsewhere_ / "a.mp4");
  EXPECT_FALSE(IsNoVideo(elsewhere_ / "a.mp4"));
}

struct MakerCase {
  const char* name;
  ToolFault fault;  // of ffmpegthumbnailer
};

void PrintTo(const MakerCase& maker, std::ostream* out) { *out << maker.name; }

class ScreenshotTest : public ServiceTest, public testing::WithParamInterface<MakerCase> {
 protected:
  ScreenshotTest() {
    kit::RunTool({"/usr/bin/ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
                  "testsrc=size=1600x400:rate=5:duration=1", "-c:v", "mpeg4", Picture("a.mp4")});
  }
};

TEST_P(ScreenshotTest, IsMadeByWhicheverProgramCan) {
  machine_.Break("ffmpegthumbnailer", GetParam().fault);
  ASSERT_TRUE(CanMakeScreenshots());
  ASSERT_TRUE(MakeScreenshot(Picture("a.mp4"), elsewhere_ / "a.jpg"));
  const kit::PictureInfo picture = kit::Examine(elsewhere_ / "a.jpg");
  EXPECT_EQ(picture.width, 1280);
  EXPECT_EQ(picture.height, 320);
}

INSTANTIATE_TEST_SUITE_P(, ScreenshotTest,
                         testing::Values(MakerCase{"BothInstalled", ToolFault::kNone},
                                         MakerCase{"FirstMissing", ToolFault::kMissing},
                                         MakerCase{"FirstFailing", ToolFault::kFails},
                                         MakerCase{"FirstKilled", ToolFault::kKilled}),
                         kit::CaseName());

TEST_F(ScreenshotTest, IsNoneWhereAllProgramsFail) {
  machine_.on_run = [](const auto&, const auto&) { return ToolFault::kFails; };
  EXPECT_FALSE(MakeScreenshot(Picture("a.mp4"), elsewhere_ / "a.jpg"));
}

}  // namespace
}  // namespace vexathumb::service
