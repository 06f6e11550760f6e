#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "kit/case_name.h"
#include "kit/doubles/log_capture.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "platform/store/volume_type.h"
#include "unit/platform/in_child.h"
#include "unit/platform/scoped_settings.h"
#include "vexa/ea.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::TempDir;
using vexathumb::kit::WriteFile;

constexpr char kUntouched[] = "untouched";

struct Answer {
  int result;
  int error;
  std::string text;
};

Answer EntryPath(const std::string& path, const std::string& name) {
  char buffer[4096] = "untouched";
  const int result =
      VEXAEAPath(EATYPE_VEXAEA, path.c_str(), name.c_str(), buffer, sizeof(buffer), VEXA_SHARE);
  return {result, result == 0 ? 0 : errno, buffer};
}

Answer DirectoryPath(const std::string& path) {
  char buffer[4096] = "untouched";
  const int result = VEXAEADirPath(EATYPE_VEXAEA, path.c_str(), buffer, sizeof(buffer));
  return {result, result == 0 ? 0 : errno, buffer};
}

struct Place {
  const char* name;
  const char* settings;
  const char* source;
  const char* directory;
};

class StorePlaceOf : public testing::TestWithParam<Place> {};

TEST_P(StorePlaceOf, Source) {
  const ScopedSettings settings(GetParam().settings);
  EXPECT_EQ(DirectoryPath(GetParam().source).text, GetParam().directory);
  EXPECT_EQ(EntryPath(GetParam().source, "THUMB_S.jpg").text,
            std::string(GetParam().directory) + "/THUMB_S.jpg");
}

constexpr char kBeside[] = "[store]\nlayout = beside\nroot = /store\n";
constexpr char kCentral[] = "[store]\nlayout = central\nroot = /store\n";

INSTANTIATE_TEST_SUITE_P(
    , StorePlaceOf,
    testing::Values(Place{"Default", "", "/d/a.jpg", "/d/.vexaea/a.jpg"},
                    Place{"Beside", kBeside, "/d/a.jpg", "/d/.vexaea/a.jpg"},
                    Place{"BesideInTheRootFolder", kBeside, "/a.jpg", "/.vexaea/a.jpg"},
                    Place{"BesideAfterClimbing", kBeside, "/d/../e/a.jpg", "/d/../e/.vexaea/a.jpg"},
                    Place{"Central", kCentral, "/d/a.jpg", "/store/d/.vexaea/a.jpg"},
                    Place{"CentralInTheRootFolder", kCentral, "/a.jpg", "/store/.vexaea/a.jpg"},
                    Place{"CentralDefaultRoot", "[store]\nlayout = central\n", "/d/a.jpg",
                          "/var/lib/vexathumb/store/d/.vexaea/a.jpg"},
                    Place{"CentralFolderOfTheSourcesName", kCentral, "/d/a.jpg/b.jpg",
                          "/store/d/a.jpg/.vexaea/b.jpg"},
                    Place{"CentralDotsThatDoNotClimb", kCentral, "/d/...a/..b.jpg",
                          "/store/d/...a/.vexaea/..b.jpg"},
                    Place{"OddBytes", kBeside, "/d e/\xff%d[0]\n.jpg",
                          "/d e/.vexaea/\xff%d[0]\n.jpg"}),
    vexathumb::kit::CaseName());

struct Refusal {
  const char* name;
  const char* settings;
  const char* source;
  const char* entry;
};

class RefusedStorePath : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedStorePath, IsInvalidAndLeavesTheBuffer) {
  const ScopedSettings settings(GetParam().settings);
  const Answer answer = EntryPath(GetParam().source, GetParam().entry);
  EXPECT_EQ(answer.result, -1);
  EXPECT_EQ(answer.error, EINVAL);
  EXPECT_EQ(answer.text, kUntouched);
}

