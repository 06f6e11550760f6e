#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

std::vector<Json> Objects(const std::string& text) {
  std::vector<Json> objects;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) objects.push_back(Json::parse(line));
  return objects;
}

// An album with thumbnails of one size of two pictures.
class StoreCare : public ::testing::Test {
 protected:
  StoreCare() {
    // Undisturbed by others that use this machine.
    album_.WriteSettings("[service]\nlock_dir = " + album_.Aside("locks") + "\n");
    kit::WriteJpeg(album_ / "a.jpg", {{800, 600}});
    kit::WriteJpeg(album_ / "b.jpg", {{800, 600}});
    album_.Run({"build", "--sizes", "small", album_.pictures()});
  }

  std::string Thumbnail(const std::string& picture) const {
    return album_.Stored(picture, "VEXAFILE_THUMB_S.jpg");
  }

  const Album album_;
};

TEST_F(StoreCare, CleanRemovesWhatIsStoredForAFileThatIsGone) {
  fs::remove(album_ / "b.jpg");
  const RunResult run = album_.Run({"clean", album_.pictures()});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_THAT(
      run.out,
      StartsWith("removed " +
                 album_.Stored("b.jpg", "").substr(0, album_.Stored("b.jpg", "").size() - 1) +
                 ": 1 file, "));
  EXPECT_THAT(run.out, HasSubstr("\nFreed "));
  EXPECT_TRUE(fs::exists(Thumbnail("a.jpg")));
  EXPECT_FALSE(fs::exists(album_ / ".vexaea/b.jpg"));
  EXPECT_EQ(album_.Run({"clean", album_.pictures()}).out, "Nothing to clean\n");
}

TEST_F(StoreCare, CleanChangesNothingInADryRun) {
  fs::remove(album_ / "b.jpg");
  const auto bytes = fs::file_size(Thumbnail("b.jpg"));
  const std::string before = SnapshotOf(album_.pictures());
  const RunResult run = album_.Run({"clean", "--dry-run", "--json", album_.pictures()});
  EXPECT_EQ(SnapshotOf(album_.pictures()), before);
  const std::vector<Json> objects = Objects(run.out);
  ASSERT_EQ(objects.size(), 2) << run.out;
  EXPECT_EQ(objects[0]["source"], album_ / "b.jpg");
  EXPECT_EQ(objects[0]["source_gone"], true);
  EXPECT_EQ(objects[1]["dry_run"], true);
  EXPECT_EQ(objects[1]["directories"], 1);
  EXPECT_EQ(objects[1]["bytes"], bytes);
}

TEST_F(StoreCare, CleanAsksWhetherAShareIsMounted) {
  album_.WriteSettings("[store]\nlayout = central\nroot = " + album_.Aside("root") +
                       "\n[service]\nlock_dir = " + album_.Aside("locks") + "\n");
  album_.Run({"build", "--sizes", "small", album_.pictures()});
  const std::string before = SnapshotOf(album_.Aside("root"));
  fs::rename(album_.pictures(), album_.Aside("unmounted"));
  fs::create_directory(album_.pictures());
  const RunResult refused = album_.Run({"clean", album_.pictures()});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_TRUE(refused.HasOneErrorLine()) << refused.err;
  EXPECT_THAT(refused.err, HasSubstr("2 store directories are left alone; is it mounted? --gone"));
  EXPECT_EQ(SnapshotOf(album_.Aside("root")), before);
  EXPECT_EQ(album_.Run({"clean", "--force", album_.pictures()}).exit_code, 1);
  EXPECT_EQ(SnapshotOf(album_.Aside("root")), before);
  EXPECT_EQ(album_.Run({"clean", "--gone", album_.pictures()}).exit_code, 0);
  EXPECT_NE(SnapshotOf(album_.Aside("root")), before);
}

TEST_F(StoreCare, TheStoreRootIsNoPathToClean) {
  album_.WriteSettings("[store]\nlayout = central\nroot = " + album_.Aside("root") + "\n");
  fs::create_directory(album_.Aside("root"));
  const RunResult run = album_.Run({"clean", album_.Aside("root")});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
}

class StoreCareCommand : public StoreCare, public ::testing::WithParamInterface<const char*> {};

TEST_P(StoreCareCommand, TellsOfAMissingPathAndGoesOn) {
  fs::remove(album_ / "b.jpg");
  const RunResult run = album_.Run({GetParam(), album_ / "none", album_.pictures()});
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
}

TEST_P(StoreCareCommand, TellsOfFoldersThatItCannotReadAndGoesOn) {
  fs::create_directory(album_ / "closed");
  album_.OpenToOrdinaryUser();
  chmod((album_ / "closed").c_str(), 0);
  chmod((album_ / ".vexaea/b.jpg").c_str(), 0);
  const RunResult run = album_.Run({GetParam(), album_.pictures()}, {"/", {}, "", true});
  for (const char* folder : {"closed", ".vexaea/b.jpg"}) chmod((album_ / folder).c_str(), 0755);
  if (geteuid() != 0) GTEST_SKIP() << "only root runs programs as another user";
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_THAT(run.err, HasSubstr("closed: Permission denied; give the right to read it\n"));
  const std::string command = GetParam();
  if (command == "stat" || command == "verify") {  // the others have nothing to look for there
    EXPECT_THAT(run.err, HasSubstr("b.jpg: Permission denied; give the right to read it\n"));
  }
}

