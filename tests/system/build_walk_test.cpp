#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/run_tool.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

// The files that a dry run would build for, relative to the album.
std::vector<std::string> Due(const Album& album, std::vector<std::string> arguments,
                             const RunOptions& options = {}) {
  arguments.insert(arguments.begin(), {"build", "--dry-run", "--json"});
  std::vector<std::string> files;
  for (const Json& object : album.Run(arguments, options).json_lines()) {
    if (!object.contains("state") || object["state"] != "due") continue;
    files.push_back(object["file"].get<std::string>().substr(album.pictures().size() + 1));
  }
  return files;
}

void WriteTree(const Album& album, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    fs::create_directories(fs::path(album / name).parent_path());
    kit::WriteJpeg(album / name, {{200, 150}});
  }
}

TEST(BuildWalk, LeavesOutFoldersThatAskForIt) {
  const Album album;
  WriteTree(album, {"a.jpg", "marked/b.jpg", "marked/sub/c.jpg", "sub/d.jpg"});
  kit::WriteFile(album / "marked/.nomedia", "");
  EXPECT_THAT(Due(album, {album.pictures()}), UnorderedElementsAre("a.jpg", "sub/d.jpg"));
}

TEST(BuildWalk, StaysOnOneFileSystemUnlessTold) {
  const Album album;
  WriteTree(album, {"a.jpg"});
  fs::create_directory(album / "mounted");
  try {
    kit::RunTool({"/usr/bin/mount", "-t", "tmpfs", "tmpfs", album / "mounted"});
  } catch (const std::exception&) {
    GTEST_SKIP() << "nothing can be mounted here";
  }
  WriteTree(album, {"mounted/b.jpg"});
  const auto one = Due(album, {album.pictures()});
  const auto all = Due(album, {"--cross-file-systems", album.pictures()});
  kit::RunTool({"/usr/bin/umount", album / "mounted"});
  EXPECT_THAT(one, ElementsAre("a.jpg"));
  EXPECT_THAT(all, UnorderedElementsAre("a.jpg", "mounted/b.jpg"));
}

TEST(BuildWalk, GivesWhatIsNamedTwiceOnce) {
  const Album album;
  WriteTree(album, {"a.jpg", "sub/b.jpg", ".hidden/c.jpg"});
  EXPECT_THAT(Due(album, {album.pictures(), album / "sub", album / "sub/b.jpg", album / "a.jpg",
                          album / ".hidden"}),
              UnorderedElementsAre("a.jpg", "sub/b.jpg", ".hidden/c.jpg"));
}

struct ListCase {
  const char* name;
  std::vector<std::string> options;
  std::string list;
  std::vector<std::string> due;
};

void PrintTo(const ListCase& list, std::ostream* out) { *out << list.name; }

class BuildFromList : public ::testing::TestWithParam<ListCase> {};

TEST_P(BuildFromList, TakesTheNamedFiles) {
  const Album album;
  WriteTree(album, {"a.jpg", "b.jpg", "c\nd.jpg", "sub/e.jpg", "notes.txt"});
  kit::WriteFile(album.Aside("list"), GetParam().list);
  std::vector<std::string> arguments = {"--files-from", "-"};
  arguments.insert(arguments.end(), GetParam().options.begin(), GetParam().options.end());
  RunOptions options;
  options.folder = album.pictures();
  options.input = album.Aside("list");
  EXPECT_THAT(Due(album, arguments, options), ::testing::UnorderedElementsAreArray(GetParam().due));
  arguments[1] = album.Aside("list");
  options.input = "/dev/null";
  EXPECT_THAT(Due(album, arguments, options), ::testing::UnorderedElementsAreArray(GetParam().due));
}

INSTANTIATE_TEST_SUITE_P(
    Lists, BuildFromList,
    ::testing::Values(
        ListCase{"a_line_each", {}, "a.jpg\nb.jpg\n", {"a.jpg", "b.jpg"}},
        ListCase{"last_line_without_end", {}, "a.jpg\n\nb.jpg", {"a.jpg", "b.jpg"}},
        ListCase{"null_bytes", {"-0"}, std::string("c\nd.jpg\0a.jpg\0", 14), {"c\nd.jpg", "a.jpg"}},
        ListCase{"a_folder", {}, "sub\n", {"sub/e.jpg"}},
        ListCase{"other_files", {}, "notes.txt\na.jpg\n", {"a.jpg"}},
        ListCase{"hidden_files", {}, "./a.jpg\n.vexaea/b.jpg/c.jpg\n./sub/.d.jpg\n", {"a.jpg"}},
        ListCase{"nothing", {}, "", {}}),
    kit::CaseName());

