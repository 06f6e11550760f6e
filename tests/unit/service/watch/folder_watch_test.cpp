#include "service/watch/folder_watch.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "kit/files.h"
#include "kit/temp_dir.h"
#include "posix/unique_fd.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;
using Kind = FolderEvent::Kind;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

// "file a.jpg", "moved a.jpg -> b.jpg": relative to the watched folder, each once.
class FolderWatchTest : public testing::Test {
 protected:
  void Begin() { watch_.emplace(std::vector<std::string>{dir_.path()}, false); }

  std::string Short(const std::string& path) const {
    return path.rfind(dir_.path() + "/", 0) == 0 ? path.substr(dir_.path().size() + 1) : path;
  }

  std::vector<std::string> Take() {
    std::vector<std::string> texts;
    for (const FolderEvent& event : watch_->Take()) {
      std::string text = TextOf(event);
      if (texts.empty() || texts.back() != text) texts.push_back(std::move(text));
    }
    return texts;
  }

  std::string TextOf(const FolderEvent& event) const {
    switch (event.kind) {
      case Kind::kFile:
        return "file " + Short(event.path);
      case Kind::kFileMoved:
        return "moved " + Short(event.from) + " -> " + Short(event.path);
      case Kind::kFolder:
        return "folder " + Short(event.path);
      case Kind::kFolderMoved:
        return "folder moved " + Short(event.from) + " -> " + Short(event.path);
      case Kind::kLostTrack:
        return "lost track";
      case Kind::kNotWatched:
        return "not watched " + Short(event.path) + ": " + event.cause;
      case Kind::kRootUnmounted:
        return "unmounted";
      case Kind::kRootGone:
        return "gone";
    }
    return "";
  }

  kit::TempDir dir_;
  kit::TempDir elsewhere_;
  std::optional<FolderWatch> watch_;
};

TEST_F(FolderWatchTest, TellsOfNewAndChangedFiles) {
  fs::create_directories(dir_ / "sub/deeper");
  kit::WriteFile(dir_ / "sub/old.jpg", "x");
  Begin();
  EXPECT_THAT(Take(), IsEmpty());
  kit::WriteFile(dir_ / "a.jpg", "x");
  kit::WriteFile(dir_ / "sub/deeper/b.jpg", "x");
  kit::WriteFile(dir_ / "sub/old.jpg", "y");
  EXPECT_THAT(Take(), ElementsAre("file a.jpg", "file sub/deeper/b.jpg", "file sub/old.jpg"));
  fs::last_write_time(dir_ / "a.jpg", fs::file_time_type::clock::now());
  fs::create_hard_link(dir_ / "a.jpg", dir_ / "linked.jpg");
  EXPECT_THAT(Take(), IsSupersetOf({"file a.jpg", "file linked.jpg"}));
  fs::remove(dir_ / "linked.jpg");
  EXPECT_THAT(Take(), testing::Not(Contains("file linked.jpg")));
}

TEST_F(FolderWatchTest, PairsTheHalvesOfAMove) {
  fs::create_directories(dir_ / "sub");
  kit::WriteFile(dir_ / "a.jpg", "x");
  Begin();
  fs::rename(dir_ / "a.jpg", dir_ / "b.jpg");
  fs::rename(dir_ / "b.jpg", dir_ / "sub/c.jpg");
  EXPECT_THAT(Take(), ElementsAre("moved a.jpg -> b.jpg", "file b.jpg", "moved b.jpg -> sub/c.jpg",
                                  "file sub/c.jpg"));
}

TEST_F(FolderWatchTest, AFileThatComesFromOutsideOrFromAHiddenNameIsNew) {
  kit::WriteFile(elsewhere_ / "a.jpg", "x");
  kit::WriteFile(dir_ / ".b.part", "x");
  Begin();
  fs::rename(elsewhere_ / "a.jpg", dir_ / "a.jpg");
  fs::rename(dir_ / ".b.part", dir_ / "b.jpg");
  EXPECT_THAT(Take(), ElementsAre("file a.jpg", "file b.jpg"));
}