INSTANTIATE_TEST_SUITE_P(, RefusedStorePath,
                         testing::Values(Refusal{"RelativeSource", kBeside, "d/a.jpg", "n"},
                                         Refusal{"EmptySource", kBeside, "", "n"},
                                         Refusal{"RootFolder", kBeside, "/", "n"},
                                         Refusal{"TrailingSlash", kBeside, "/d/", "n"},
                                         Refusal{"DotSource", kBeside, "/d/.", "n"},
                                         Refusal{"DotDotSource", kBeside, "/d/..", "n"},
                                         Refusal{"CentralClimbing", kCentral, "/d/../e/a.jpg", "n"},
                                         Refusal{"CentralClimbingFirst", kCentral, "/../a.jpg",
                                                 "n"},
                                         Refusal{"CentralRelative", kCentral, "d/a.jpg", "n"},
                                         Refusal{"EmptyName", kBeside, "/d/a.jpg", ""},
                                         Refusal{"DotName", kBeside, "/d/a.jpg", "."},
                                         Refusal{"DotDotName", kBeside, "/d/a.jpg", ".."},
                                         Refusal{"NameWithSlash", kBeside, "/d/a.jpg", "../n"},
                                         Refusal{"NameEndsInSlash", kBeside, "/d/a.jpg", "n/"}),
                         vexathumb::kit::CaseName());

class StorePath : public testing::Test {
 protected:
  ScopedSettings settings_{kBeside};
  char buffer_[64] = "untouched";
};

