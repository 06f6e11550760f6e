#include <functional>

#include "kit/pictures/pixels.h"
#include "unit/thumb/request/request_test.h"

namespace vexathumb {
namespace {

// Requests on the real tools: what a client sees.
class OnRealTools : public RequestTest {
 protected:
  OnRealTools() { platform_.RunReally(); }
};

struct FormatCase {
  const char* name;
  const char* file;
  void (*write)(const std::string& path, int orientation);
};

class Orientation : public OnRealTools,
                    public testing::WithParamInterface<std::tuple<FormatCase, int>> {};

TEST_P(Orientation, IsUpright) {
  const auto& [format, orientation] = GetParam();
  const std::string source = dir_ / format.file;
  format.write(source, orientation);
  for (const char* const size : {"small", "medium"}) {
    Thumb thumb(source, 0);
    const std::string output = thumb.CalcOutputFile(size);
    ASSERT_NE(output, "") << size;
    EXPECT_EQ(kit::Corners(output), kit::kPictureCorners) << size;
    const kit::PictureInfo picture = kit::Examine(output);
    EXPECT_GT(picture.width, picture.height) << size;
  }
}

// Turned by the caller besides, the picture's top is on the right.
TEST_P(Orientation, IsTurnedOnByTheCaller) {
  const auto& [format, orientation] = GetParam();
  const std::string source = dir_ / format.file;
  format.write(source, orientation);
  Thumb thumb(source, 0);
  const std::string output = thumb.Rotate(1).CalcOutputFile("small");
  ASSERT_NE(output, "");
  EXPECT_EQ(kit::Corners(output), "blue red yellow green");
}

const FormatCase kFormats[] = {
    {"Jpeg", "a.jpg",
     [](const std::string& path, int orientation) {
       kit::JpegOptions options;
       options.orientation = orientation;
       kit::WriteJpeg(path, options);
     }},
    {"Png", "a.png",
     [](const std::string& path, int orientation) {
       kit::WritePng(path, {{400, 300}, orientation});
     }},
    {"Heic", "a.heic",
     [](const std::string& path, int orientation) {
       kit::WriteHeic(path, {{400, 300}, orientation});
     }},
};

INSTANTIATE_TEST_SUITE_P(Of, Orientation,
                         testing::Combine(testing::ValuesIn(kFormats), testing::Range(1, 9)),
                         [](const auto& test) {
                           return std::string(std::get<0>(test.param).name) +
                                  std::to_string(std::get<1>(test.param));
                         });

class PreviewOrientation : public OnRealTools, public testing::WithParamInterface<int> {};

// The preview is turned as the picture is. It is moved as it is where no turn is left, even if a
// mirror is.
TEST_P(PreviewOrientation, IsThatOfThePicture) {
  const int orientation = GetParam();
  kit::JpegOptions options;
  options.orientation = orientation;
  options.exif_thumbnail = kit::Size{160, 120};
  Thumb thumb(Jpeg(options), 0);
  const std::string output = thumb.CalcOutputFile("small");
  ASSERT_NE(output, "");
  EXPECT_EQ(kit::Corners(output), orientation == 2
                                      ? kit::StoredCorners(kit::kPreviewCorners, orientation)
                                      : kit::kPreviewCorners);
  const kit::PictureInfo picture = kit::Examine(output);
  EXPECT_EQ(picture.format, "JPEG");
  EXPECT_GT(picture.width, picture.height);
}

INSTANTIATE_TEST_SUITE_P(Of, PreviewOrientation, testing::Range(1, 9));

TEST_F(OnRealTools, AnimationStaysOneWhereItIsAllowed) {
  const std::string source = dir_ / ("a" + std::to_string(getpid()) + ".gif");
  kit::WriteAnimatedGif(source, {400, 300}, 4);
  Thumb animated(source, Thumb::ANIMATE_GIF);
  const kit::PictureInfo animation = kit::Examine(animated.CalcOutputFile("small"));
  EXPECT_EQ(animation.format, "GIF");
  EXPECT_EQ(animation.frames, 4);
  EXPECT_EQ(animation.width, 120);

  Thumb still(source, 0);
  const kit::PictureInfo first_frame = kit::Examine(still.CalcOutputFile("small"));
  EXPECT_EQ(first_frame.format, "JPEG");
  EXPECT_EQ(first_frame.frames, 1);
}

TEST_F(OnRealTools, RawPictureIsAnsweredByItsPreview) {
  for (const kit::RawPreview preview : {kit::RawPreview::kJpeg, kit::RawPreview::kJpegStrip}) {
    const std::string source = dir_ / ("a" + std::to_string(static_cast<int>(preview)) + ".dng");
    kit::DngOptions options;
    options.preview = preview;
    kit::WriteDng(source, options);
    Thumb thumb(source, 0);
    const std::string output = thumb.CalcOutputFile("medium");
    ASSERT_NE(output, "");
    EXPECT_EQ(kit::Corners(output), kit::kPreviewCorners);
  }
}

TEST_F(OnRealTools, AvatarIsCutFromTheMiddle) {
  const std::string source = Png();
  Thumb thumb(source, Thumb::AVATAR);
  EXPECT_TRUE(thumb.Output(96));
  const kit::PictureInfo picture = kit::Examine(thumb.GetOutputFile());
  EXPECT_EQ(picture.width, 96);
  EXPECT_EQ(picture.height, 96);
  EXPECT_EQ(kit::Corners(thumb.GetOutputFile()), kit::kPictureCorners);
}

TEST_F(OnRealTools, StoredPhotoAlbumThumbnailIsTurnedOnItsWayOut) {
  const std::string source = Jpeg();
  const std::string stored = Store(source, "VEXAPHOTO_THUMB_S.jpg");
  kit::JpegOptions options;
  options.size = {160, 80};
  kit::WriteJpeg(stored, options);
  Thumb thumb(source, Thumb::PIXDECK_EA | Thumb::NOT_CHECK_INDEX);
  EXPECT_TRUE(thumb.Rotate(1).Output("small"));
  const std::vector<kit::Call> sent = kit::CallJournal::Get().Of({"HttpOutputStream"});
  ASSERT_EQ(sent.size(), 1U);
  kit::WriteFile(dir_ / "sent.jpg", sent[0].arguments[1]);
  EXPECT_EQ(kit::Corners(dir_ / "sent.jpg"), "blue red yellow green");
}

}  // namespace
}  // namespace vexathumb
