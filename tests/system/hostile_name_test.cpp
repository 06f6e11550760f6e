#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct NameCase {
  const char* name;
  std::string file;
};

void PrintTo(const NameCase& name, std::ostream* out) { *out << name.name; }

class HostileName : public ::testing::TestWithParam<NameCase> {};

TEST_P(HostileName, IsServedBuiltAndToldAbout) {
  const Album album;
  const std::string& name = GetParam().file;
  kit::WriteJpeg(album.Aside("picture.jpg"), {{800, 600}, 6});
  std::filesystem::copy_file(album.Aside("picture.jpg"), album / name);
  const RunOptions in_album = {album.pictures(), {}, "", false};

  const RunResult got =
      album.Run({"get", "--size", "small", "-o", album.Aside("out"), "--", name}, in_album);
  EXPECT_EQ(got.exit_code, 0) << got.err;
  EXPECT_EQ(kit::Corners(album.Aside("out")), kit::kPictureCorners);

  const RunResult built = album.Run({"build", "--sizes", "big", "--", name}, in_album);
  EXPECT_EQ(built.exit_code, 0) << built.err;
  EXPECT_EQ(kit::Corners(album.Stored(name, "VEXAFILE_THUMB_B_r1.jpg")), kit::kPictureCorners);
  EXPECT_THAT(album.Run({"build", "--sizes", "big", album.pictures()}).out,
              HasSubstr("0 built, 1 current, 0 failed"));

  const RunResult told = album.Run({"info", "--json", "--", name}, in_album);
  EXPECT_EQ(told.exit_code, 0);
  EXPECT_EQ(told.json()["width"], 600);
}

TEST_P(HostileName, IsToldInOneLineWhenItFails) {
  const Album album;
  const std::string& name = GetParam().file;
  kit::WriteFile(album / name, kNoPicture);
  const RunResult run = album.Run({"build", "--table", album.pictures()});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.err, Not(HasSubstr("\x1b")));
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 1 + 5 + 1) << run.out;
}

TEST_P(HostileName, IsAnOutputToo) {
  const Album album;
  const std::string& name = GetParam().file;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const RunResult run = album.Run({"get", album / "a.jpg", "--size", "small", "-o", name},
                                  {album.Aside(""), {}, "", false});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(kit::Corners(album.Aside(name)), kit::kPictureCorners);
}

INSTANTIATE_TEST_SUITE_P(
    Names, HostileName,
    ::testing::Values(NameCase{"newline", "a\nb.jpg"}, NameCase{"not_utf8", "a\xff\xfe.jpg"},
                      NameCase{"leading_dash", "-o.jpg"}, NameCase{"quotes", "a'b\"c.jpg"},
                      NameCase{"escape", "a\x1b[31m.jpg"}, NameCase{"blank", " .jpg"},
                      NameCase{"shell", "$(id);`id`&|.jpg"}, NameCase{"at", "@a.jpg"},
                      NameCase{"prefix", "png:a.jpg"}, NameCase{"umlaut", "ä.jpg"},
                      NameCase{"longest", std::string(251, 'n') + ".jpg"}),
    CaseName());

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
