#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

// As long as a machine that does other things besides may take.
bool Becomes(const std::function<bool()>& condition) {
  for (int i = 0; i < 1200; ++i) {
    if (condition()) return true;
    usleep(50000);
  }
  return false;
}

class Watch : public ::testing::Test {
 protected:
  Watch() { UseSettings(""); }
  ~Watch() override {
    if (watcher_) Stop();
  }

  void UseSettings(const std::string& more) const {
    album_.WriteSettings("[service]\nlock_dir = " + album_.Aside("locks") + "\n" + more);
  }

  void Start(const std::string& quiet_seconds = "0.3") {
    watcher_ =
        album_.Start({"watch", "--quiet", quiet_seconds, "--sizes", "small", album_.pictures()});
  }

  // Until then, what happens may count as having been there before.
  void StartAndSettle() {
    kit::WriteJpeg(album_ / "first.jpg", {{400, 300}});
    Start();
    ASSERT_TRUE(Becomes([this] { return HasThumbnail("first.jpg"); }));
  }

  RunResult Stop() {
    kill(watcher_->process(), SIGTERM);
    RunResult result = watcher_->Wait();
    watcher_.reset();
    return result;
  }

  std::string Thumbnail(const std::string& picture) const {
    const fs::path path = album_ / picture;
    return path.parent_path() / ".vexaea" / path.filename() / "VEXAFILE_THUMB_S.jpg";
  }
  // One that is current.
  bool HasThumbnail(const std::string& picture) const {
    std::error_code error;
    return fs::exists(Thumbnail(picture)) &&
           fs::last_write_time(album_ / picture, error) -
                   fs::last_write_time(Thumbnail(picture), error) <
               std::chrono::seconds(1);
  }

  const Album album_;
  std::unique_ptr<RunningProgram> watcher_;
};

TEST_F(Watch, BuildsForWhatIsThereAndWhatComes) {
  fs::create_directories(album_ / "sub");
  kit::WriteJpeg(album_ / "sub/before.jpg", {{400, 300}});
  Start();
  EXPECT_TRUE(Becomes([this] { return HasThumbnail("sub/before.jpg"); }));
  kit::WriteJpeg(album_ / "sub/new.jpg", {{400, 300}});
  EXPECT_TRUE(Becomes([this] { return HasThumbnail("sub/new.jpg"); }));
  const RunResult run = Stop();
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr(album_ / "sub/before.jpg" + ": built\n"));
  EXPECT_THAT(run.out, HasSubstr(album_ / "sub/new.jpg" + ": built\n"));
}

TEST_F(Watch, ReportsAsJsonWhenAskedTo) {
  kit::WriteJpeg(album_ / "a.jpg", {{400, 300}});
  kit::WriteFile(album_ / "b.jpg", kNoPicture);
  kit::Age(album_ / "b.jpg");
  watcher_ =
      album_.Start({"watch", "--quiet", "0.3", "--sizes", "small", "--json", album_.pictures()});
  const std::string failure = album_ / ".vexaea/b.jpg/VEXATHUMB_FAILURE.json";
  EXPECT_TRUE(Becomes([&] { return HasThumbnail("a.jpg") && fs::exists(failure); }));
  std::map<std::string, Json> reports;
  for (const Json& report : Stop().json_lines()) reports[report["file"]] = report;
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[album_ / "a.jpg"]["state"], "built");
  EXPECT_TRUE(reports[album_ / "a.jpg"]["error"].is_null());
  EXPECT_EQ(reports[album_ / "b.jpg"]["state"], "failed");
  EXPECT_FALSE(reports[album_ / "b.jpg"]["error"].is_null());
}

TEST_F(Watch, TellsWhereItIsWhenAsked) {
  StartAndSettle();
  kill(watcher_->process(), SIGUSR1);
  EXPECT_TRUE(Becomes([this] { return !watcher_->ErrorsSoFar().empty(); }));
  EXPECT_THAT(watcher_->ErrorsSoFar(), HasSubstr("vexathumb: 1 looked at since the start"));
}

TEST_F(Watch, BuildsAnewForWhatHasChanged) {
  StartAndSettle();
  const auto later = fs::last_write_time(album_ / "first.jpg") + std::chrono::seconds(100);
  fs::last_write_time(album_ / "first.jpg", later);
  ASSERT_FALSE(HasThumbnail("first.jpg"));
  EXPECT_TRUE(Becomes([this] { return HasThumbnail("first.jpg"); }));
}

TEST_F(Watch, BuildsForWhatIsInNewFolders) {
  StartAndSettle();
  for (int i = 0; i < 20; ++i) {
    const std::string folder = "new/" + std::to_string(i) + "/deeper";
    fs::create_directories(album_ / folder);
    fs::copy_file(album_ / "first.jpg", album_ / (folder + "/a.jpg"));
  }
  for (int i = 0; i < 20; ++i) {
    const std::string picture = "new/" + std::to_string(i) + "/deeper/a.jpg";
    EXPECT_TRUE(Becomes([&] { return HasThumbnail(picture); })) << picture;
  }
}

TEST_F(Watch, WaitsUntilAFileIsWritten) {
  Start("3");
  kit::WriteJpeg(album_ / "first.jpg", {{400, 300}});
  const std::string whole = kit::ReadFile(album_ / "first.jpg");
  std::ofstream slow(album_ / "slow.jpg");
  slow << whole.substr(0, whole.size() / 2);
  // Longer than a file that is left alone has to wait.
  EXPECT_TRUE(Becomes([&] {
    slow << whole[0] << std::flush;
    return HasThumbnail("first.jpg");
  }));
  EXPECT_FALSE(fs::exists(Thumbnail("slow.jpg")));
  slow.seekp(0);
  slow << whole;
  slow.close();
  fs::resize_file(album_ / "slow.jpg", whole.size());
  EXPECT_TRUE(Becomes([this] { return HasThumbnail("slow.jpg"); }));
  const RunResult run = Stop();
  EXPECT_THAT(run.err, Not(HasSubstr("slow.jpg"))) << "no half of it was tried";
}