TEST(BuildFromList, TellsOfNamesThatAreMissingAndGoesOn) {
  const Album album;
  WriteTree(album, {"a.jpg"});
  kit::WriteFile(album.Aside("list"), "none.jpg\na.jpg\n");
  RunOptions options;
  options.folder = album.pictures();
  const RunResult run = album.Run({"build", "--files-from", album.Aside("list")}, options);
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_THAT(run.err, HasSubstr("none.jpg: No such file"));
  EXPECT_TRUE(fs::exists(album.Stored("a.jpg", "VEXAFILE_THUMB_S.jpg")));
}

TEST(BuildFromList, AListThatIsMissingIsTold) {
  const Album album;
  const RunResult run = album.Run({"build", "--files-from", album.Aside("none")});
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
}

TEST(BuildDryRun, ChangesNothingAndNamesTheSizes) {
  const Album album;
  WriteTree(album, {"a.jpg"});
  kit::WriteFile(album / "bad.jpg", kNoPicture);
  const std::string before = SnapshotOf(album.pictures());
  const RunResult run = album.Run({"build", "--dry-run", album / "a.jpg"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.out, HasSubstr(album / "a.jpg" + ": small\n"));
  EXPECT_THAT(run.out, HasSubstr("0 built, 4 current, 0 failed, 1 due\n"));
  album.Run({"build", "--dry-run", album.pictures()});
  EXPECT_EQ(SnapshotOf(album.pictures()), before);
}

void WriteVideo(const std::string& path) {
  kit::RunTool({"/usr/bin/ffmpeg", "-v", "quiet", "-nostdin", "-y", "-f", "lavfi", "-i",
                "testsrc=size=320x240:rate=5:duration=2", path});
}

TEST(BuildVideos, MakesTheScreenshotsThatAreMissing) {
  const Album album;
  if (!fs::exists("/usr/bin/ffmpeg")) GTEST_SKIP() << "no ffmpeg";
  WriteVideo(album / "%d clip.mp4");
  kit::WriteFile(album / "sound.m4a", "sound");
  kit::WriteFile(album / "bad.mov", kNoPicture);
  kit::WriteJpeg(album.Aside("shot.jpg"), {{64, 48}});
  WriteVideo(album / "kept.avi");
  album.Store("kept.avi", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg", album.Aside("shot.jpg"));
  album.WriteSettings(album.IndexedShare());

  const RunResult run = album.Run({"build", "--videos", album.pictures()});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_THAT(run.out, HasSubstr("1 built, 1 current, 1 failed\n"));
  EXPECT_THAT(run.err, HasSubstr("bad.mov"));
  const std::string made = album.Stored("%d clip.mp4", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg");
  const Json answer = album.Run({"get", "--json", "--size", "big", album / "%d clip.mp4"}).json();
  EXPECT_EQ(answer["output"], made);
  EXPECT_EQ(answer["width"], 320);
  EXPECT_EQ(kit::ReadFile(album.Stored("kept.avi", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg")),
            kit::ReadFile(album.Aside("shot.jpg")));
  EXPECT_THAT(album.Run({"build", "--videos", album.pictures()}).out,
              HasSubstr("0 built, 2 current, 1 failed\n"));
}

TEST(BuildVideos, FollowsNoPlaylistOutOfTheShare) {
  const Album album;
  if (!fs::exists("/usr/bin/ffmpeg")) GTEST_SKIP() << "no ffmpeg";
  WriteVideo(album.Aside("secret.mp4"));
  kit::WriteFile(album / "playlist.mp4", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" +
                                             album.Aside("secret.mp4") + "\n#EXT-X-ENDLIST\n");
  album.WriteSettings(album.IndexedShare());
  EXPECT_THAT(album.Run({"build", "--videos", album.pictures()}).out,
              HasSubstr("0 built, 0 current, 1 failed\n"));
  EXPECT_FALSE(fs::exists(album.Stored("playlist.mp4", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg")));
}

}  // namespace
}  // namespace vexathumb::system_test
