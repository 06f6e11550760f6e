#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class BuildStop : public ::testing::Test {
 protected:
  BuildStop() {
    for (int i = 0; i < kPictures; ++i) {
      kit::WriteJpeg(album_ / (std::to_string(i) + ".jpg"), {{200, 150}});
    }
  }

  // A run whose first tool does not start before Release().
  std::unique_ptr<RunningProgram> StartHeld(std::vector<std::string> arguments) const {
    kit::WriteFile(album_.Aside("hold"), "");
    auto environment = album_.Spied("SPY_HOLD", album_.Aside("hold"));
    environment["SPY_JOURNAL"] = album_.Aside("journal");
    arguments.insert(arguments.begin(), {"build", album_.pictures(), "--jobs", "1"});
    auto running = album_.Start(arguments, {"", environment});
    while (!fs::exists(album_.Aside("journal"))) usleep(2000);
    return running;
  }
  void Release() const { fs::remove(album_.Aside("hold")); }

  int Built() const {
    int count = 0;
    for (int i = 0; i < kPictures; ++i) {
      count +=
          fs::exists(album_.Stored(std::to_string(i) + ".jpg", "VEXAFILE_THUMB_S.jpg")) ? 1 : 0;
    }
    return count;
  }
  std::vector<std::string> Leftovers() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(album_.pictures())) {
      const std::string name = entry.path().filename();
      if (name.find("TMP") != std::string::npos) found.push_back(name);
    }
    return found;
  }

  static constexpr int kPictures = 6;
  const Album album_;
};

class BuildStopBySignal : public BuildStop, public ::testing::WithParamInterface<int> {};

TEST_P(BuildStopBySignal, FinishesTheFileInHand) {
  const auto running = StartHeld({});
  kill(running->process(), GetParam());
  Release();
  const RunResult run = running->Wait();
  EXPECT_EQ(run.exit_code, 75);
  EXPECT_EQ(Built(), 1);
  EXPECT_THAT(Leftovers(), IsEmpty());
  EXPECT_THAT(run.out, HasSubstr("Stopped early"));
  EXPECT_EQ(album_.Run({"build", album_.pictures()}).exit_code, 0);
  EXPECT_EQ(Built(), kPictures);
}

INSTANTIATE_TEST_SUITE_P(Signals, BuildStopBySignal, ::testing::Values(SIGTERM, SIGINT),
                         [](const auto& signal) { return sigabbrev_np(signal.param); });

TEST_F(BuildStop, ASecondSignalStopsAtOnceAndLeavesNothing) {
  const auto running = StartHeld({});
  kill(running->process(), SIGTERM);
  while (running->IsRunning() && Built() == 0) {
    kill(running->process(), SIGTERM);
    usleep(20000);
    Release();
  }
  const RunResult run = running->Wait();
  EXPECT_EQ(run.exit_code, 75);
  EXPECT_LE(Built(), 1);
  EXPECT_THAT(Leftovers(), IsEmpty());
}

TEST_F(BuildStop, TheTimeLimitIsASignalLikeThat) {
  const auto running = StartHeld({"--time-limit", "1"});
  sleep(1);
  Release();
  EXPECT_EQ(running->Wait().exit_code, 75);
  EXPECT_LT(Built(), kPictures);
}

TEST_F(BuildStop, TellsWhereItIsWhenAsked) {
  const auto running = StartHeld({});
  kill(running->process(), SIGUSR1);
  while (running->ErrorsSoFar().empty()) usleep(2000);
  EXPECT_THAT(running->ErrorsSoFar(),
              ::testing::MatchesRegex("vexathumb: 0.* sources, .*/s.*; at .*\\.jpg\n"));
  Release();
  EXPECT_EQ(running->Wait().exit_code, 0);
}

bool HasEnded(pid_t process) {
  std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
  std::string id;
  std::string name;
  std::string state;
  stat >> id >> name >> state;
  return !stat || state == "Z";
}