TEST_F(Watch, ThumbnailsFollowARename) {
  fs::create_directory(album_ / "sub");
  StartAndSettle();
  kit::WriteFile(album_.Stored("first.jpg", "VEXAPHOTO_THUMB_S.jpg"), "the photo album's");
  // Which was before the file got its new name.
  usleep(20000);
  fs::rename(album_ / "first.jpg", album_ / "sub/second.jpg");
  const std::string moved = album_ / "sub/.vexaea/second.jpg/VEXAPHOTO_THUMB_S.jpg";
  EXPECT_TRUE(Becomes([&] { return fs::exists(moved); }));
  EXPECT_TRUE(HasThumbnail("sub/second.jpg"));
  EXPECT_FALSE(fs::exists(album_ / ".vexaea/first.jpg"));
  EXPECT_THAT(Stop().out, Not(HasSubstr("second.jpg"))) << "nothing had to be built";
}

TEST_F(Watch, ThumbnailsUnderARootFollowARenamedFolder) {
  UseSettings("[store]\nlayout = central\nroot = " + album_.Aside("root") + "\n");
  fs::create_directory(album_ / "sub");
  kit::WriteJpeg(album_ / "sub/a.jpg", {{400, 300}});
  const std::string root = album_.Aside("root") + album_.pictures();
  Start();
  ASSERT_TRUE(
      Becomes([&] { return fs::exists(root + "/sub/.vexaea/a.jpg/VEXAFILE_THUMB_S.jpg"); }));
  fs::rename(album_ / "sub", album_ / "new");
  EXPECT_TRUE(
      Becomes([&] { return fs::exists(root + "/new/.vexaea/a.jpg/VEXAFILE_THUMB_S.jpg"); }));
  EXPECT_FALSE(fs::exists(root + "/sub"));
  EXPECT_THAT(Stop().out, Not(HasSubstr("new/a.jpg")));
}

TEST_F(Watch, LooksThroughEverythingWhenTheSystemKeepsNoMoreEvents) {
  StartAndSettle();
  std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
  int events = 0;
  ASSERT_TRUE(limit >> events);
  kill(watcher_->process(), SIGSTOP);
  for (int i = 0; i <= events; ++i) std::ofstream(album_ / (i % 2 == 0 ? "a.txt" : "b.txt"));
  fs::create_directory(album_ / "unheard");
  fs::copy_file(album_ / "first.jpg", album_ / "unheard/a.jpg");
  kill(watcher_->process(), SIGCONT);
  EXPECT_TRUE(Becomes([this] { return HasThumbnail("unheard/a.jpg"); }));
  kit::WriteJpeg(album_ / "unheard/later.jpg", {{400, 300}});
  EXPECT_TRUE(Becomes([this] { return HasThumbnail("unheard/later.jpg"); })) << "it goes on";
  EXPECT_THAT(Stop().err, HasSubstr("more has happened at once than the system keeps"));
}

TEST_F(Watch, FoldersMayGoAndComeBack) {
  fs::create_directories(album_ / "sub/deeper");
  StartAndSettle();
  fs::remove_all(album_ / "sub");
  fs::create_directories(album_ / "sub/deeper");
  fs::copy_file(album_ / "first.jpg", album_ / "sub/deeper/a.jpg");
  EXPECT_TRUE(Becomes([this] { return HasThumbnail("sub/deeper/a.jpg"); }));
}

TEST_F(Watch, EndsWhenItsFolderIsGone) {
  StartAndSettle();
  fs::remove_all(album_.pictures());
  ASSERT_TRUE(Becomes([this] { return !watcher_->IsRunning(); }));
  const RunResult run = watcher_->Wait();
  watcher_.reset();
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_THAT(run.err, HasSubstr(album_.pictures() + ": is gone"));
}

TEST_F(Watch, TellsOfAFailureOnceAndGoesOn) {
  StartAndSettle();
  kit::WriteFile(album_ / "bad.jpg", kNoPicture);
  EXPECT_TRUE(
      Becomes([this] { return watcher_->ErrorsSoFar().find("bad.jpg") != std::string::npos; }));
  fs::copy_file(album_ / "first.jpg", album_ / "good.jpg");
  EXPECT_TRUE(Becomes([this] { return HasThumbnail("good.jpg"); }));
  const RunResult run = Stop();
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
  EXPECT_EQ(album_.Run({"failures", album_.pictures()}).exit_code, 1);
}

TEST_F(Watch, ADryRunChangesNothing) {
  kit::WriteJpeg(album_ / "a.jpg", {{400, 300}});
  const std::string before = SnapshotOf(album_.pictures());
  const std::string out = album_.Aside("out");
  watcher_ = album_.Start({"watch", "--dry-run", "--quiet", "0.3", album_.pictures()},
                          {"", {}, out, false});
  EXPECT_TRUE(Becomes(
      [&] { return fs::exists(out) && kit::ReadFile(out) == album_ / "a.jpg" + ": due\n"; }));
  Stop();
  EXPECT_EQ(SnapshotOf(album_.pictures()), before);
}

TEST_F(Watch, AFileIsNoFolderToWatch) {
  kit::WriteJpeg(album_ / "a.jpg", {{400, 300}});
  const RunResult run = album_.Run({"watch", album_ / "a.jpg"});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_TRUE(run.HasOneErrorLine()) << run.err;
}

}  // namespace
}  // namespace vexathumb::system_test
