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

TEST_F(LockFileTest, MakesDirectoryAndFileForAllUsers) {
  const mode_t usual = umask(077);
  const LockFile lock(directory_, "a");
  umask(usual);
  struct stat st = {};
  ASSERT_EQ(stat(directory_.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 01777U);
  ASSERT_EQ(stat((directory_ + "/a").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0666U);
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

TEST_F(LockFileTest, AnotherUsersFileInAStickyDirectoryWorks) {
  if (geteuid() != 0) {
    // The kernel's check is about other users' files, of which there are none here.
    EXPECT_TRUE(IsFree("a"));
    return;
  }
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
  struct stat st = {};
  ASSERT_EQ(stat((directory_ + "/a").c_str(), &st), 0);
  EXPECT_EQ(st.st_uid, kOneUser);
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
