#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

void WriteMixedAlbum(const Album& album) {
  fs::create_directories(album / "sub/deeper");
  kit::WriteJpeg(album / "a.jpg", {{1600, 1200}});
  kit::WriteJpeg(album / "turned.jpg", {{1600, 1200}, 6});
  kit::WriteJpeg(album / "tiny.jpg", {{60, 40}});
  kit::WritePng(album / "sub/b.png", {{800, 600}});
  kit::WriteAnimatedGif(album / "sub/c.gif");
  kit::WriteWebp(album / "sub/deeper/d.webp");
  kit::WriteHeic(album / "sub/deeper/e.HEIC", {{800, 600}, 6});
  kit::WriteDng(album / "sub/deeper/f.dng");
}

// All entries of the field in what `build --json` has told, with their files.
std::vector<Json> ThumbnailsIn(const RunResult& run) {
  std::vector<Json> thumbnails;
  for (const Json& object : run.json_lines()) {
    if (!object.contains("thumbnails")) continue;
    for (Json thumbnail : object["thumbnails"]) {
      thumbnail["file"] = object["file"];
      thumbnails.push_back(thumbnail);
    }
  }
  return thumbnails;
}

Json SummaryOf(const RunResult& run) { return run.json_lines().back()["summary"]; }

TEST(Build, MakesEverySizeOfEveryPictureAndNothingASecondTime) {
  const Album album;
  WriteMixedAlbum(album);
  const RunResult first = album.Run({"build", album.pictures(), "--json"});
  ASSERT_EQ(first.exit_code, 0) << first.err;
  EXPECT_THAT(first.err, IsEmpty());
  EXPECT_THAT(first.leftovers, IsEmpty());
  EXPECT_EQ(ThumbnailsIn(first).size(), 8 * 5);
  EXPECT_EQ(SummaryOf(first)["sources"], 8);
  EXPECT_GT(SummaryOf(first)["built"], 0);
  EXPECT_GT(SummaryOf(first)["bytes"], 0);
  EXPECT_EQ(SummaryOf(first)["failed"], 0);

  const std::string before = SnapshotOf(album.pictures());
  const std::string journal = album.Aside("journal");
  const RunResult second =
      album.Run({"build", album.pictures()}, {"", album.Spied("SPY_JOURNAL", journal)});
  EXPECT_EQ(second.exit_code, 0);
  EXPECT_THAT(second.out, HasSubstr("Nothing to do: 0 built, 40 current, 0 failed\n"));
  EXPECT_EQ(SnapshotOf(album.pictures()), before);
  EXPECT_FALSE(fs::exists(journal)) << kit::ReadFile(journal);
}

TEST(Build, StartsToolsWhereSomethingIsMissing) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{1600, 1200}});
  const std::string journal = album.Aside("journal");
  album.Run({"build", album / "a.jpg", "--sizes", "small"},
            {"", album.Spied("SPY_JOURNAL", journal)});
  EXPECT_EQ(kit::ReadFile(journal), "/usr/bin/djpeg\n/usr/bin/cjpeg\n");
}

TEST(Build, TellsOfEverySizeWhereItLies) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{500, 400}, 6});
  const auto thumbnails = ThumbnailsIn(album.Run({"build", album / "a.jpg", "--json"}));
  EXPECT_EQ(thumbnails.size(), 5);
  for (const Json& thumbnail : thumbnails) {
    SCOPED_TRACE(thumbnail.dump());
    EXPECT_EQ(thumbnail["file"], album / "a.jpg");
    EXPECT_EQ(thumbnail["from"], "Docdeck");
    EXPECT_EQ(kit::Corners(thumbnail["output"]), kit::kPictureCorners);
    EXPECT_EQ(thumbnail["width"], kit::Examine(thumbnail["output"]).width);
    EXPECT_EQ(thumbnail["state"], thumbnail["size"] == "xlarge" ? "current" : "built");
  }
}

TEST(Build, IsWhatGetThenServes) {
  const Album album;
  WriteMixedAlbum(album);
  const auto thumbnails = ThumbnailsIn(album.Run({"build", album.pictures(), "--json"}));
  EXPECT_EQ(thumbnails.size(), 40);
  for (const Json& thumbnail : thumbnails) {
    SCOPED_TRACE(thumbnail.dump());
    const Json answer = album
                            .Run({"get", "--only-stored", "--gif", "--json", thumbnail["file"],
                                  "--size", thumbnail["size"]})
                            .json();
    // A source that serves itself is nothing stored.
    const Json expected = thumbnail["from"] == "Docdeck" ? thumbnail["output"] : Json();
    EXPECT_EQ(answer["output"], expected);
  }
}

TEST(Build, MakesOnlyTheNamedSizes) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{1600, 1200}});
  EXPECT_EQ(album.Run({"build", "--sizes", "small,big", album / "a.jpg"}).exit_code, 0);
  EXPECT_TRUE(fs::exists(album.Stored("a.jpg", "VEXAFILE_THUMB_S.jpg")));
  EXPECT_TRUE(fs::exists(album.Stored("a.jpg", "VEXAFILE_THUMB_B.jpg")));
  EXPECT_FALSE(fs::exists(album.Stored("a.jpg", "VEXAFILE_THUMB_M.jpg")));
  EXPECT_FALSE(fs::exists(album.Stored("a.jpg", "VEXAFILE_THUMB_XL.jpg")));
}

