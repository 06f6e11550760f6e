#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

Json ReportOn(const RunResult& run, const std::string& file) {
  for (const Json& object : run.json_lines()) {
    if (object.value("file", "") == file) return object;
  }
  return {};
}

void ExpectBuilt(const Album& album, const std::string& picture) {
  EXPECT_TRUE(fs::exists(album.Stored(picture, "VEXAFILE_THUMB_S.jpg"))) << picture;
}

TEST(BuildFaults, AFailureIsRememberedUntilTheSourceChangesOrARetryIsAskedFor) {
  const Album album;
  kit::WriteFile(album / "bad.jpg", kNoPicture);
  kit::WriteJpeg(album / "good.jpg", {{200, 150}});
  EXPECT_EQ(album.Run({"build", album.pictures()}).exit_code, 1);

  const std::string journal = album.Aside("journal");
  const RunOptions spied = {"", album.Spied("SPY_JOURNAL", journal)};
  const RunResult again = album.Run({"build", album.pictures(), "--json"}, spied);
  EXPECT_EQ(again.exit_code, 1);
  EXPECT_FALSE(fs::exists(journal)) << kit::ReadFile(journal);
  const Json known = ReportOn(again, album / "bad.jpg");
  EXPECT_EQ(known["known"], true);
  EXPECT_THAT(known["error"], HasSubstr("its content is no picture"));

  album.Run({"build", album.pictures(), "--retry-failed"}, spied);
  EXPECT_TRUE(fs::exists(journal));
  kit::WriteJpeg(album / "bad.jpg", {{200, 150}});
  EXPECT_EQ(album.Run({"build", album.pictures()}).exit_code, 0);
  EXPECT_FALSE(fs::exists(album.Stored("bad.jpg", "VEXATHUMB_FAILURE.json")));
}

TEST(BuildFaults, BadFilesDoNotKeepTheGoodOnesFromBeingBuilt) {
  const Album album;
  kit::WriteJpeg(album / "good.jpg", {{200, 150}});
  const std::string whole = kit::ReadFile(album / "good.jpg");
  kit::WriteFile(album / "empty.jpg", "");
  kit::WriteFile(album / "cut.jpg", whole.substr(0, 300));
  kit::WriteFile(album / "text.png", kNoPicture);
  kit::WriteJpeg(album / "closed.jpg", {{200, 150}});
  kit::WriteJpeg(album / "zlast.jpg", {{200, 150}});
  album.OpenToOrdinaryUser();
  for (const auto& entry : fs::directory_iterator(album.pictures())) {
    if (geteuid() == 0) chown(entry.path().c_str(), 65534, 65534);
  }
  if (geteuid() == 0) chown(album.pictures().c_str(), 65534, 65534);
  chown((album / "closed.jpg").c_str(), 0, 0);
  chmod((album / "closed.jpg").c_str(), 0);
  const RunResult run = album.Run({"build", album.pictures(), "--json"}, {"/", {}, "", true});
  EXPECT_EQ(run.exit_code, 1) << run.err;
  ExpectBuilt(album, "good.jpg");
  ExpectBuilt(album, "zlast.jpg");
  for (const char* bad : {"empty.jpg", "cut.jpg", "text.png", "closed.jpg"}) {
    EXPECT_EQ(ReportOn(run, album / bad)["state"], "failed") << bad;
  }
  // Rights change without the source's changing.
  EXPECT_FALSE(fs::exists(album.Stored("closed.jpg", "VEXATHUMB_FAILURE.json")));
  EXPECT_TRUE(fs::exists(album.Stored("empty.jpg", "VEXATHUMB_FAILURE.json")));
}

struct DeathCase {
  const char* name;
  const char* spy;
  const char* state;
  int exit_code;
  const char* signal;
};

void PrintTo(const DeathCase& death, std::ostream* out) { *out << death.name; }

class DeadProcess : public ::testing::TestWithParam<DeathCase> {};

