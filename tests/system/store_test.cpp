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

TEST(CentralStore, MirrorsTheSourcesPathUnderItsRoot) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const std::string root = album.Aside("root");
  album.WriteSettings("[store]\nlayout = central\nroot = " + root + "\n");
  const RunResult built = album.Run({"build", album.pictures()});
  EXPECT_EQ(built.exit_code, 0) << built.err;
  EXPECT_TRUE(fs::exists(root + album.pictures() + "/.vexaea/a.jpg/VEXAFILE_THUMB_S.jpg"));
  EXPECT_FALSE(fs::exists(album / ".vexaea"));
  EXPECT_THAT(album.Run({"build", album.pictures()}).out, HasSubstr("Nothing to do"));
}

TEST(CentralStore, IsFoundThroughPathsThatClimb) {
  const Album album;
  fs::create_directory(album / "sub");
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const std::string root = album.Aside("root");
  album.WriteSettings("[store]\nlayout = central\nroot = " + root + "\n");
  const RunResult run =
      album.Run({"get", "../a.jpg", "--size", "small"}, {album / "sub", {}, "", false});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, root + album.pictures() + "/.vexaea/a.jpg/VEXAFILE_THUMB_S.jpg\tDocdeck\n");
}

TEST(AutoStore, LiesBesideSourcesOnALocalVolume) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  album.WriteSettings("[store]\nlayout = auto\nroot = " + album.Aside("root") + "\n");
  EXPECT_EQ(album.Run({"build", album.pictures()}).exit_code, 0);
  EXPECT_TRUE(fs::exists(album.Stored("a.jpg", "VEXAFILE_THUMB_S.jpg")));
}

TEST(VolumeWithoutStore, PostponesABuildAndSaysWhatToSet) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const RunResult run =
      album.Run({"build", album.pictures()}, {"", album.Spied("SPY_REMOTE", "1"), "", false});
  EXPECT_EQ(run.exit_code, 75);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.err, HasSubstr("layout = auto under [store]"));
  EXPECT_THAT(run.leftovers, IsEmpty());
  EXPECT_FALSE(fs::exists(album / ".vexaea"));
}

enum class Obstacle { kNoRight, kFile, kLink };

struct ObstacleCase {
  const char* name;
  Obstacle obstacle;
};

void PrintTo(const ObstacleCase& obstacle, std::ostream* out) { *out << obstacle.name; }

class UnwritableStore : public ::testing::TestWithParam<ObstacleCase> {
 protected:
  UnwritableStore() {
    kit::WriteJpeg(album_ / "a.jpg", {{800, 600}});
    album_.OpenToOrdinaryUser();
    if (GetParam().obstacle == Obstacle::kFile) kit::WriteFile(album_ / ".vexaea", "");
    if (GetParam().obstacle == Obstacle::kLink) fs::create_symlink("/tmp", album_ / ".vexaea");
    if (GetParam().obstacle == Obstacle::kNoRight) chmod(album_.pictures().c_str(), 0555);
    before_ = SnapshotOf(album_.pictures());
  }
  ~UnwritableStore() override { chmod(album_.pictures().c_str(), 0755); }

  RunResult Run(const std::vector<std::string>& arguments) const {
    return album_.Run(arguments, {"/", {}, "", true});
  }

  Album album_;
  std::string before_;
};

TEST_P(UnwritableStore, PostponesABuildWithACauseAndLeavesNothing) {
  const RunResult run = Run({"build", album_.pictures()});
  EXPECT_EQ(run.exit_code, 75);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.err, HasSubstr("its store cannot be written"));
  EXPECT_THAT(run.leftovers, IsEmpty());
  EXPECT_EQ(SnapshotOf(album_.pictures()), before_);
}

TEST_P(UnwritableStore, GetHasNoThumbnailAndLeavesNothing) {
  const RunResult run = Run({"get", album_ / "a.jpg", "--size", "small"});
  EXPECT_EQ(run.exit_code, 75);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.leftovers, IsEmpty());
  EXPECT_EQ(SnapshotOf(album_.pictures()), before_);
}

TEST_P(UnwritableStore, InfoForetellsIt) {
  const Json info = Run({"info", album_ / "a.jpg", "--json"}).json();
  EXPECT_TRUE(info["sizes"][0]["from"].is_null());
  EXPECT_THAT(std::string(info["sizes"][0]["why"]), HasSubstr("cannot be written"));
}

TEST_P(UnwritableStore, DoctorFails) {
  const RunResult run = Run({"doctor", album_.pictures()});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_THAT(run.out, HasSubstr("FAIL  store of " + album_.pictures()));
  EXPECT_EQ(SnapshotOf(album_.pictures()), before_);
}

INSTANTIATE_TEST_SUITE_P(Store, UnwritableStore,
                         ::testing::Values(ObstacleCase{"no_right", Obstacle::kNoRight},
                                           ObstacleCase{"a_file_in_its_place", Obstacle::kFile},
                                           ObstacleCase{"a_link_in_its_place", Obstacle::kLink}),
                         kit::CaseName());

TEST(UnreadableSource, IsToldToAnOrdinaryUser) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg");
  album.OpenToOrdinaryUser();
  chmod((album / "a.jpg").c_str(), 0);
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"get", album / "a.jpg", "--size", "big"},
        std::vector<std::string>{"info", album / "a.jpg"},
        std::vector<std::string>{"build", album / "a.jpg"}}) {
    const RunResult run = album.Run(arguments, {"/", {}, "", true});
    EXPECT_EQ(run.exit_code, 3) << arguments[0];
    EXPECT_THAT(run.err, HasSubstr("a.jpg: Permission denied"));
  }
}

TEST(UnreadableFolder, IsAFailureOfTheWalk) {
  const Album album;
  fs::create_directory(album / "sub");
  album.OpenToOrdinaryUser();
  chmod((album / "sub").c_str(), 0);
  const RunResult run = album.Run({"build", album.pictures()}, {"/", {}, "", true});
  chmod((album / "sub").c_str(), 0755);
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_THAT(run.err, HasSubstr("sub: Permission denied"));
}

}  // namespace
}  // namespace vexathumb::system_test