TEST(Build, KeepsAnimations) {
  const Album album;
  kit::WriteAnimatedGif(album / "a.gif", {400, 300}, 5);
  ASSERT_EQ(album.Run({"build", album / "a.gif"}).exit_code, 0);
  EXPECT_EQ(kit::Examine(album.Stored("a.gif", "VEXAFILE_THUMB_S.gif")).frames, 5);
}

TEST(Build, CountsASourceThatServesItselfAsCurrent) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{60, 40}});
  const RunResult run = album.Run({"build", album / "a.jpg"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.out, HasSubstr("Nothing to do: 0 built, 5 current, 0 failed\n"));
  EXPECT_FALSE(fs::exists(album / ".vexaea"));
}

TEST(Build, MakesAThumbnailAnewWhenTheSourceHasAnotherTime) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  album.Run({"build", "--sizes", "small", album / "a.jpg"});
  const auto later = fs::last_write_time(album / "a.jpg") + std::chrono::seconds(10);
  fs::last_write_time(album / "a.jpg", later);
  const RunResult run = album.Run({"build", "--sizes", "small", album / "a.jpg"});
  EXPECT_THAT(run.out, HasSubstr("1 built, 0 current, 0 failed\n"));
}

TEST(Build, PassesOverWhatIsNoPictureOfTheAlbum) {
  const Album album;
  fs::create_directories(album / ".hidden");
  fs::create_directories(album.Aside("elsewhere"));
  kit::WriteJpeg(album / ".hidden/a.jpg", {{800, 600}});
  kit::WriteJpeg(album / ".a.jpg", {{800, 600}});
  kit::WriteJpeg(album.Aside("elsewhere/a.jpg"), {{800, 600}});
  fs::create_directory_symlink(album.Aside("elsewhere"), album / "linked");
  fs::create_symlink(album.Aside("elsewhere/a.jpg"), album / "linked.jpg");
  kit::WriteFifo(album / "fifo.jpg");
  kit::WriteFile(album / "video.mp4", kit::QuickTimeContent());
  kit::WriteFile(album / "notes.txt", "notes");
  const std::string before = SnapshotOf(album.pictures());
  const RunResult run = album.Run({"build", album.pictures(), album / "video.mp4"});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "Nothing to do: 0 built, 0 current, 0 failed\n");
  EXPECT_EQ(SnapshotOf(album.pictures()), before);
}

TEST(Build, GoesOnAfterAFailureAndTellsOfIt) {
  const Album album;
  kit::WriteFile(album / "bad.jpg", kNoPicture);
  kit::WriteJpeg(album / "good.jpg", {{800, 600}});
  const RunResult run = album.Run({"build", album.pictures(), "--sizes", "small,medium"});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_THAT(run.out, HasSubstr("2 built, 0 current, 2 failed\n"));
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.err, HasSubstr(album / "bad.jpg" + ": its content is no picture"));
  EXPECT_THAT(run.err, HasSubstr("(small, medium)"));
}

TEST(Build, AMissingNameIsToldAndTheOthersAreBuilt) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const RunResult run = album.Run({"build", album / "none.jpg", album / "a.jpg"});
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_TRUE(fs::exists(album.Stored("a.jpg", "VEXAFILE_THUMB_S.jpg")));
}

TEST(Build, CountsAPictureNamedTwiceOnce) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const RunResult run = album.Run(
      {"build", "--sizes", "small", album.pictures(), album / "a.jpg", album / "./a.jpg"});
  EXPECT_THAT(run.out, HasSubstr("1 built, 0 current, 0 failed\n"));
}

TEST(Build, ShowsATable) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  kit::WriteFile(album / "bad.jpg", kNoPicture);
  const RunResult run = album.Run({"build", "--table", "--sizes", "small", album.pictures()});
  EXPECT_THAT(run.out,
              ::testing::ContainsRegex("file +size +served from +pixels +bytes +ms +where"));
  EXPECT_THAT(run.out,
              ::testing::ContainsRegex("a.jpg +small +Docdeck +[0-9]+x[0-9]+ +[0-9]+ +[0-9]+ +" +
                                       album.Stored("a.jpg", "VEXAFILE_THUMB_S.jpg")));
  EXPECT_THAT(run.out,
              ::testing::ContainsRegex("bad.jpg +small +failed +- +- +[0-9]+ +its content"));
  EXPECT_THAT(run.out, HasSubstr("1 built, 0 current, 1 failed\n"));
}

TEST(Build, ShowsABarOnATerminal) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const std::string shown =
      kit::RunTool({"/usr/bin/script", "-qec",
                    std::string(VEXATHUMB_PROGRAM) + " build " + album / "a.jpg", "/dev/null"});
  EXPECT_THAT(shown, HasSubstr("1 of 1 sources"));
  EXPECT_THAT(shown, HasSubstr("built,"));
  EXPECT_THAT(album.Run({"build", album / "a.jpg"}).err, IsEmpty());
}

}  // namespace
}  // namespace vexathumb::system_test
