#include "service/watch/watched_sources.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::UnorderedElementsAre;

// Shorter than the minute after which one that was given back comes again by itself.
constexpr seconds kPatience{30};

class WatchedSourcesTest : public testing::Test {
 protected:
  WatchedSourcesTest() {
    fs::create_directory(folder_);
    options_.quiet = milliseconds(100);
  }

  void Begin() {
    sources_.emplace(std::vector<std::string>{folder_}, options_,
                     [this](const std::string& path, const std::string& what) {
                       notes_.push_back(path + ": " + what);
                     });
  }

  // The name of the next source; empty when none comes.
  std::string Await() {
    const auto until = std::chrono::steady_clock::now() + kPatience;
    while (!sources_->AtEnd() && std::chrono::steady_clock::now() < until) {
      if (const auto item = sources_->Next()) return fs::path(item->path).filename();
      usleep(1000);
    }
    return "";
  }

  std::vector<std::string> Await(size_t count) {
    std::vector<std::string> names;
    while (names.size() < count) names.push_back(Await());
    return names;
  }

  void Write(const std::string& name) const { kit::WriteFile(folder_ + "/" + name, "x"); }

  kit::TempDir dir_;
  const std::string folder_ = dir_ / "folder";
  WatchOptions options_;
  std::vector<std::string> notes_;
  std::optional<WatchedSources> sources_;
};

TEST_F(WatchedSourcesTest, GivesThePicturesThatAreThereAndThoseThatCome) {
  Write("before.jpg");
  Begin();
  EXPECT_EQ(Await(), "before.jpg");
  Write("none.txt");
  Write("video.mp4");
  Write("after.jpg");
  EXPECT_EQ(Await(), "after.jpg");
}

TEST_F(WatchedSourcesTest, GivesVideosWhereTheyAreWanted) {
  options_.walk.videos = true;
  Write("before.mp4");
  Begin();
  EXPECT_EQ(Await(), "before.mp4");
  Write("after.mp4");
  EXPECT_EQ(Await(), "after.mp4");
}

TEST_F(WatchedSourcesTest, OneThatIsGivenBackComesAgainWhenItHasBeenWritten) {
  Write("a.jpg");
  Begin();
  EXPECT_EQ(Await(), "a.jpg");
  sources_->GiveAgain(folder_ + "/a.jpg");
  Write("a.jpg");
  EXPECT_EQ(Await(), "a.jpg");
}

TEST_F(WatchedSourcesTest, OneThatIsGivenBackWhileItIsWrittenComesAgainWhenItHasSettled) {
  options_.quiet = seconds(2);
  Write("a.jpg");
  Begin();
  EXPECT_EQ(Await(), "a.jpg");
  Write("a.jpg");
  sources_->Next();  // hears of it
  sources_->GiveAgain(folder_ + "/a.jpg");
  EXPECT_EQ(Await(), "a.jpg");
}

TEST_F(WatchedSourcesTest, LooksAgainThroughWhatOtherMachinesWrite) {
  Write("a.jpg");
  options_.look_again = milliseconds(300);
  options_.is_on_network = [this](const std::string& folder) { return folder == folder_; };
  Begin();
  EXPECT_EQ(Await(), "a.jpg");
  EXPECT_EQ(Await(), "a.jpg");
}

TEST_F(WatchedSourcesTest, LooksOnceThroughWhatThisMachineAloneWrites) {
  Write("a.jpg");
  options_.look_again = milliseconds(10);
  Begin();
  EXPECT_EQ(Await(), "a.jpg");
  const auto until = std::chrono::steady_clock::now() + milliseconds(300);
  while (std::chrono::steady_clock::now() < until) EXPECT_FALSE(sources_->Next());
}

TEST_F(WatchedSourcesTest, LooksThroughFoldersThatAppear) {
  Begin();
  fs::create_directories(dir_ / "elsewhere/sub");
  kit::WriteFile(dir_ / "elsewhere/a.jpg", "x");
  kit::WriteFile(dir_ / "elsewhere/sub/b.jpg", "x");
  fs::rename(dir_ / "elsewhere", folder_ + "/new");
  EXPECT_THAT(Await(2), UnorderedElementsAre("a.jpg", "b.jpg"));
}

TEST_F(WatchedSourcesTest, EndsWhenAllFoldersAreGone) {
  Begin();
  fs::remove_all(folder_);
  EXPECT_EQ(Await(), "");
  EXPECT_TRUE(sources_->AtEnd());
  EXPECT_THAT(notes_, testing::ElementsAre(folder_ + ": is gone"));
}

}  // namespace
}  // namespace vexathumb::service