std::vector<pid_t> ChildrenOf(pid_t process) {
  const std::string id = std::to_string(process);
  std::ifstream list("/proc/" + id + "/task/" + id + "/children");
  std::vector<pid_t> children(std::istream_iterator<pid_t>(list), {});
  children.erase(std::remove_if(children.begin(), children.end(), HasEnded), children.end());
  return children;
}

// From ioprio_get(2), which has no wrapper.
int DiskClassOf(pid_t process) {
  constexpr int kWhichProcess = 1;
  constexpr int kClassShift = 13;
  return static_cast<int>(syscall(SYS_ioprio_get, kWhichProcess, process)) >> kClassShift;
}

TEST_F(BuildStop, NiceWorkersHaveTheLowestPriority) {
  constexpr int kIdleClass = 3;
  const auto running = StartHeld({"--nice"});
  const std::vector<pid_t> workers = ChildrenOf(running->process());
  EXPECT_FALSE(workers.empty());
  for (const pid_t worker : workers) {
    EXPECT_EQ(getpriority(PRIO_PROCESS, static_cast<id_t>(worker)), 19);
    EXPECT_EQ(DiskClassOf(worker), kIdleClass);
  }
  Release();
  EXPECT_EQ(running->Wait().exit_code, 0);
}

TEST_F(BuildStop, RunsWithAllRestraints) {
  const RunResult run = album_.Run({"build", album_.pictures(), "--nice", "--max-load", "1000",
                                    "--time-limit", "3600", "--jobs", "3"});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(Built(), kPictures);
}

TEST_F(BuildStop, BeginsNothingWhileTheLoadIsHigh) {
  const RunResult run =
      album_.Run({"build", album_.pictures(), "--max-load", "0.0000001", "--time-limit", "1"});
  EXPECT_EQ(run.exit_code, 75);
  EXPECT_EQ(Built(), 0);
}

// Whatever is stored and carries its source's time is whole.
void ExpectOnlyWholeThumbnails(const Album& album) {
  for (const auto& entry : fs::recursive_directory_iterator(album.pictures())) {
    const fs::path& path = entry.path();
    if (path.filename().string().rfind("VEXAFILE_THUMB_", 0) != 0) continue;
    const fs::path source =
        path.parent_path().parent_path().parent_path() / path.parent_path().filename();
    EXPECT_EQ(fs::last_write_time(path), fs::last_write_time(source));
    EXPECT_EQ(kit::Corners(path), kit::kPictureCorners) << path;
  }
}

TEST(BuildKill, AtAnyMomentLeavesNothingHalfMade) {
  const Album album;
  const auto whole_second = fs::file_time_type(std::chrono::hours(-24 * 365 * 100));
  kit::WriteJpeg(album / "a.jpg", {{1600, 1200}});
  kit::WriteJpeg(album / "turned.jpg", {{1600, 1200}, 6});
  kit::WritePng(album / "b.png", {{800, 600}});
  kit::WriteTiff(album / "c.tif", {{800, 600}});
  for (const auto& entry : fs::directory_iterator(album.pictures())) {
    fs::last_write_time(entry.path(), whole_second);
  }
  const std::string sources = SnapshotOf(album.pictures());
  std::mt19937 random(1);  // the same moments in every run, as far as the machine allows
  const int kills = 20;
  for (int i = 0; i < kills; ++i) {
    const auto running = album.Start({"build", album.pictures()});
    usleep(std::uniform_int_distribution<useconds_t>(1000, 400000)(random));
    running->KillAll();
    running->Wait();
    ExpectOnlyWholeThumbnails(album);
    if (i % 4 == 3) {  // begin anew now and then
      const RunResult completed = album.Run({"build", album.pictures()});
      EXPECT_EQ(completed.exit_code, 0) << completed.err;
      EXPECT_THAT(album.Run({"build", album.pictures()}).out, HasSubstr("Nothing to do"));
      ExpectOnlyWholeThumbnails(album);
      fs::remove_all(album / ".vexaea");
    }
  }
  const std::string after = SnapshotOf(album.pictures());
  // The folder's own time has changed.
  EXPECT_EQ(after.substr(after.find('\n')), sources.substr(sources.find('\n')));
}

}  // namespace
}  // namespace vexathumb::system_test
