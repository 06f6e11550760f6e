#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// What run-farm asks the program; tests/system/farm drives run-farm itself.
class Farm : public ::testing::Test {
 protected:
  Farm() {
    for (const char* name : {"a.jpg", "b.jpg", "c.jpg"}) kit::WriteFile(album_ / name, kNoPicture);
    kit::WriteFile(hosts_, "nas1\nroot@nas2 /volume1=/mnt\n");
    album_.Run({"plan", album_.pictures(), "--shard-size", "1", "-o", manifest_});
  }

  RunResult Prepare() const {
    return album_.Run({"farm", "prepare", "--log", log_, "--", hosts_, manifest_, "--nice"});
  }

  RunResult Follow(const std::string& lines, const std::vector<std::string>& more = {}) const {
    kit::WriteFile(album_.Aside("lines"), lines);
    RunOptions options;
    options.input = album_.Aside("lines");
    std::vector<std::string> arguments = {"farm", "follow", "--log", log_};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return album_.Run(arguments, options);
  }

  RunResult Report(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"farm", "report", "--log", log_};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return album_.Run(arguments);
  }

  void WriteJobLog(const std::vector<int>& codes) const {
    std::string text =
        "Seq\tHost\tStarttime\tJobRuntime\tSend\tReceive\tExitval\tSignal\tCommand\n";
    for (size_t i = 0; i < codes.size(); ++i) {
      text +=
          std::to_string(i + 1) + "\tnas1\t1\t1\t0\t0\t" + std::to_string(codes[i]) + "\t0\tx\n";
    }
    kit::WriteFile(log_ + "/joblog", text);
  }

  const Album album_;
  const std::string manifest_ = album_.Aside("manifest");
  const std::string hosts_ = album_.Aside("hosts");
  const std::string log_ = album_.Aside("log");
};

constexpr char kLines[] =
    "1\t\n1\t{\"host\":\"nas1\"}\n2\t{\"host\":\"nas2\"}\n"
    "1\t{\"file\":\"/a.jpg\",\"state\":\"built\"}\n2\t{\"file\":\"/b.jpg\",\"sta\n"
    "1\t{\"summary\":{}}\n2\t{\"host\":\"nas1\"}\n"
    "2\t{\"file\":\"/b.jpg\",\"state\":\"built\"}\n2\t{\"summary\":{}}\n";

TEST_F(Farm, IsPreparedForGnuParallel) {
  const RunResult run = Prepare();
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "3 shards for 2 hosts\n");
  EXPECT_EQ(kit::ReadFile(log_ + "/hosts"), "1/nas1\n1/root@nas2\n");
  EXPECT_EQ(kit::ReadFile(log_ + "/shards"), "1\n2\n3\n");
  EXPECT_THAT(kit::ReadFile(log_ + "/command"), HasSubstr("--nice"));
}

TEST_F(Farm, HasNothingToDoForAnEmptyManifest) {
  fs::create_directory(album_.Aside("empty"));
  album_.Run({"plan", album_.Aside("empty"), "--shard-size", "1", "-o", manifest_});
  fs::remove(hosts_);
  const RunResult run = Prepare();
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "Nothing to do\n");
  EXPECT_EQ(kit::ReadFile(log_ + "/shards"), "");
}

TEST_F(Farm, IsFollowedByALineForEachShard) {
  Prepare();
  const RunResult run = Follow(kLines);
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "shard 1 of 3 done by nas1\nshard 2 of 3 done by nas1\n");
  EXPECT_EQ(kit::ReadFile(log_ + "/sources"), kLines);
}

TEST_F(Farm, IsFollowedQuietlyWhereABarIsShown) {
  Prepare();
  EXPECT_THAT(Follow(kLines, {"--quiet"}).out, IsEmpty());
  Follow("3\t{\"host\":\"nas2\"}\n", {"--quiet"});
  EXPECT_EQ(kit::ReadFile(log_ + "/sources"), std::string(kLines) + "3\t{\"host\":\"nas2\"}\n");
}