INSTANTIATE_TEST_SUITE_P(Commands, StoreCareCommand,
                         ::testing::Values("clean", "stat", "failures", "verify"));

TEST_F(StoreCare, StatCountsWhatIsStored) {
  fs::remove(album_ / "b.jpg");
  const auto bytes = fs::file_size(Thumbnail("a.jpg"));
  const Json figures = album_.Run({"stat", "--json", album_.pictures()}).json();
  EXPECT_EQ(figures["sources"], 1);
  EXPECT_EQ(figures["files"], 1);
  EXPECT_EQ(figures["bytes"], bytes);
  EXPECT_EQ(figures["current"], 1);
  EXPECT_EQ(figures["outdated"], 0);
  EXPECT_EQ(figures["kinds"][0]["application"], "file manager");
  EXPECT_EQ(figures["kinds"][0]["size"], "small");
  EXPECT_EQ(figures["orphans"]["directories"], 1);

  const RunResult table = album_.Run({"stat", album_.pictures()});
  EXPECT_EQ(table.exit_code, 0);
  EXPECT_THAT(table.out, ::testing::ContainsRegex("file manager +small +[a-z]+ +1 +" +
                                                  std::to_string(bytes) + " +100.0 %\n"));
  EXPECT_THAT(table.out, HasSubstr("1 source has 1 file, "));
  EXPECT_THAT(table.out, HasSubstr("1 store directory has lost the source: 1 file, "));
}

TEST_F(StoreCare, StatTellsWhoseFilesThereAre) {
  ASSERT_EQ(album_.Run({"get", "--box", "50x50", "--avatar", album_ / "a.jpg"}).exit_code, 0);
  const std::string stored = Thumbnail("a.jpg");
  for (const char* name :
       {"VEXAPHOTO_THUMB_M.jpg", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg", "VEXATHUMB_FAILURE.json",
        "VEXATHUMBTMP_abcdefghijklmnop_a.jpg", "somebody's"}) {
    album_.Store("a.jpg", name, stored);
  }
  const RunResult table = album_.Run({"stat", album_.pictures()});
  for (const char* owner : {"photo album", "file manager", "video application", "avatars",
                            "failures", "temporary", "other"}) {
    EXPECT_THAT(table.out, HasSubstr("\n" + std::string(owner) + " "));
  }
}

TEST_F(StoreCare, FreeBoxesAreToldAndMakeRoom) {
  album_.WriteSettings("[service]\nfree_box_store_space = 1\nlock_dir = " + album_.Aside("locks") +
                       "\n");
  for (const char* box : {"1x1", "2x2", "3x3", "4x4"}) {
    kit::WriteFile(album_.Stored("a.jpg", "VEXAFILE_THUMB_" + std::string(box) + ".jpg"),
                   std::string(400'000, 'x'));
  }
  const Json before = album_.Run({"stat", "--json", album_.pictures()}).json()["free_boxes"];
  EXPECT_EQ(before["files"], 4);
  EXPECT_EQ(before["bytes"], 1'600'000);
  EXPECT_EQ(before["limit"], 1 << 20);
  EXPECT_THAT(album_.Run({"stat", album_.pictures()}).out,
              HasSubstr("\nFree boxes and avatars: 4 files, "));
  EXPECT_THAT(album_.Run({"clean", "--dry-run", album_.pictures()}).out,
              StartsWith("would remove free boxes used longest ago in "));
  const std::vector<Json> due =
      Objects(album_.Run({"clean", "--dry-run", "--json", album_.pictures()}).out);
  ASSERT_EQ(due.size(), 2U);
  EXPECT_EQ(due[0]["folder"], album_.pictures());
  EXPECT_EQ(due[0]["free_boxes"]["files"], 3);
  EXPECT_THAT(album_.Run({"clean", album_.pictures()}).out,
              StartsWith("removed free boxes used longest ago in "));
  const Json after = album_.Run({"stat", "--json", album_.pictures()}).json()["free_boxes"];
  EXPECT_EQ(after["files"], 1);
  EXPECT_TRUE(fs::exists(Thumbnail("a.jpg")));
  EXPECT_EQ(album_.Run({"clean", album_.pictures()}).out, "Nothing to clean\n");
}

TEST_F(StoreCare, StatFollowsASourceThatIsALink) {
  fs::rename(album_ / "b.jpg", album_.Aside("elsewhere.jpg"));
  fs::create_symlink(album_.Aside("elsewhere.jpg"), album_ / "b.jpg");
  EXPECT_EQ(album_.Run({"stat", "--json", album_.pictures()}).json()["current"], 2);
}

TEST_F(StoreCare, StatCountsNoFileAsCurrentThatIsNoPicture) {
  const auto time = fs::last_write_time(Thumbnail("a.jpg"));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // later than the build
  kit::WriteFile(Thumbnail("a.jpg"), std::string(1000, '\0'));
  fs::last_write_time(Thumbnail("a.jpg"), time);
  EXPECT_EQ(album_.Run({"stat", "--json", album_.pictures()}).json()["current"], 1);
}

TEST_F(StoreCare, StatOfAnEmptyFolderIsNoFault) {
  fs::create_directory(album_ / "empty");
  const RunResult run = album_.Run({"stat", album_ / "empty"});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("0 sources have 0 files, 0 bytes\n"));
}

TEST_F(StoreCare, ThereAreNoFailuresAtFirst) {
  const RunResult run = album_.Run({"failures", album_.pictures()});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.out, IsEmpty());
}

}  // namespace
}  // namespace vexathumb::system_test