TEST_F(StorePath, FitsWithItsEndOrIsRefused) {
  const std::string whole = "/d/.vexaea/a.jpg/n";
  const int size = static_cast<int>(whole.size());
  for (const int small : {size, 1, 0, -1}) {
    EXPECT_EQ(VEXAEAPath(EATYPE_VEXAEA, "/d/a.jpg", "n", buffer_, small, VEXA_SHARE), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_STREQ(buffer_, kUntouched);
  }
  EXPECT_EQ(VEXAEAPath(EATYPE_VEXAEA, "/d/a.jpg", "n", buffer_, size + 1, VEXA_SHARE), 0);
  EXPECT_EQ(buffer_, whole);
  EXPECT_EQ(VEXAEADirPath(EATYPE_VEXAEA, "/d/a.jpg", buffer_, size - 2), -1);
  EXPECT_EQ(VEXAEADirPath(EATYPE_VEXAEA, "/d/a.jpg", buffer_, size - 1), 0);
  EXPECT_STREQ(buffer_, "/d/.vexaea/a.jpg");
}

TEST_F(StorePath, HasNoOtherTypes) {
  EXPECT_EQ(VEXAEAPath(EATYPE_EASTREAM, "/d/a.jpg", "n", buffer_, 64, VEXA_SHARE), -1);
  EXPECT_EQ(errno, ENOTSUP);
  errno = 0;
  EXPECT_EQ(VEXAEAPath(EATYPE_VEXAEA, "/d/a.jpg", "n", buffer_, 64, AD_SHARE), -1);
  EXPECT_EQ(errno, ENOTSUP);
  errno = 0;
  EXPECT_EQ(VEXAEADirPath(EATYPE_EASTREAM, "/d/a.jpg", buffer_, 64), -1);
  EXPECT_EQ(errno, ENOTSUP);
  EXPECT_STREQ(buffer_, kUntouched);
}

TEST_F(StorePath, NeedsAllArguments) {
  EXPECT_EQ(VEXAEAPath(EATYPE_VEXAEA, nullptr, "n", buffer_, 64, VEXA_SHARE), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(VEXAEAPath(EATYPE_VEXAEA, "/d/a.jpg", nullptr, buffer_, 64, VEXA_SHARE), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(VEXAEAPath(EATYPE_VEXAEA, "/d/a.jpg", "n", nullptr, 64, VEXA_SHARE), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST(AutoStore, LiesBesideASourceWhoseVolumeCanHoldItAndUnderTheRootElsewhere) {
  const TempDir folder;
  const ScopedSettings settings("[store]\nlayout = auto\nroot = /store\n");
  // In a child with mounts of its own; where the machine does not let it mount, the folder stays
  // writable and the other half of the rule is checked.
  const int answer = InChild([&folder] {
    const char* path = folder.path().c_str();
    const bool mounted =
        unshare(CLONE_NEWNS) == 0 &&
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        mount(path, path, nullptr, MS_BIND, nullptr) == 0 &&
        mount(nullptr, path, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    Volume volume;
    if (AskVolume(path, &volume) != 0 || volume.mounted_read_only != mounted) return 1;
    const std::string root = CanHoldStore(volume) ? "" : "/store";
    if (mounted && root.empty()) return 2;
    // The source and some of its folders need not exist.
    const std::string source = folder / "missing/a.jpg";
    const std::string expected = root + folder.path() + "/missing/.vexaea/a.jpg";
    return DirectoryPath(source).text == expected ? 0 : 3;
  });
  EXPECT_EQ(answer, 0);
}

class StoreDirectory : public testing::Test {
 protected:
  ScopedSettings settings_{kBeside};
  TempDir folder_;
  std::string directory_ = folder_ / "share/.vexaea/a.jpg";

  int Make() { return VEXAEAMKDir(1, directory_.c_str()); }
};

TEST_F(StoreDirectory, IsMadeWithItsParents) {
  EXPECT_EQ(Make(), 0);
  EXPECT_TRUE(std::filesystem::is_directory(directory_));
  EXPECT_EQ(Make(), 0);  // and again
}

TEST_F(StoreDirectory, MayBeNamedWithSpareSlashes) {
  EXPECT_EQ(VEXAEAMKDir(1, ("//" + directory_ + "//").c_str()), 0);
  EXPECT_TRUE(std::filesystem::is_directory(directory_));
}

TEST_F(StoreDirectory, HasTheModeThatTheUmaskLeaves) {
  const mode_t previous = umask(027);
  EXPECT_EQ(Make(), 0);
  umask(previous);
  struct stat status {};
  ASSERT_EQ(stat(directory_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0750U);
}

TEST_F(StoreDirectory, IsMadeBehindAShareThatIsALink) {
  std::filesystem::create_directory(folder_ / "elsewhere");
  std::filesystem::create_directory_symlink("elsewhere", folder_ / "share");
  EXPECT_EQ(Make(), 0);
  EXPECT_TRUE(std::filesystem::is_directory(folder_ / "elsewhere/.vexaea/a.jpg"));
}

TEST_F(StoreDirectory, OfEightThreadsIsMadeOnceAndFoundByAll) {
  std::vector<std::thread> threads;
  std::vector<int> results(8, -1);
  threads.reserve(results.size());
  for (int& result : results) threads.emplace_back([&] { result = Make(); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(results, std::vector<int>(8));
}

TEST_F(StoreDirectory, IsRefusedBelowADanglingShare) {
  std::filesystem::create_directory_symlink("nowhere", folder_ / "share");
  EXPECT_EQ(Make(), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "nowhere"));
}

TEST_F(StoreDirectory, NeedsAnAbsolutePath) {
  for (const char* path : {"", "share/.vexaea/a.jpg", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(VEXAEAMKDir(1, path), -1);
    EXPECT_EQ(errno, EINVAL);
  }
}

TEST_F(StoreDirectory, IsMadeWithoutLinksBeneathACentralRoot) {
  std::filesystem::create_directory(folder_ / "root");
  std::filesystem::create_directory(folder_ / "elsewhere");
  std::filesystem::create_directory_symlink("root", folder_ / "linked");
  std::filesystem::create_directory_symlink(folder_ / "elsewhere", folder_ / "root/share");
  settings_.Write("[store]\nlayout = central\nroot = " + (folder_ / "linked") + "\n");
  EXPECT_EQ(VEXAEAMKDir(1, (folder_ / "linked/other/.vexaea/a.jpg").c_str()), 0);
  EXPECT_TRUE(std::filesystem::is_directory(folder_ / "root/other/.vexaea/a.jpg"));
  EXPECT_EQ(VEXAEAMKDir(1, (folder_ / "linked/share/.vexaea/a.jpg").c_str()), -1);
  EXPECT_EQ(errno, ELOOP);
  EXPECT_TRUE(std::filesystem::is_empty(folder_ / "elsewhere"));
}

struct BadEntry {
  const char* name;
  const char* place;
  const char* target;  // null: a folder
  int error;
};

class OccupiedStoreEntry : public StoreDirectory, public testing::WithParamInterface<BadEntry> {};

TEST_P(OccupiedStoreEntry, HasNoPath) {
  const std::string place = folder_ / GetParam().place;
  std::filesystem::create_directories(std::filesystem::path(place).parent_path());
  if (GetParam().target != nullptr) {
    std::filesystem::create_directories(folder_ / "elsewhere/a.jpg");
    WriteFile(folder_ / "elsewhere/a.jpg/n", "of another");
    std::filesystem::create_symlink(folder_ / GetParam().target, place);
  } else {
    std::filesystem::create_directory(place);
  }
  vexathumb::kit::TakeLog();
  const Answer answer = EntryPath(folder_ / "share/a.jpg", "n");
  EXPECT_EQ(answer.result, -1);
  EXPECT_EQ(answer.error, GetParam().error);
  const auto log = vexathumb::kit::TakeLog();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_NE(log[0].text.find("is refused as a place of the store"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    , OccupiedStoreEntry,
    testing::Values(BadEntry{"ByALink", "share/.vexaea/a.jpg/n", "elsewhere/a.jpg/n", ELOOP},
                    BadEntry{"ByADanglingLink", "share/.vexaea/a.jpg/n", "nowhere", ELOOP},
                    BadEntry{"ByALinkForItsDirectory", "share/.vexaea/a.jpg", "elsewhere/a.jpg",
                             ELOOP},
                    BadEntry{"ByALinkForTheHiddenFolder", "share/.vexaea", "elsewhere", ELOOP},
                    BadEntry{"ByAFolder", "share/.vexaea/a.jpg/n", nullptr, EISDIR}),
    vexathumb::kit::CaseName());

struct Occupied {
  const char* name;
  const char* place;
  bool by_link;
};

class OccupiedStoreDirectory : public StoreDirectory,
                               public testing::WithParamInterface<Occupied> {};

TEST_P(OccupiedStoreDirectory, IsRefusedAndNothingIsMadeElsewhere) {
  const std::string place = folder_ / GetParam().place;
  const std::string elsewhere = folder_ / "elsewhere";
  std::filesystem::create_directories(std::filesystem::path(place).parent_path());
  std::filesystem::create_directory(elsewhere);
  if (GetParam().by_link) {
    std::filesystem::create_directory_symlink(elsewhere, place);
  } else {
    WriteFile(place, "a file");
  }
  EXPECT_EQ(Make(), -1);
  EXPECT_TRUE(errno == ELOOP || errno == ENOTDIR) << errno;
  EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
}

INSTANTIATE_TEST_SUITE_P(
    , OccupiedStoreDirectory,
    testing::Values(Occupied{"ByALink", "share/.vexaea/a.jpg", true},
                    Occupied{"ByAFile", "share/.vexaea/a.jpg", false},
                    Occupied{"ByALinkForTheHiddenFolder", "share/.vexaea", true},
                    Occupied{"ByAFileForTheHiddenFolder", "share/.vexaea", false},
                    Occupied{"ByAFileForTheShare", "share", false}),
    vexathumb::kit::CaseName());

}  // namespace
}  // namespace vexaplatform