TEST_F(Farm, IsReportedWhileSomeShardsAreLeft) {
  Prepare();
  Follow(kLines);
  WriteJobLog({0, 0, 255});
  const RunResult run = Report();
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.out,
            "nas1: sources built for: 2; shards left to others: 0\n"
            "nas2: sources built for: 0; shards left to others: 1\n"
            "sources built for in all: 2\n");
  EXPECT_EQ(run.err, "vexathumb: 1 of 3 shards are not done; see " + log_ + ", and call again\n");
}

TEST_F(Farm, IsReportedWhenAllIsDone) {
  Prepare();
  Follow(kLines);
  WriteJobLog({0, 0, 0});
  const RunResult text = Report();
  EXPECT_EQ(text.exit_code, 0) << text.err;
  EXPECT_THAT(text.out, HasSubstr("\nAll 3 shards are done\n"));
  EXPECT_EQ(Report({"--json"}).json(), Json::parse(R"({"hosts": [
      {"host": "nas1", "built": 2, "left": 0}, {"host": "nas2", "built": 0, "left": 1}],
    "built": 2, "shards": 3, "done": 3})"));
}

TEST_F(Farm, GoesOnWithTheSameManifestAndBeginsAnewWithAnother) {
  Prepare();
  WriteJobLog({0, 0, 0});
  Prepare();
  EXPECT_EQ(Report().exit_code, 0);
  kit::WriteFile(album_ / "d.jpg", kNoPicture);
  album_.Run({"plan", album_.pictures(), "--shard-size", "2", "-o", manifest_});
  Prepare();
  EXPECT_THAT(Report().err, HasSubstr("2 of 2 shards are not done"));
}

struct WrongUse {
  const char* name;
  std::vector<std::string> arguments;
  int exit_code;
  const char* cause;
};

class FarmRefusal : public Farm, public ::testing::WithParamInterface<WrongUse> {};

TEST_P(FarmRefusal, IsOneLineAndACode) {
  kit::WriteFile(album_.Aside("nobody"), "# nobody\n");
  kit::WriteFile(album_.Aside("mapped"), "nas1 there=here\n");
  std::vector<std::string> arguments = {"farm"};
  for (const std::string& argument : GetParam().arguments) {
    const bool is_name = !argument.empty() && argument[0] == '@';
    arguments.push_back(is_name ? album_.Aside(argument.substr(1)) : argument);
  }
  const RunResult run = album_.Run(arguments);
  EXPECT_EQ(run.exit_code, GetParam().exit_code);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_THAT(run.err, HasSubstr(GetParam().cause));
}

INSTANTIATE_TEST_SUITE_P(
    Uses, FarmRefusal,
    ::testing::Values(
        WrongUse{"NoStep", {}, 2, "subcommand"},
        WrongUse{"NoLog", {"report"}, 2, "--log is required"},
        WrongUse{"NoManifest", {"prepare", "--log", "@log", "@hosts"}, 2, "MANIFEST is required"},
        WrongUse{"MissingManifest", {"prepare", "--log", "@log", "@hosts", "@none"}, 3, "No such"},
        WrongUse{"OtherFile",
                 {"prepare", "--log", "@log", "@hosts", "@hosts"},
                 3,
                 "is no manifest, or of another version"},
        WrongUse{"MissingHosts",
                 {"prepare", "--log", "@log", "@none", "@manifest"},
                 3,
                 "none cannot be read"},
        WrongUse{"NoHost",
                 {"prepare", "--log", "@log", "@nobody", "@manifest"},
                 2,
                 "nobody names no host"},
        WrongUse{"WrongMapping",
                 {"prepare", "--log", "@log", "@mapped", "@manifest"},
                 2,
                 "mapped: there=here: FROM=TO with two absolute paths is wanted"},
        WrongUse{"Braces",
                 {"prepare", "--log", "@log", "--", "@hosts", "@manifest", "{}"},
                 2,
                 "with { are not possible"},
        WrongUse{"NoFolder",
                 {"prepare", "--log", "/dev/null/log", "@hosts", "@manifest"},
                 4,
                 "Not a directory"},
        WrongUse{"FollowedUnprepared", {"follow", "--log", "@log"}, 3, "holds no plan"},
        WrongUse{"ReportedUnprepared", {"report", "--log", "@log"}, 3, "holds no plan"}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::system_test
