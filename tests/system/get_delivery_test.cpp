#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// A picture whose quickly made thumbnail is far larger than the picture itself, so that the library
// calls it one to throw away.
void WriteFlatJpeg(const std::string& path) { kit::WriteJpeg(path, {{2000, 1500}}); }

TEST(GetOutput, WritesThePictureToAFile) {
  const Album album;
  kit::WritePng(album / "a.png", {{800, 600}});
  const std::string out = album.Aside("out.png");
  const RunResult run = album.Run({"get", album / "a.png", "--size", "small", "-o", out, "--json"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.json()["output"], out);
  EXPECT_EQ(run.json()["mime"], "image/png");
  EXPECT_EQ(run.json()["width"], 120);
  EXPECT_EQ(kit::ReadFile(out), kit::ReadFile(album.Stored("a.png", "VEXAFILE_THUMB_S.png")));
}

TEST(GetOutput, WritesThePictureToStandardOutputAndNothingElse) {
  const Album album;
  kit::WritePng(album / "a.png", {{800, 600}});
  for (const auto& size : {std::vector<std::string>{"--size", "small"}, {"--box", "120x120"}}) {
    std::vector<std::string> arguments = {"get", album / "a.png", "-o", "-"};
    arguments.insert(arguments.end(), size.begin(), size.end());
    const RunResult run = album.Run(arguments);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.out,
              kit::ReadFile(album.Stored("a.png", size[0] == "--box" ? "VEXAFILE_THUMB_120x120.png"
                                                                     : "VEXAFILE_THUMB_S.png")));
    EXPECT_THAT(run.err, IsEmpty());
  }
}

TEST(GetOutput, IsReadableAsTheUmaskSays) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const std::string out = album.Aside("out.jpg");
  const mode_t mask = umask(027);
  album.Run({"get", album / "a.jpg", "--size", "small", "-o", out});
  umask(mask);
  struct stat st = {};
  ASSERT_EQ(stat(out.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640U);
}

TEST(GetOutput, ReplacesWhatALinkLeadsTo) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  kit::WriteFile(album.Aside("target.jpg"), "before");
  fs::create_symlink(album.Aside("target.jpg"), album.Aside("link.jpg"));
  album.Run({"get", album / "a.jpg", "--size", "small", "-o", album.Aside("link.jpg")});
  EXPECT_TRUE(fs::is_symlink(album.Aside("link.jpg")));
  EXPECT_EQ(kit::Corners(album.Aside("target.jpg")), kit::kPictureCorners);
}

struct UnwritableCase {
  const char* name;
  const char* out;  // below a folder that holds the folder "folder"
};

void PrintTo(const UnwritableCase& unwritable, std::ostream* out) { *out << unwritable.name; }

class UnwritableOutput : public ::testing::TestWithParam<UnwritableCase> {};

TEST_P(UnwritableOutput, IsToldAndLeavesNothing) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const std::string place = album.Aside("place");
  fs::create_directories(place + "/folder");
  const std::string out =
      GetParam().out[0] == '/' ? GetParam().out : place + "/" + std::string(GetParam().out);
  const RunResult run = album.Run({"get", album / "a.jpg", "--size", "small", "-o", out});
  EXPECT_EQ(run.exit_code, 4);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.err, HasSubstr(out + ": cannot be written"));
  EXPECT_EQ(std::distance(fs::recursive_directory_iterator(place), {}), 1);
}

INSTANTIATE_TEST_SUITE_P(GetOutput, UnwritableOutput,
                         ::testing::Values(UnwritableCase{"a_folder", "folder"},
                                           UnwritableCase{"in_no_folder", "none/out.jpg"},
                                           UnwritableCase{"a_full_device", "/dev/full"}),
                         kit::CaseName());

TEST(GetOutput, AFullStandardOutputIsTold) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const RunResult run = album.Run({"get", album / "a.jpg", "--size", "small", "-o", "-"},
                                  {"", {}, "/dev/full", false});
  EXPECT_EQ(run.exit_code, 4);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
}

TEST(GetOutput, IsNotTheSourceByAnyName) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  fs::create_hard_link(album / "a.jpg", album / "same.jpg");
  const std::string before = kit::ReadFile(album / "a.jpg");
  for (const char* out : {"a.jpg", "./a.jpg", "same.jpg", "../pictures/a.jpg"}) {
    SCOPED_TRACE(out);
    const RunResult run = album.Run({"get", "a.jpg", "--size", "small", "-o", out},
                                    {album.pictures(), {}, "", false});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(kit::ReadFile(album / "a.jpg"), before);
  }
}

TEST(ThrowAway, StaysWhereItsPathIsHandedOut) {
  const Album album;
  WriteFlatJpeg(album / "a.jpg");
  const RunResult run =
      album.Run({"get", album / "a.jpg", "--size", "large", "--library", "--json"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_TRUE(fs::exists(std::string(run.json()["output"])));
}

TEST(ThrowAway, IsDeletedOnceWritten) {
  const Album album;
  WriteFlatJpeg(album / "a.jpg");
  const std::string out = album.Aside("out");
  const RunResult run =
      album.Run({"get", album / "a.jpg", "--size", "large", "--library", "-o", out});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(kit::Corners(out), kit::kPictureCorners);
  EXPECT_FALSE(fs::exists(album.Stored("a.jpg", "VEXAFILE_THUMB_XL.jpg")));
}

TEST(ThrowAway, IsDeletedWhenItCannotBeWritten) {
  const Album album;
  WriteFlatJpeg(album / "a.jpg");
  album.Run({"get", album / "a.jpg", "--size", "large", "--library", "-o", "-"},
            {"", {}, "/dev/full", false});
  EXPECT_FALSE(fs::exists(album.Stored("a.jpg", "VEXAFILE_THUMB_XL.jpg")));
}

TEST(ThrowAway, IsNeverTheSource) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{60, 40}});
  const std::string before = Identity(album / "a.jpg");
  for (const char* size : {"small", "original"}) {
    album.Run({"get", album / "a.jpg", "--size", size, "-o", album.Aside("out")});
    EXPECT_EQ(kit::ReadFile(album.Aside("out")), kit::ReadFile(album / "a.jpg"));
  }
  EXPECT_EQ(Identity(album / "a.jpg"), before);
}

// On a volume without a store what is made lies in /var/tmp.
TEST(VolumeWithoutStore, GetHandsOutATemporaryFile) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}, 6});
  const RunResult run = album.Run({"get", album / "a.jpg", "--size", "small", "--json"},
                                  {"", album.Spied("SPY_REMOTE", "1"), "", false});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.json()["from"], "DocdeckVarTmp");
  ASSERT_EQ(run.leftovers, std::vector<std::string>{run.json()["output"]});
  EXPECT_EQ(kit::Corners(run.leftovers.front()), kit::kPictureCorners);
  fs::remove(run.leftovers.front());
}

TEST(VolumeWithoutStore, GetDeletesTheTemporaryFileOnceWritten) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}, 6});
  const std::string out = album.Aside("out");
  for (const std::string& target : {out, std::string("-")}) {
    const RunResult run = album.Run({"get", album / "a.jpg", "--size", "small", "-o", target},
                                    {"", album.Spied("SPY_REMOTE", "1"), "", false});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.leftovers, IsEmpty());
  }
  EXPECT_EQ(kit::Corners(out), kit::kPictureCorners);
  EXPECT_FALSE(fs::exists(album / ".vexaea"));
}

}  // namespace
}  // namespace vexathumb::system_test
