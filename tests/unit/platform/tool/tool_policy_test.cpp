#include <gmock/gmock.h>

#include "kit/case_name.h"
#include "kit/files.h"
#include "unit/platform/tool/tool_fixture.h"

namespace vexaplatform {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;

struct ContentCase {
  const char* name;
  std::string content;
};

void PrintTo(const ContentCase& content, std::ostream* out) { *out << content.name; }

class ContentOutsideOfThePolicy : public ToolTest,
                                  public testing::WithParamInterface<ContentCase> {};

TEST_P(ContentOutsideOfThePolicy, IsRefusedUnderTheNameOfAJpeg) {
  vexathumb::kit::WriteFile(source(), GetParam().content);
  testing::internal::CaptureStderr();
  const std::string frame = source() + "[0]";
  const std::string target = destination();
  const char* const argv[] = {"/usr/bin/convert", "-strip", frame.c_str(), target.c_str(), nullptr};
  EXPECT_EQ(VLIBCExecv(argv[0], argv, 1), 1);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("not allowed by the security policy"));
  EXPECT_FALSE(std::filesystem::exists(destination()));
  EXPECT_FALSE(LeftTemporaries());
}

INSTANTIATE_TEST_SUITE_P(
    , ContentOutsideOfThePolicy,
    testing::Values(
        ContentCase{"Svg",
                    "<?xml version=\"1.0\"?><svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" "
                    "height=\"9\"><image href=\"/srv/photo/a.jpg\" width=\"9\"/></svg>"},
        ContentCase{"ImageMagicksScript",
                    "<?xml version=\"1.0\"?><image><read filename=\"/srv/photo/a.jpg\"/></image>"},
        ContentCase{"PostScript", "%!PS\nshowpage\n"},
        // Which the system's own policy allows.
        ContentCase{"XPixmap",
                    "/* XPM */\nstatic char *a[] = {\n\"1 1 1 1\",\n\"a c red\",\n\"a\"};\n"},
        ContentCase{"ImageMagicksFormat",
                    "id=ImageMagick\n columns=1 rows=1\n\f\n:\x1a"
                    "123"}),
    vexathumb::kit::CaseName());

}  // namespace
}  // namespace vexaplatform
