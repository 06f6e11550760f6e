#include "service/picture/displayed_pixels.h"

#include <gtest/gtest.h>

#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"

namespace vexathumb::service {
namespace {

using kit::TempDir;

struct Shape {
  const char* name;
  int orientation;
};

class Displayed : public testing::TestWithParam<Shape> {
 protected:
  static void ExpectUpright(const std::string& path) {
    const auto pixels = DisplayedPixels(path);
    ASSERT_TRUE(pixels);
    EXPECT_EQ(pixels->width, 128U);
    EXPECT_EQ(pixels->height, 64U);
  }

  const TempDir folder_;
};

TEST_P(Displayed, JpegIsUpright) {
  kit::WriteJpeg(folder_ / "a.jpg", {{128, 64}, GetParam().orientation, {}, {}, {}});
  ExpectUpright(folder_ / "a.jpg");
}

// Its stored size is turned, too, and its decoder turns it. The encoder pads sides of less than 64.
TEST_P(Displayed, HeicIsUpright) {
  kit::WriteHeic(folder_ / "a.heic", {{128, 64}, GetParam().orientation});
  ExpectUpright(folder_ / "a.heic");
}

INSTANTIATE_TEST_SUITE_P(, Displayed,
                         testing::Values(Shape{"Unsaid", 0}, Shape{"Upright", 1},
                                         Shape{"Mirrored", 2}, Shape{"UpsideDown", 3},
                                         Shape{"UpsideDownMirrored", 4},
                                         Shape{"OtherSidewaysMirrored", 5}, Shape{"Sideways", 6},
                                         Shape{"SidewaysMirrored", 7}, Shape{"OtherSideways", 8}),
                         kit::CaseName());

TEST(DisplayedPixels, AreNotKnownOfWhatIsNoPicture) {
  const TempDir folder;
  kit::WriteFile(folder / "a.jpg", "not a picture");
  EXPECT_FALSE(DisplayedPixels(folder / "a.jpg"));
  EXPECT_FALSE(DisplayedPixels(folder / "missing.jpg"));
}

}  // namespace
}  // namespace vexathumb::service
