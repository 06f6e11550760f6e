#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class Plan : public ::testing::Test {
 protected:
  Plan() {
    album_.WriteSettings("[service]\nlock_dir = " + album_.Aside("locks") + "\n");
    for (const char* name : {"a.jpg", "b.jpg", "c\n.jpg"}) {
      kit::WriteJpeg(album_ / name, {{400, 300}});
    }
  }

  RunResult Write(const std::string& shard_size) const {
    return album_.Run({"plan", album_.pictures(), "--shard-size", shard_size, "-o", manifest_});
  }

  RunResult Build(const std::string& shard, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"build",   "--sizes", "small", "--manifest",
                                          manifest_, "--shard", shard};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return album_.Run(arguments);
  }

  const Album album_;
  const std::string manifest_ = album_.Aside("manifest");
};

TEST_F(Plan, ShardsTogetherBuildEverythingOnce) {
  const RunResult plan = Write("2");
  EXPECT_EQ(plan.exit_code, 0) << plan.err;
  EXPECT_THAT(plan.out, HasSubstr("manifest: 2 shards, 3 sources, "));
  EXPECT_THAT(Build("1").out, HasSubstr("1 built, 0 current, 0 failed"));
  EXPECT_THAT(Build("2").out, HasSubstr("2 built, 0 current, 0 failed"));
  EXPECT_THAT(album_.Run({"build", "--sizes", "small", album_.pictures()}).out,
              HasSubstr("0 built, 3 current, 0 failed"));
}

TEST_F(Plan, IsFrozen) {
  Write("9");
  kit::WriteJpeg(album_ / "later.jpg", {{400, 300}});
  fs::remove(album_ / "a.jpg");
  const RunResult run = Build("1");
  EXPECT_THAT(run.out, HasSubstr("2 built"));
  EXPECT_EQ(run.exit_code, 75);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.err, HasSubstr("a.jpg: missing; is what holds it mounted?"));
  EXPECT_FALSE(fs::exists(album_ / ".vexaea/later.jpg"));
}

TEST_F(Plan, SourcesMayLieElsewhereOnAnotherMachine) {
  Write("9");
  fs::rename(album_.pictures(), album_.Aside("mounted"));
  EXPECT_EQ(Build("1").exit_code, 75) << "nothing is there";
  const RunResult run =
      Build("1", {"--path-map", album_.pictures() + "=" + album_.Aside("mounted")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_TRUE(fs::exists(album_.Aside("mounted/.vexaea/a.jpg/VEXAFILE_THUMB_S.jpg")));
}

TEST_F(Plan, AMissingPathIsToldAndTheOthersArePlanned) {
  const RunResult run = album_.Run(
      {"plan", album_ / "none", album_.pictures(), "--shard-size", "9", "-o", manifest_, "--json"});
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_EQ(run.json()["sources"], 3);
}

struct WrongUse {
  const char* name;
  std::vector<std::string> arguments;
  int exit_code;
};

class PlanRefusal : public Plan, public ::testing::WithParamInterface<WrongUse> {};

TEST_P(PlanRefusal, IsOneLineAndACode) {
  Write("9");
  kit::WriteFile(album_.Aside("other"), "no manifest");
  std::vector<std::string> arguments = GetParam().arguments;
  for (std::string& argument : arguments) {
    if (argument == "MANIFEST") argument = manifest_;
    if (argument == "OTHER") argument = album_.Aside("other");
    if (argument == "ALBUM") argument = album_.pictures();
  }
  const RunResult run = album_.Run(arguments);
  EXPECT_EQ(run.exit_code, GetParam().exit_code);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
}

INSTANTIATE_TEST_SUITE_P(
    Uses, PlanRefusal,
    ::testing::Values(
        WrongUse{"NoShardSize", {"plan", "ALBUM"}, 2},
        WrongUse{"EmptyShards", {"plan", "ALBUM", "--shard-size", "0"}, 2},
        WrongUse{"NoFolderForTheManifest",
                 {"plan", "ALBUM", "--shard-size", "1", "-o", "/nowhere/manifest"},
                 4},
        WrongUse{"NoShard", {"build", "--manifest", "MANIFEST"}, 2},
        WrongUse{"ShardOfNoManifest", {"build", "--shard", "1"}, 2},
        WrongUse{"ShardThatIsNotThere", {"build", "--manifest", "MANIFEST", "--shard", "2"}, 3},
        WrongUse{"OtherFile", {"build", "--manifest", "OTHER", "--shard", "1"}, 3},
        WrongUse{"MissingManifest", {"build", "--manifest", "/none", "--shard", "1"}, 3},
        WrongUse{
            "ManifestAndPath", {"build", "ALBUM", "--manifest", "MANIFEST", "--shard", "1"}, 2},
        WrongUse{"WrongMapping",
                 {"build", "--manifest", "MANIFEST", "--shard", "1", "--path-map", "a=b"},
                 2}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::system_test
