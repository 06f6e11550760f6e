#include "service/base/lock_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "unit/service/processes.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;

constexpr uid_t kOneUser = 12345;
constexpr uid_t kOtherUser = 12346;

class LockFileTest : public testing::Test {
 protected:
  // Others than the test's own user have to get there.
  LockFileTest() { chmod(dir_.path().c_str(), 0755); }

  bool IsFree(const std::string& name) const {
    Process other([&] { return LockFile(directory_, name).TryLock() ? 1 : 0; });
    return other.Wait() == 1;
  }

  kit::TempDir dir_;
  const std::string directory_ = dir_ / "locks";
};

mode_t ModeOf(const std::string& path) {
  struct stat st = {};
  return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

struct FolderCase {
  const char* name;
  mode_t parent;
  mode_t directory;
  std::string below;  // where the locks lie
  mode_t file;
};

class LockFolderTest : public LockFileTest, public testing::WithParamInterface<FolderCase> {};

// Nobody else can open a lock's file, and so hold it.
TEST_P(LockFolderTest, IsForThoseWhoBuildTogether) {
  chmod(dir_.path().c_str(), GetParam().parent);
  for (const mode_t mask : {0077U, 0000U}) {
    SCOPED_TRACE(mask);
    const mode_t usual = umask(mask);
    const LockFile lock(directory_, "a");
    umask(usual);
    const std::string folder = directory_ + GetParam().below;
    EXPECT_EQ(LockFolder(directory_), folder);
    EXPECT_EQ(ModeOf(directory_), GetParam().directory);
    EXPECT_EQ(ModeOf(folder + "/a"), GetParam().file);
    std::filesystem::remove_all(directory_);
  }
}

INSTANTIATE_TEST_SUITE_P(, LockFolderTest,
                         testing::Values(FolderCase{"OfOneUser", 0755, 0700, "", 0600},
                                         FolderCase{"OfAGroup", 02775, 02770, "", 0660},
                                         FolderCase{"OfNobodyElse", 0700, 0700, "", 0600},
                                         FolderCase{"OfAll", 01777, 01777,
                                                    "/user." + std::to_string(geteuid()), 0600}),
                         CaseName());

// Made by somebody else beforehand, where anybody may.
TEST_F(LockFileTest, AFolderOfAnotherUsersIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make files for others";
  std::filesystem::create_directory(directory_);
  chmod(directory_.c_str(), 01777);
  const std::string own = directory_ + "/user.0";
  std::filesystem::create_directory(own);
  chmod(own.c_str(), 0700);
  EXPECT_NO_THROW(LockFile(directory_, "a"));
  ASSERT_EQ(chown(own.c_str(), kOneUser, kOneUser), 0);
  EXPECT_THROW(LockFile(directory_, "a"), std::system_error);
}

// He has no file that he could open.
TEST_F(LockFileTest, AnotherUserHoldsNoLock) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become others";
  chmod(dir_.path().c_str(), 01777);
  LockFile lock(directory_, "a");
  const std::string file = LockFolder(directory_) + "/a";
  Process other([&] {
    if (!BecomeOrdinaryUser(kOneUser)) return 2;
    const bool opened = open(file.c_str(), O_RDONLY) >= 0 || open(file.c_str(), O_WRONLY) >= 0;
    return opened || !LockFile(directory_, "a").TryLock() ? 1 : 0;
  });
  EXPECT_EQ(other.Wait(), 0);
  EXPECT_TRUE(lock.TryLock());
}

TEST_F(LockFileTest, ExcludesOtherProcesses) {
  LockFile lock(directory_, "a");
  EXPECT_TRUE(IsFree("a"));
  lock.Lock();
  EXPECT_FALSE(IsFree("a"));
  EXPECT_TRUE(IsFree("b"));
}

TEST_F(LockFileTest, ExcludesOtherObjectsOfTheProcess) {
  LockFile lock(directory_, "a");
  ASSERT_TRUE(lock.TryLock());
  EXPECT_FALSE(LockFile(directory_, "a").TryLock());
}

TEST_F(LockFileTest, IsLookedAtByOthers) {
  LockFile lock(directory_, "a");
  LockFile other(directory_, "a");
  EXPECT_FALSE(other.IsHeldByAnother());
  lock.Lock();
  EXPECT_TRUE(other.IsHeldByAnother());
  EXPECT_FALSE(lock.IsHeldByAnother());
}

