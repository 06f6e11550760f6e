#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/hostile/hazardous_names.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class HostileName : public ::testing::TestWithParam<kit::HazardousName> {
 protected:
  const std::string name_ = GetParam().text + ".jpg";
};

TEST_P(HostileName, IsServedBuiltAndToldAbout) {
  const Album album;
  kit::WriteJpeg(album.Aside("picture.jpg"), {{800, 600}, 6});
  std::filesystem::copy_file(album.Aside("picture.jpg"), album / name_);
  const RunOptions in_album = {album.pictures(), {}, "", false};

  const RunResult got =
      album.Run({"get", "--size", "small", "-o", album.Aside("out"), "--", name_}, in_album);
  EXPECT_EQ(got.exit_code, 0) << got.err;
  EXPECT_EQ(kit::Corners(album.Aside("out")), kit::kPictureCorners);

  const RunResult built = album.Run({"build", "--sizes", "big", "--", name_}, in_album);
  EXPECT_EQ(built.exit_code, 0) << built.err;
  EXPECT_EQ(kit::Corners(album.Stored(name_, "VEXAFILE_THUMB_B_r1.jpg")), kit::kPictureCorners);
  EXPECT_THAT(album.Run({"build", "--sizes", "big", album.pictures()}).out,
              HasSubstr("0 built, 1 current, 0 failed"));

  const RunResult told = album.Run({"info", "--json", "--", name_}, in_album);
  EXPECT_EQ(told.exit_code, 0);
  EXPECT_EQ(told.json()["width"], 600);
}

TEST_P(HostileName, IsToldInOneLineWhenItFails) {
  const Album album;
  kit::WriteFile(album / name_, kNoPicture);
  const RunResult run = album.Run({"build", "--table", album.pictures()});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.err, Not(HasSubstr("\x1b")));
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 1 + 5 + 1) << run.out;
}

TEST_P(HostileName, IsAnOutputToo) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const RunResult run = album.Run({"get", album / "a.jpg", "--size", "small", "-o", name_},
                                  {album.Aside(""), {}, "", false});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(kit::Corners(album.Aside(name_)), kit::kPictureCorners);
}

INSTANTIATE_TEST_SUITE_P(Names, HostileName,
                         ::testing::ValuesIn(kit::HazardousNamesOf(
                             {"newline", "not_utf8", "dash_o", "quote", "double_quote", "escape",
                              "blank", "several_commands", "at_sign", "format_png", "umlaut",
                              "longest"})),
                         kit::CaseName());

TEST(Names, AreEscapedOnATerminal) {
  const Album album;
  kit::WriteJpeg(album / "a\x1b[31m.jpg", {{60, 40}});
  const std::string shown = kit::RunTool(
      {"/usr/bin/script", "-qec",
       std::string(VEXATHUMB_PROGRAM) + " get --size small " + album.pictures() + "/*.jpg",
       "/dev/null"});
  EXPECT_THAT(shown, HasSubstr("a\\x1b[31m.jpg"));
  EXPECT_THAT(shown, Not(HasSubstr("\x1b")));
}

TEST(Names, ThatAreTooLongAreToldAsUnreadable) {
  const Album album;
  for (const std::string& name : {std::string(256, 'n'), std::string(5000, 'n')}) {
    const RunResult run = album.Run({"get", album / name, "--size", "small"});
    EXPECT_EQ(run.exit_code, 3);
    EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  }
}

}  // namespace
}  // namespace vexathumb::system_test
