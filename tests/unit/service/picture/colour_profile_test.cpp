#include "service/picture/colour_profile.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/colour_profile.h"
#include "kit/temp_dir.h"
#include "posix/unique_fd.h"

namespace vexathumb::service {
namespace {

std::string Segment(char marker, const std::string& content) {
  const size_t length = content.size() + 2;
  return std::string("\xff") + marker + static_cast<char>(length / 256) +
         static_cast<char>(length % 256) + content;
}

std::string ProfileSegment(const std::string& profile) {
  return Segment('\xe2', std::string("ICC_PROFILE\0\1\1", 14) + profile);
}

const std::string kStart = "\xff\xd8";
const std::string kExif = Segment('\xe1', "Exif" + std::string(60'000, 'x'));
const std::string kScan = Segment('\xda', std::string(100, '\0'));

struct ProfileCase {
  const char* name;
  std::string content;
  bool expected;
};

class ColourProfile : public testing::TestWithParam<ProfileCase> {};

TEST_P(ColourProfile, IsFoundBeforeThePixels) {
  const kit::TempDir folder;
  kit::WriteFile(folder / "a.jpg", GetParam().content);
  const posix::UniqueFd file(open((folder / "a.jpg").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(HasOwnColours(file.get()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    , ColourProfile,
    testing::Values(
        ProfileCase{"None", kStart + kExif + kScan, false},
        ProfileCase{"OfACamera", kStart + ProfileSegment(kit::AdobeRgbProfile()) + kScan, true},
        ProfileCase{"BehindOtherThings",
                    kStart + kExif + kExif + ProfileSegment(kit::AdobeRgbProfile()) + kScan, true},
        ProfileCase{"Srgb", kStart + ProfileSegment("…sRGB IEC61966-2.1…") + kScan, false},
        ProfileCase{"SrgbInUtf16",
                    kStart + ProfileSegment(std::string("\0s\0R\0G\0B\0 ", 10)) + kScan, false},
        ProfileCase{"AfterThePixels", kStart + kScan + ProfileSegment("P3"), false},
        ProfileCase{"OtherApplicationsData", kStart + Segment('\xe2', std::string(64, 'F')) + kScan,
                    false},
        ProfileCase{"CutShort", kStart + kExif.substr(0, 100), false},
        ProfileCase{"NoJpeg", "GIF89a" + ProfileSegment("P3"), false},
        ProfileCase{"Empty", "", false},
        ProfileCase{"SegmentsWithoutLength", kStart + std::string(5'000, '\xff'), false}),
    kit::CaseName());

TEST(ColourProfileOfNoFile, IsNone) { EXPECT_FALSE(HasOwnColours(-1)); }

}  // namespace
}  // namespace vexathumb::service