TEST_F(FolderWatchTest, HiddenEntriesAreNotSeen) {
  fs::create_directories(dir_ / ".vexaea/a.jpg");
  Begin();
  kit::WriteFile(dir_ / ".vexaea/a.jpg/VEXAFILE_THUMB_S.jpg", "x");
  kit::WriteFile(dir_ / ".hidden.jpg", "x");
  fs::create_directories(dir_ / ".new");
  kit::WriteFile(dir_ / ".new/a.jpg", "x");
  EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(FolderWatchTest, SeesWhatComesIntoNewFolders) {
  Begin();
  fs::create_directories(dir_ / "one/two");
  EXPECT_THAT(Take(), IsSupersetOf({"folder one"}));
  kit::WriteFile(dir_ / "one/two/a.jpg", "x");
  EXPECT_THAT(Take(), ElementsAre("file one/two/a.jpg"));
}

TEST_F(FolderWatchTest, ANewFolderIsToBeLookedThroughForWhatCameBeforeItWasWatched) {
  Begin();
  fs::create_directory(dir_ / "one");
  kit::WriteFile(dir_ / "one/a.jpg", "x");  // nobody watches it yet
  EXPECT_THAT(Take(), Contains("folder one"));
}

TEST_F(FolderWatchTest, FollowsFoldersThatMove) {
  fs::create_directories(dir_ / "one/two");
  fs::create_directories(dir_ / "three");
  Begin();
  fs::rename(dir_ / "one", dir_ / "three/four");
  EXPECT_THAT(Take(), ElementsAre("folder moved one -> three/four", "folder three/four"));
  kit::WriteFile(dir_ / "three/four/two/a.jpg", "x");
  EXPECT_THAT(Take(), ElementsAre("file three/four/two/a.jpg"));
}

TEST_F(FolderWatchTest, AFolderRenamedRightAfterItWasMadeIsWatchedUnderItsNewName) {
  Begin();
  fs::create_directories(dir_ / "one/two");
  fs::rename(dir_ / "one", dir_ / "three");
  Take();
  kit::WriteFile(dir_ / "three/two/a.jpg", "x");
  EXPECT_THAT(Take(), ElementsAre("file three/two/a.jpg"));
}

TEST_F(FolderWatchTest, AFolderThatLeavesIsNotWatchedAnyMore) {
  fs::create_directories(dir_ / "one/two");
  Begin();
  fs::rename(dir_ / "one", elsewhere_ / "one");
  Take();
  usleep(600000);  // longer than the halves of a move take
  Take();
  kit::WriteFile(elsewhere_ / "one/two/a.jpg", "x");
  EXPECT_THAT(Take(), IsEmpty());
  fs::rename(elsewhere_ / "one", dir_ / "back");
  EXPECT_THAT(Take(), ElementsAre("folder back"));
  kit::WriteFile(dir_ / "back/two/a.jpg", "x");
  EXPECT_THAT(Take(), ElementsAre("file back/two/a.jpg"));
}

TEST_F(FolderWatchTest, AFolderThatLeavesAndComesBackAtOnceIsWatched) {
  fs::create_directories(dir_ / "one/two");
  Begin();
  fs::rename(dir_ / "one", elsewhere_ / "one");
  Take();
  fs::rename(elsewhere_ / "one", dir_ / "one");
  EXPECT_THAT(Take(), ElementsAre("folder one"));
  usleep(600000);  // longer than the halves of a move take
  Take();
  kit::WriteFile(dir_ / "one/a.jpg", "x");
  kit::WriteFile(dir_ / "one/two/a.jpg", "x");
  EXPECT_THAT(Take(), ElementsAre("file one/a.jpg", "file one/two/a.jpg"));
}

// Makes folders in one another, `depth` of them, and returns the last one, open. Their path may be
// longer than any call takes.
posix::UniqueFd MakeDeep(const std::string& folder, const std::string& name, int depth) {
  posix::UniqueFd at(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (int i = 0; i < depth; ++i) {
    mkdirat(at.get(), name.c_str(), 0777);
    at = posix::UniqueFd(openat(at.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  return at;
}

class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t most) {
    getrlimit(RLIMIT_NOFILE, &before_);
    const struct rlimit few = {most, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  struct rlimit before_ = {};
};

TEST_F(FolderWatchTest, FoldersMayLieDeeperThanThereAreDescriptors) {
  const posix::UniqueFd deepest = MakeDeep(dir_.path(), "d", 100);
  {
    const DescriptorLimit few(50);
    Begin();
  }
  EXPECT_THAT(Take(), IsEmpty());
  const posix::UniqueFd file(openat(deepest.get(), "a.jpg", O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
  ASSERT_TRUE(file);
  EXPECT_THAT(Take(), ElementsAre(testing::EndsWith("/d/a.jpg")));
}

TEST_F(FolderWatchTest, TellsOfAFolderThatCannotBeReadForWantOfDescriptors) {
  MakeDeep(dir_.path(), "d", 3);
  Begin();
  fs::create_directory(dir_ / "new");
  {
    const DescriptorLimit none(0);
    EXPECT_THAT(Take(), Contains("not watched new: Too many open files"));
  }
}

TEST_F(FolderWatchTest, TellsOfAFolderWhosePathIsTooLong) {
  MakeDeep(dir_.path(), std::string(200, 'd'), 30);
  Begin();
  EXPECT_THAT(Take(), ElementsAre(testing::EndsWith(": File name too long")));
}

TEST_F(FolderWatchTest, AFolderThatIsRemovedAndMadeAgainIsWatched) {
  fs::create_directories(dir_ / "one/two");
  Begin();
  fs::remove_all(dir_ / "one");
  fs::create_directories(dir_ / "one/two");
  Take();
  kit::WriteFile(dir_ / "one/two/a.jpg", "x");
  EXPECT_THAT(Take(), ElementsAre("file one/two/a.jpg"));
}

TEST_F(FolderWatchTest, AMarkHidesAFolderForAsLongAsItIsThere) {
  fs::create_directories(dir_ / "one/two");
  kit::WriteFile(dir_ / "one/.nomedia", "");
  Begin();
  kit::WriteFile(dir_ / "one/a.jpg", "x");
  kit::WriteFile(dir_ / "one/two/a.jpg", "x");
  EXPECT_THAT(Take(), IsEmpty());
  fs::remove(dir_ / "one/.nomedia");
  EXPECT_THAT(Take(), ElementsAre("folder one"));
  kit::WriteFile(dir_ / "one/two/a.jpg", "y");
  EXPECT_THAT(Take(), ElementsAre("file one/two/a.jpg"));
  kit::WriteFile(dir_ / "one/.nomedia", "");
  Take();
  kit::WriteFile(dir_ / "one/a.jpg", "y");
  kit::WriteFile(dir_ / "one/two/a.jpg", "z");
  EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(FolderWatchTest, LinksAreNotFollowed) {
  fs::create_directory_symlink(elsewhere_.path(), dir_ / "linked");
  Begin();
  kit::WriteFile(elsewhere_ / "a.jpg", "x");
  EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(FolderWatchTest, TellsWhenItHasLostTrack) {
  Begin();
  std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
  int events = 0;
  ASSERT_TRUE(limit >> events);
  // Two for each: the same twice running would be one.
  for (int i = 0; i <= events; ++i) {
    const std::string& name = dir_ / (i % 2 == 0 ? "a" : "b");
    truncate(name.c_str(), 0) == 0 ? void() : kit::WriteFile(name, "");
    std::ofstream(name, std::ios::app).close();
  }
  EXPECT_THAT(Take(), Contains("lost track"));
}

TEST_F(FolderWatchTest, TellsWhenTheFolderItselfIsGone) {
  fs::create_directories(dir_ / "share/one");
  watch_.emplace(std::vector<std::string>{dir_ / "share"}, false);
  fs::remove_all(dir_ / "share");
  EXPECT_THAT(Take(), Contains("gone"));
}

TEST_F(FolderWatchTest, TellsOfAFolderThatIsNotThere) {
  watch_.emplace(std::vector<std::string>{dir_ / "none"}, false);
  EXPECT_THAT(Take(), ElementsAre("not watched none: No such file or directory"));
}

}  // namespace
}  // namespace vexathumb::service