TEST_P(DeadProcess, CostsTheFileAtMostItWasWorkingOn) {
  const Album album;
  for (const char* name : {"a.jpg", "deadly.jpg", "z.jpg"}) {
    kit::WriteJpeg(album / name, {{200, 150}});
  }
  const RunOptions options = {"", album.Spied(GetParam().spy, "deadly")};
  const RunResult run = album.Run({"build", album.pictures(), "--jobs", "1", "--json"}, options);
  EXPECT_EQ(run.exit_code, GetParam().exit_code);
  ExpectBuilt(album, "a.jpg");
  ExpectBuilt(album, "z.jpg");
  EXPECT_THAT(ReportOn(run, album / "deadly.jpg")["error"], HasSubstr(GetParam().signal));
  EXPECT_EQ(ReportOn(run, album / "deadly.jpg")["state"], GetParam().state);
  EXPECT_THAT(run.err, HasSubstr("deadly.jpg"));
  const RunResult again = album.Run({"build", album.pictures(), "--json"}, options);
  EXPECT_EQ(ReportOn(again, album / "deadly.jpg")["known"], true);
  EXPECT_EQ(again.exit_code, GetParam().exit_code);
  EXPECT_EQ(album.Run({"build", "--retry-failed", album.pictures()}).exit_code, 0);
  EXPECT_EQ(album.Run({"failures", album.pictures()}).out, "");
}

INSTANTIATE_TEST_SUITE_P(
    , DeadProcess,
    ::testing::Values(DeathCase{"by_a_crash_of_its_own", "SPY_CRASH", "failed", 1, "signal 11"},
                      DeathCase{"by_the_kernel", "SPY_DEATH", "postponed", 75, "signal 9"}),
    kit::CaseName());

TEST(BuildFaults, AToolThatIsKilledIsNotTheFilesFault) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  const RunResult run =
      album.Run({"build", album.pictures()}, {"", album.Spied("SPY_KILLED", "1")});
  EXPECT_EQ(run.exit_code, 75) << run.out;
  EXPECT_THAT(run.err, HasSubstr("was ended by signal 9, Killed"));
  EXPECT_THAT(run.err, HasSubstr("the machine may be short of memory"));
  EXPECT_THAT(run.err, Not(HasSubstr("damaged")));

  const std::string journal = album.Aside("journal");
  const RunOptions spied = {"", album.Spied("SPY_JOURNAL", journal)};
  const RunResult meanwhile = album.Run({"build", album.pictures()}, spied);
  EXPECT_EQ(meanwhile.exit_code, 75);
  EXPECT_THAT(meanwhile.err, HasSubstr("was ended by signal 9"));
  EXPECT_FALSE(fs::exists(journal)) << "its time has not come";

  const RunResult list = album.Run({"failures", album.pictures()});
  EXPECT_EQ(list.exit_code, 1);
  EXPECT_THAT(list.out, HasSubstr("a.jpg: the program sh was ended by signal 9, Killed; postponed "
                                  "after 1 try, next try after 2"));
  const Json entry = album.Run({"failures", "--json", album.pictures()}).json();
  EXPECT_EQ(entry["state"], "postponed");
  EXPECT_EQ(entry["attempts"], 1);
  EXPECT_THAT(entry["next_try"], MatchesRegex("....-..-..T..:..:..Z"));

  EXPECT_EQ(album.Run({"failures", "--retry", album.pictures()}).exit_code, 0);
  ExpectBuilt(album, "a.jpg");
  EXPECT_EQ(album.Run({"failures", album.pictures()}).exit_code, 0);
}

TEST(BuildFaults, ALimitIsNamedAndALargerOneIsAReasonToTryAgain) {
  const Album album;
  kit::WritePng(album / "a.png", {{800, 600}});
  const std::string service = "[service]\nlock_dir = " + album.Aside("locks") + "\n";
  album.WriteSettings(service + "[tool convert]\naddress_space = 20\n");
  const RunResult run = album.Run({"build", album.pictures()});
  EXPECT_EQ(run.exit_code, 1) << run.out;
  EXPECT_THAT(run.err, HasSubstr("convert met its limit: address space of 20 MiB"));
  EXPECT_THAT(run.err, Not(HasSubstr("damaged")));
  const RunResult again = album.Run({"build", album.pictures()});
  EXPECT_EQ(again.exit_code, 1);
  EXPECT_THAT(again.out, HasSubstr("has failed before"));
  EXPECT_EQ(album.Run({"failures", "--json", album.pictures()}).json()["state"], "failed");

  album.WriteSettings(service + "[tool convert]\naddress_space = 1000\n");
  EXPECT_EQ(album.Run({"failures", album.pictures()}).out, "");
  EXPECT_EQ(album.Run({"build", album.pictures()}).exit_code, 0);
  EXPECT_TRUE(fs::exists(album.Stored("a.png", "VEXAFILE_THUMB_S.png")));
}

