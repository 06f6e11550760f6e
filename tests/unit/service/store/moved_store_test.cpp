#include "service/store/moved_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "service/store/store_files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kThumbnail[] = "VEXAFILE_THUMB_S.jpg";

// Time stamps of files have the grain of the system's clock tick.
void LetTheClockTick() { usleep(20000); }

class MovedStoreTest : public ServiceTest {
 protected:
  void UseCentralStore(const std::string& more = "") const {
    kit::WriteFile(elsewhere_ / "platform.ini",
                   "[store]\nlayout = central\nroot = " + elsewhere_ / "root" + "\n" + more);
  }

  std::string WriteStoredSource(const std::string& name, const std::string& content) const {
    const std::string path = Picture(name);
    fs::create_directories(fs::path(path).parent_path());
    kit::WriteFile(path, "a picture");
    WriteStored(path, kThumbnail, content);
    LetTheClockTick();
    return path;
  }

  bool Move(const std::string& from, const std::string& to) const {
    return MoveStoreOfFile(share_.path(), from, to, options_.lock_directory);
  }
};

struct Layout {
  const char* name;
  bool central;
};

class MovedStoreLayoutTest : public MovedStoreTest, public testing::WithParamInterface<Layout> {
 protected:
  MovedStoreLayoutTest() {
    if (GetParam().central) UseCentralStore();
  }
};

TEST_P(MovedStoreLayoutTest, ThumbnailsFollowARenamedFile) {
  const std::string from = WriteStoredSource("a.jpg", "thumbnail");
  const std::string to = Picture("b\n$.jpg");
  fs::rename(from, to);
  EXPECT_TRUE(Move(from, to));
  EXPECT_EQ(kit::ReadFile(StorePath(to, kThumbnail)), "thumbnail");
  EXPECT_EQ(ModificationTimeOf(StorePath(to, kThumbnail)), kSourceTime);
  EXPECT_FALSE(fs::exists(StoreDirectoryOf(from)));
}

TEST_P(MovedStoreLayoutTest, ThumbnailsFollowAFileIntoAnotherFolder) {
  const std::string from = WriteStoredSource("one/a.jpg", "thumbnail");
  const std::string to = Picture("two/three/a.jpg");
  fs::create_directories(Picture("two/three"));
  fs::rename(from, to);
  EXPECT_TRUE(Move(from, to));
  EXPECT_EQ(kit::ReadFile(StorePath(to, kThumbnail)), "thumbnail");
}

TEST_P(MovedStoreLayoutTest, WhatWasStoredForAnOverwrittenFileGoes) {
  const std::string to = WriteStoredSource("b.jpg", "of the overwritten");
  WriteStored(to, "VEXAFILE_THUMB_M.jpg", "of the overwritten");
  const std::string from = WriteStoredSource("a.jpg", "thumbnail");
  fs::rename(from, to);
  EXPECT_TRUE(Move(from, to));
  EXPECT_THAT(Stored(to), ElementsAre(kThumbnail));
  EXPECT_EQ(kit::ReadFile(StorePath(to, kThumbnail)), "thumbnail");
}

TEST_P(MovedStoreLayoutTest, TwoFilesThatSwapTheirNamesKeepTheirThumbnails) {
  const std::string a = WriteStoredSource("a.jpg", "first");
  const std::string b = WriteStoredSource("b.jpg", "second");
  const std::string c = Picture("c.jpg");
  fs::rename(a, c);
  fs::rename(b, a);
  fs::rename(c, b);
  // What happened is followed afterwards, in its order.
  kit::WriteFile(c, "for a moment");
  EXPECT_TRUE(Move(a, c));
  EXPECT_TRUE(Move(b, a));
  EXPECT_TRUE(Move(c, b));
  EXPECT_EQ(kit::ReadFile(StorePath(a, kThumbnail)), "second");
  EXPECT_EQ(kit::ReadFile(StorePath(b, kThumbnail)), "first");
}

TEST_P(MovedStoreLayoutTest, WhatHasBeenBuiltForTheNewNameStays) {
  const std::string from = WriteStoredSource("a.jpg", "old");
  const std::string to = Picture("b.jpg");
  fs::rename(from, to);
  LetTheClockTick();
  WriteStored(to, kThumbnail, "new");
  EXPECT_FALSE(Move(from, to));
  EXPECT_EQ(kit::ReadFile(StorePath(to, kThumbnail)), "new");
}

TEST_P(MovedStoreLayoutTest, WhatHasBeenBuiltSinceForAnotherOfTheFormerNameStaysThere) {
  const std::string from = WriteStoredSource("a.jpg", "old");
  const std::string to = Picture("b.jpg");
  fs::rename(from, to);
  LetTheClockTick();
  WriteStoredSource("a.jpg", "of another file");
  EXPECT_FALSE(Move(from, to));
  EXPECT_EQ(kit::ReadFile(StorePath(from, kThumbnail)), "of another file");
}

TEST_P(MovedStoreLayoutTest, WithoutAStoreNothingIsMade) {
  kit::WriteFile(Picture("b.jpg"), "x");
  EXPECT_FALSE(Move(Picture("a.jpg"), Picture("b.jpg")));
  EXPECT_FALSE(fs::exists(StoreDirectoryOf(Picture("b.jpg"))));
}

TEST_P(MovedStoreLayoutTest, ThumbnailsFollowARenamedFolder) {
  WriteStoredSource("one/sub/a.jpg", "thumbnail");
  fs::create_directory(Picture("two"));
  fs::rename(Picture("one"), Picture("two/new"));
  EXPECT_EQ(MoveStoreOfFolder(share_.path(), Picture("one"), Picture("two/new")),
            GetParam().central);
  EXPECT_EQ(kit::ReadFile(StorePath(Picture("two/new/sub/a.jpg"), kThumbnail)), "thumbnail");
}

INSTANTIATE_TEST_SUITE_P(Layouts, MovedStoreLayoutTest,
                         testing::Values(Layout{"Beside", false}, Layout{"Central", true}),
                         kit::CaseName());

TEST_F(MovedStoreTest, NothingMovesToAnotherShare) {
  UseCentralStore("[share open]\npath = " + Picture("open") + "\n");
  const std::string from = WriteStoredSource("closed/a.jpg", "thumbnail");
  const std::string to = Picture("open/a.jpg");
  fs::create_directory(Picture("open"));
  fs::rename(from, to);
  EXPECT_FALSE(Move(from, to));
  EXPECT_FALSE(MoveStoreOfFolder(share_.path(), Picture("closed"), Picture("open")));
  EXPECT_FALSE(fs::exists(StoreDirectoryOf(to)));
}

TEST_F(MovedStoreTest, LinksBelowTheWatchedFolderAreNotFollowed) {
  const kit::TempDir other;
  fs::create_directories(other / ".vexaea/a.jpg");
  kit::WriteFile(other / ".vexaea/a.jpg/VEXAFILE_THUMB_S.jpg", "secret");
  fs::create_directory_symlink(other.path(), Picture("linked"));
  LetTheClockTick();
  kit::WriteFile(Picture("b.jpg"), "x");
  EXPECT_FALSE(Move(Picture("linked/a.jpg"), Picture("b.jpg")));
  EXPECT_TRUE(fs::exists(other / ".vexaea/a.jpg/VEXAFILE_THUMB_S.jpg"));
}

}  // namespace
}  // namespace vexathumb::service