// Whoever wants it is not refused because somebody looks.
TEST_F(LockFileTest, IsNotTakenByALook) {
  constexpr int kTries = 20000;
  const Signal looking;
  Process looker([&] {
    LockFile lock(directory_, "a");
    looking.Give();
    for (;;) lock.IsHeldByAnother();
    return 0;
  });
  looking.Await();
  int refused = 0;
  for (int i = 0; i < kTries; ++i) refused += LockFile(directory_, "a").TryLock() ? 0 : 1;
  EXPECT_EQ(refused, 0);
}

TEST_F(LockFileTest, IsReleasedWithTheObjectAndStaysAFile) {
  { LockFile(directory_, "a").Lock(); }
  EXPECT_TRUE(IsFree("a"));
  EXPECT_TRUE(std::filesystem::exists(directory_ + "/a"));
}

TEST_F(LockFileTest, MovesWithItsLock) {
  LockFile first(directory_, "a");
  first.Lock();
  {
    const LockFile second(std::move(first));
    EXPECT_FALSE(IsFree("a"));
  }
  EXPECT_TRUE(IsFree("a"));
}

TEST_F(LockFileTest, WaitsForTheHolder) {
  const Signal locked;
  const Signal started;
  // Forked before the lock is taken: a child has its parent's locks too.
  Process waiter([&] {
    LockFile waiting(directory_, "a");
    locked.Await();
    started.Give();
    waiting.Lock();
    return std::filesystem::exists(dir_ / "released") ? 0 : 1;
  });
  {
    LockFile lock(directory_, "a");
    lock.Lock();
    locked.Give();
    started.Await();
    kit::WriteFile(dir_ / "released", "");
  }
  EXPECT_EQ(waiter.Wait(), 0);
}

TEST_F(LockFileTest, IsReleasedWhenTheHolderIsKilled) {
  const Signal locked;
  Process holder([&] {
    LockFile lock(directory_, "a");
    lock.Lock();
    locked.Give();
    pause();
    return 0;
  });
  locked.Await();
  EXPECT_FALSE(IsFree("a"));
  holder.Kill();
  EXPECT_TRUE(IsFree("a"));
}

TEST_F(LockFileTest, IsNotInheritedByPrograms) {
  const LockFile lock(directory_, "a");
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    if (std::filesystem::read_symlink(entry, error) != directory_ + "/a") continue;
    EXPECT_EQ(fcntl(std::stoi(entry.path().filename()), F_GETFD), FD_CLOEXEC);
  }
}

TEST_F(LockFileTest, EveryUserHasLocksInADirectoryForAll) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become others";
  const auto lock_as = [this](uid_t user) {
    Process process([&] {
      if (!BecomeOrdinaryUser(user)) return 2;
      return LockFile(directory_, "a").TryLock() ? 0 : 1;
    });
    return process.Wait();
  };
  chmod(dir_.path().c_str(), 01777);
  EXPECT_EQ(lock_as(kOneUser), 0);
  EXPECT_EQ(lock_as(kOtherUser), 0);
  EXPECT_EQ(lock_as(0), 0);
}

struct ObstacleCase {
  const char* name;
  void (*put)(const std::string& path);
};

class RefusedLockFileTest : public LockFileTest,
                            public testing::WithParamInterface<ObstacleCase> {};

TEST_P(RefusedLockFileTest, Throws) {
  kit::WriteFile(dir_ / "target", "content");
  std::filesystem::create_directory(directory_);
  GetParam().put(directory_ + "/a");
  EXPECT_THROW(LockFile(directory_, "a"), std::system_error);
  EXPECT_EQ(kit::ReadFile(dir_ / "target"), "content");
}

INSTANTIATE_TEST_SUITE_P(
    Obstacles, RefusedLockFileTest,
    testing::Values(
        ObstacleCase{"Link",
                     [](const auto& path) { std::filesystem::create_symlink("../target", path); }},
        ObstacleCase{"DanglingLink",
                     [](const auto& path) { std::filesystem::create_symlink("../new", path); }},
        ObstacleCase{"Folder", [](const auto& path) { std::filesystem::create_directory(path); }},
        ObstacleCase{"Socket", [](const auto& path) { kit::WriteSocket(path); }}),
    CaseName());

TEST_F(LockFileTest, AMissingParentFolderIsRefused) {
  EXPECT_THROW(LockFile(dir_ / "no/locks", "a"), std::system_error);
}

TEST_F(LockFileTest, AFileInThePlaceOfTheDirectoryIsRefused) {
  kit::WriteFile(directory_, "");
  EXPECT_THROW(LockFile(directory_, "a"), std::system_error);
}

}  // namespace
}  // namespace vexathumb::service