// By a file server that does not answer, say: no other tool waits for long.
TEST(BuildFaults, AToolThatOnlyWaitedHasProvedNothing) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{800, 600}});
  album.WriteSettings("[service]\nlock_dir = " + album.Aside("locks") +
                      "\n[tool other]\nwall_time = 1\n");
  const RunResult run =
      album.Run({"build", album.pictures()}, {"", album.Spied("SPY_SLEEPS", "1")});
  EXPECT_EQ(run.exit_code, 75) << run.out;
  EXPECT_THAT(run.err, HasSubstr("waited too long, and was ended after its wall time of 1 s"));
}

TEST(BuildFaults, AFileThatVanishesIsNoFailure) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{200, 150}});
  kit::WriteJpeg(album / "gone.jpg", {{200, 150}});
  kit::WriteFile(album.Aside("hold"), "");
  auto environment = album.Spied("SPY_HOLD", album.Aside("hold"));
  environment["SPY_JOURNAL"] = album.Aside("journal");
  const auto running = album.Start({"build", album.pictures(), "--json"}, {"", environment});
  while (!fs::exists(album.Aside("journal"))) usleep(2000);
  fs::remove(album / "gone.jpg");
  fs::remove(album.Aside("hold"));
  const RunResult run = running->Wait();
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(ReportOn(run, album / "gone.jpg")["state"], "gone");
  ExpectBuilt(album, "a.jpg");
}

TEST(BuildFaults, AFileThatIsBeingWrittenIsLeftForAnotherRun) {
  const Album album;
  kit::WriteJpeg(album.Aside("whole.jpg"), {{800, 600}});
  const std::string whole = kit::ReadFile(album.Aside("whole.jpg"));
  kit::WriteFile(album / "grows.jpg", whole.substr(0, whole.size() / 2));
  kit::WriteFile(album.Aside("hold"), "");
  auto environment = album.Spied("SPY_HOLD", album.Aside("hold"));
  environment["SPY_JOURNAL"] = album.Aside("journal");
  const auto running = album.Start({"build", album.pictures()}, {"", environment});
  while (!fs::exists(album.Aside("journal"))) usleep(2000);
  std::ofstream(album / "grows.jpg", std::ios::app) << whole.substr(whole.size() / 2);
  fs::remove(album.Aside("hold"));
  const RunResult run = running->Wait();
  EXPECT_EQ(run.exit_code, 75);
  EXPECT_THAT(run.err, HasSubstr("it is being written"));
  EXPECT_FALSE(fs::exists(album.Stored("grows.jpg", "VEXAFILE_THUMB_S.jpg")));
  EXPECT_EQ(album.Run({"build", album.pictures()}).exit_code, 0);
  EXPECT_EQ(kit::Corners(album.Stored("grows.jpg", "VEXAFILE_THUMB_S.jpg")), kit::kPictureCorners);
}

TEST(BuildFaults, AToolThatIsMissingIsNotTheFilesFault) {
  const Album album;
  kit::WriteJpeg(album / "a.jpg", {{200, 150}});
  const RunResult run =
      album.Run({"build", album.pictures()}, {"", album.Spied("SPY_MISSING", "1")});
  EXPECT_EQ(run.exit_code, 75) << run.out;
  EXPECT_THAT(run.err, HasSubstr("cannot be started"));
  EXPECT_FALSE(fs::exists(album.Stored("a.jpg", "VEXATHUMB_FAILURE.json")));
}

}  // namespace
}  // namespace vexathumb::system_test
