#include "kit/case_name.h"
#include "kit/pictures/pixels.h"
#include "unit/thumb/command/command_test.h"
#include "vlibc/process.h"

namespace vexathumb {
namespace {

// The commands on the real tools.
class CommandOnRealTools : public CommandTest {
 protected:
  CommandOnRealTools() { platform_.RunReally(); }

  ThumbInfo Inspected(const std::string& path, const kit::Size& box = {120, 120}) {
    ThumbInfo info(path, "__CUSTOM_SIZE__", Box(box));
    info.ExtractImgInfo(false);
    return info;
  }

  const std::string destination_ = dir_ / "thumb.jpg";
};

TEST_F(CommandOnRealTools, ConvertFitsThePictureIntoTheBox) {
  const std::string source = dir_ / "a.png";
  kit::WritePng(source);
  ASSERT_TRUE(ConvertCmd(Inspected(source), source, destination_).exec());
  const kit::PictureInfo picture = kit::Examine(destination_);
  EXPECT_EQ(picture.format, "JPEG");
  EXPECT_EQ(picture.width, 120);
  EXPECT_EQ(picture.height, 90);
  EXPECT_EQ(kit::Corners(destination_), kit::kPictureCorners);
}

TEST_F(CommandOnRealTools, ConvertCutsTheBoxFromTheMiddle) {
  const std::string source = dir_ / "a.png";
  kit::WritePng(source);
  ThumbInfo info = Inspected(source, {60, 40});
  info.SetCropMode(true);
  ASSERT_TRUE(ConvertCmd(info, source, destination_).exec());
  EXPECT_EQ(kit::Corners(destination_), kit::kPictureCorners);
  EXPECT_EQ(kit::Examine(destination_).width, 60);
  EXPECT_EQ(kit::Examine(destination_).height, 40);
}

TEST_F(CommandOnRealTools, ConvertLeavesNoOutputOfASourceThatIsNoPicture) {
  const std::string source = dir_ / "a.png";
  kit::WriteFile(source, "no picture");
  EXPECT_FALSE(ConvertCmd(ThumbInfo(source, "small", {120, 120}), source, destination_).exec());
  EXPECT_FALSE(Exists(destination_));
}

TEST_F(CommandOnRealTools, DecodingYieldsABitmapOfTheScaledSize) {
  const std::string source = dir_ / "a.jpg";
  kit::WriteJpeg(source);
  DJpegCmd command(Inspected(source), source, destination_);
  ASSERT_TRUE(command.exec());
  const kit::PictureInfo picture = kit::Examine(destination_);
  EXPECT_EQ(picture.format.substr(0, 3), "BMP");
  EXPECT_EQ(picture.width, 400 >> command.GetScale());
  // Rows of this width need no padding, so the count is exact.
  EXPECT_EQ(std::filesystem::file_size(destination_), command.GetConvertBytes());
}

class TurnOnRealTools : public CommandOnRealTools, public testing::WithParamInterface<int> {};

TEST_P(TurnOnRealTools, LosslessOneShowsThePictureUpright) {
  // A whole number of blocks, so that nothing is trimmed.
  const std::string source = dir_ / "a.jpg";
  kit::JpegOptions stored;
  stored.size = {320, 160};
  stored.orientation = GetParam();
  kit::WriteJpeg(source, stored);
  ASSERT_TRUE(JpegTranCmd(Inspected(source), source, destination_, false).exec());
  EXPECT_EQ(kit::Corners(destination_), kit::kPictureCorners);
  EXPECT_EQ(kit::Examine(destination_).width, 320);
}

INSTANTIATE_TEST_SUITE_P(Orientation, TurnOnRealTools, testing::Values(3, 6, 8));

TEST_F(CommandOnRealTools, LosslessTurnStreams) {
  const std::string source = dir_ / "a.jpg";
  kit::JpegOptions stored;
  stored.size = {320, 160};
  kit::WriteJpeg(source, stored);
  ThumbInfo info = Inspected(source);
  info.SetUserRotate(2);
  FILE* stream = JpegTranCmd(info, source, "", true).popen();
  ASSERT_NE(stream, nullptr);
  std::string turned;
  for (int c = fgetc(stream); c != EOF; c = fgetc(stream)) turned += static_cast<char>(c);
  EXPECT_EQ(VLIBCPclose(stream), 0);
  kit::WriteFile(destination_, turned);
  EXPECT_EQ(kit::Corners(destination_), "yellow blue green red");
}

TEST_F(CommandOnRealTools, AnimationKeepsItsFrames) {
  const std::string source = dir_ / ("a" + std::to_string(getpid()) + ".gif");
  kit::WriteAnimatedGif(source, {200, 100}, 5);
  ThumbInfo info = Inspected(source, {50, 50});
  info.SetEnableGIF(true);
  ASSERT_TRUE(GIFConvertCmd(info, source, dir_ / "thumb.gif").exec());
  const kit::PictureInfo picture = kit::Examine(dir_ / "thumb.gif");
  EXPECT_EQ(picture.format, "GIF");
  EXPECT_EQ(picture.frames, 5);
  EXPECT_EQ(picture.width, 50);
  EXPECT_EQ(picture.height, 25);
}

TEST_F(CommandOnRealTools, AnimationThatCannotBeReadLeavesNothing) {
  const std::string source = dir_ / "a.gif";
  kit::WriteFile(source, "GIF89a");
  GIFConvertCmd command(ThumbInfo(source, "small", {120, 120}), source, dir_ / "thumb.gif");
  EXPECT_FALSE(command.exec());
  EXPECT_FALSE(Exists("/var/tmp/convert_thumbnail__" + std::to_string(now_) + "a.gif"));
}

struct RawCase {
  const char* name;
  kit::RawPreview preview;
  bool result;
};

class RawOnRealTools : public CommandOnRealTools, public testing::WithParamInterface<RawCase> {};

TEST_P(RawOnRealTools, YieldsItsPreview) {
  const std::string source = dir_ / "a.dng";
  kit::DngOptions raw;
  raw.preview = GetParam().preview;
  kit::WriteDng(source, raw);
  std::filesystem::create_directories(dir_ / ".vexaea/a.dng");
  ASSERT_EQ(DcrawCmd(Inspected(source), source, destination_).exec(), GetParam().result);
  EXPECT_TRUE(std::filesystem::is_empty(dir_ / ".vexaea/a.dng"));
  EXPECT_EQ(Exists(destination_), GetParam().result);
  if (GetParam().result) {
    EXPECT_EQ(kit::Corners(destination_), kit::kPreviewCorners);
  }
}

INSTANTIATE_TEST_SUITE_P(Of, RawOnRealTools,
                         testing::ValuesIn<RawCase>({
                             {"Jpeg", kit::RawPreview::kJpeg, true},
                             {"JpegStrip", kit::RawPreview::kJpegStrip, true},
                             {"Pixels", kit::RawPreview::kPixels, true},
                             {"None", kit::RawPreview::kNone, false},
                         }),
                         kit::CaseName());

}  // namespace
}  // namespace vexathumb
