#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "common/util/util.h"
#include "kit/case_name.h"
#include "kit/doubles/call_journal.h"
#include "kit/doubles/libc_double.h"
#include "kit/doubles/log_capture.h"
#include "kit/doubles/platform_double.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "vexa/ea.h"

namespace vexathumb::file {
namespace {

using kit::Call;
using kit::CallJournal;
using kit::CaseName;
using kit::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;

class StorePathsTest : public testing::Test {
 protected:
  StorePathsTest() { kit::TakeLog(); }

  void ExpectOneLine(const char* format, const std::string& text) {
    const std::vector<LogLine> log = kit::TakeLog();
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0].priority, LOG_ERR);
    EXPECT_EQ(log[0].format, format);
    EXPECT_EQ(log[0].text, text);
  }

  kit::PlatformDouble platform_;
  kit::LibcDouble libc_;
};

TEST_F(StorePathsTest, EntryPathIsThePlatforms) {
  platform_.store_directory = [](const std::string& source) { return "/store" + source; };
  EXPECT_EQ(GetEAPath("/d/a.jpg", "ENTRY"), "/store/d/a.jpg/ENTRY");
  EXPECT_THAT(kit::TakeLog(), IsEmpty());
}

TEST_F(StorePathsTest, EntryPathIsAskedForWithABufferOf4096Bytes) {
  GetEAPath("/d/a.jpg", "ENTRY");
  EXPECT_THAT(
      CallJournal::Get().Of({"VEXAEAPath"}),
      ElementsAre(Call{
          "VEXAEAPath", "/d/a.jpg", {"ENTRY", "4096", std::to_string(VEXA_SHARE)}, EATYPE_VEXAEA}));
}

TEST_F(StorePathsTest, RefusedEntryPathIsEmptyAndLogsTheEntrysName) {
  platform_.store_directory = [](const std::string&) { return ""; };
  EXPECT_EQ(GetEAPath("/d/a.jpg", "ENTRY"), "");
  ExpectOneLine("%s:%d (%s) \"Get EA path for %s failed\"",
                "util.cpp:50 (GetEAPath) \"Get EA path for ENTRY failed\"");
}

TEST_F(StorePathsTest, TemporaryPathIsTheEntrysWithProcessAndTime) {
  platform_.store_directory = [](const std::string&) { return "/s/dir"; };
  libc_.pid = 1234;
  libc_.time = 1700000000;
  EXPECT_EQ(GetEATmpPath("/d/a.jpg", "ENTRY"), "/s/dir/ENTRY_1234_1700000000");
}

TEST_F(StorePathsTest, TemporaryPathOfARefusedEntryIsEmptyAndLogsOnce) {
  platform_.store_directory = [](const std::string&) { return ""; };
  EXPECT_EQ(GetEATmpPath("/d/a.jpg", "ENTRY"), "");
  ExpectOneLine("%s:%d (%s) \"Get EA path for %s failed\"",
                "util.cpp:50 (GetEAPath) \"Get EA path for ENTRY failed\"");
}

TEST_F(StorePathsTest, VarTmpPathHasNameProcessAndTime) {
  libc_.pid = 42;
  libc_.time = 100;
  EXPECT_EQ(GetVarTmpPath("x"), "/var/tmp/vexathumb_x_42_100");
  EXPECT_EQ(GetVarTmpPath("x"), GetVarTmpPath("x"));
}

TEST_F(StorePathsTest, VarTmpPathHasTheRealProcessByDefault) {
  libc_.time = 1;
  EXPECT_EQ(GetVarTmpPath(""), "/var/tmp/vexathumb__" + std::to_string(getpid()) + "_1");
}

TEST_F(StorePathsTest, TimeAfter2038IsWritten) {
  libc_.pid = 1;
  libc_.time = 5000000000;
  EXPECT_EQ(GetVarTmpPath("x"), "/var/tmp/vexathumb_x_1_5000000000");
}

class MakeStoreDirectoryTest : public StorePathsTest {
 protected:
  MakeStoreDirectoryTest() {
    platform_.store_directory = [this](const std::string&) { return directory_; };
  }

  std::vector<Call> Makings() const { return CallJournal::Get().Of({"VEXAEAMKDir"}); }

  kit::TempDir dir_;
  const std::string directory_ = dir_ / "store";
};

TEST_F(MakeStoreDirectoryTest, MakesWhatIsMissing) {
  EXPECT_TRUE(MakeEADir("/d/a.jpg"));
  EXPECT_THAT(Makings(), ElementsAre(Call{"VEXAEAMKDir", directory_, {}, 1}));
  EXPECT_THAT(CallJournal::Get().Of({"VEXAEADirPath"}),
              ElementsAre(Call{"VEXAEADirPath", "/d/a.jpg", {"4096"}, EATYPE_VEXAEA}));
}

TEST_F(MakeStoreDirectoryTest, LeavesWhatIsThere) {
  std::filesystem::create_directory(directory_);
  EXPECT_TRUE(MakeEADir("/d/a.jpg"));
  EXPECT_THAT(Makings(), IsEmpty());
}

TEST_F(MakeStoreDirectoryTest, FollowsALinkToADirectory) {
  std::filesystem::create_directory_symlink(dir_.path(), directory_);
  EXPECT_TRUE(MakeEADir("/d/a.jpg"));
  EXPECT_THAT(Makings(), IsEmpty());
}

TEST_F(MakeStoreDirectoryTest, AFileInItsPlaceIsThePlatformsToJudge) {
  kit::WriteFile(directory_, "");
  for (const int result : {0, -1}) {
    platform_.make_directory_result = result;
    CallJournal::Get().Clear();
    EXPECT_EQ(MakeEADir("/d/a.jpg"), result == 0);
    EXPECT_THAT(Makings(), ElementsAre(Call{"VEXAEAMKDir", directory_, {}, 1}));
  }
}

TEST_F(MakeStoreDirectoryTest, FailsSilently) {
  for (const int result : {-1, 1}) {
    platform_.make_directory_result = result;
    EXPECT_FALSE(MakeEADir("/d/a.jpg"));
  }
  EXPECT_THAT(kit::TakeLog(), IsEmpty());
}

TEST_F(MakeStoreDirectoryTest, AnyResultButZeroOfTheDirectorysPathFails) {
  for (const int result : {-1, 1}) {
    platform_.directory_path_result = result;
    EXPECT_FALSE(MakeEADir("/d/a.jpg"));
  }
  EXPECT_THAT(Makings(), IsEmpty());
  EXPECT_THAT(kit::TakeLog(), IsEmpty());
}

struct VolumeCase {
  const char* name;
  FSTYPE type;
  bool writable;
};

class VolumeTest : public StorePathsTest, public testing::WithParamInterface<VolumeCase> {};

TEST_P(VolumeTest, HoldsAStoreOrNot) {
  platform_.volume_type = GetParam().type;
  EXPECT_EQ(IsDestSupportEAWrite("/d"), GetParam().writable);
  EXPECT_THAT(CallJournal::Get().Of({"VEXAGetFSType"}),
              ElementsAre(Call{"VEXAGetFSType", "/d", {}, 0}));
  EXPECT_THAT(kit::TakeLog(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Types, VolumeTest,
    testing::Values(VolumeCase{"Fat", FSTYPE_FAT, true}, VolumeCase{"Ext3", FSTYPE_EXT3, true},
                    VolumeCase{"Ext4", FSTYPE_EXT4, true}, VolumeCase{"Btrfs", FSTYPE_BTRFS, true},
                    VolumeCase{"Ntfs", FSTYPE_NTFS, true}, VolumeCase{"Cifs", FSTYPE_CIFS, false},
                    VolumeCase{"HfsPlus", FSTYPE_HFSPLUS, true},
                    VolumeCase{"Iso", FSTYPE_ISO, false}, VolumeCase{"Udf", FSTYPE_UDF, false},
                    VolumeCase{"GlusterFs", FSTYPE_GLUSTERFS, false},
                    VolumeCase{"Ubifs", FSTYPE_UBIFS, true}, VolumeCase{"Gvfs", FSTYPE_GVFS, false},
                    VolumeCase{"Aufs", FSTYPE_AUFS, true}, VolumeCase{"Nfs", FSTYPE_NFS, false},
                    VolumeCase{"Default", FSTYPE_DEFAULT, true},
                    VolumeCase{"Unknown", FSTYPE_UNKOWN, true},
                    VolumeCase{"ExFat", FSTYPE_EXFAT, true}, VolumeCase{"Ext2", FSTYPE_EXT2, true},
                    VolumeCase{"BackupFuse", FSTYPE_BKPFUSE, true}),
    CaseName());

TEST_F(StorePathsTest, AVolumeThatCannotBeAskedCountsAsWritableAndIsLogged) {
  platform_.volume_type = FSTYPE_ERR;
  platform_.volume_errno = EACCES;
  EXPECT_TRUE(IsDestSupportEAWrite("/d"));
  ExpectOneLine("%s:%d (%s) \"failed to statfs %s, reason=[(%d)%m]\"",
                "util.cpp:97 (IsDestSupportEAWrite) \"failed to statfs /d, reason=[(13)Permission "
                "denied]\"");
  EXPECT_THAT(CallJournal::Get().Of({"VEXAFSIsRemoteFS", "VEXAFSIsImageFS"}), IsEmpty());
}

TEST_F(StorePathsTest, MoveAsksThePlatformToRemoveTheSourceAndNothingElse) {
  EXPECT_TRUE(SDKMoveFile("/d/from", "/d/to"));
  EXPECT_THAT(CallJournal::Get().Of({"VEXAFileCopy"}),
              ElementsAre(Call{"VEXAFileCopy", "/d/from", {"/d/to"}, 0}));
  const VEXACOPYARGS& args = platform_.copy_args;
  EXPECT_EQ(args.blRemoveSrc, 1);
  EXPECT_EQ(args.blOverWrite, 0);
  EXPECT_EQ(args.blStopWhenError, 0);
  EXPECT_EQ(args.blKeepOwner, 0);
  EXPECT_EQ(args.blCopyACL, 0);
  EXPECT_EQ(args.blEnforceACLInherit, 0);
  EXPECT_EQ(args.cleanArchive, CLEAN_NONE);
  EXPECT_TRUE(args.pfuncSetProgress == nullptr);
  EXPECT_TRUE(args.pfuncErrReport == nullptr);
  EXPECT_TRUE(args.pfuncIsCancel == nullptr);
  EXPECT_TRUE(args.pfuncRename == nullptr);
  EXPECT_EQ(args.blForceCopyVEXAEA, 0);
  EXPECT_EQ(args.userUID, 0U);
  EXPECT_EQ(args.userGID, 0U);
  EXPECT_EQ(args.blMediaIndexIsNotNeeded, 0);
  EXPECT_THAT(kit::TakeLog(), IsEmpty());
}

TEST_F(StorePathsTest, FailedMoveIsLoggedAndNotTriedInAnotherWay) {
  for (const int result : {-1, 1}) {
    platform_.copy_result = result;
    CallJournal::Get().Clear();
    EXPECT_FALSE(SDKMoveFile("/d/from", "/d/to"));
    EXPECT_THAT(CallJournal::Get().Operations(), ElementsAre("VEXAFileCopy"));
    ExpectOneLine("%s:%d (%s) \"VEXAFileCopy failed\"",
                  "util.cpp:112 (SDKMoveFile) \"VEXAFileCopy failed\"");
  }
}

struct DirnameCase {
  const char* name;
  std::string path;
  std::string directory;
};

class DirnameTest : public testing::TestWithParam<DirnameCase> {};

TEST_P(DirnameTest, IsTheDirectoryPart) {
  EXPECT_EQ(Dirname(GetParam().path), GetParam().directory);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, DirnameTest,
    testing::Values(DirnameCase{"Relative", "a/b/c", "a/b"},
                    DirnameCase{"Absolute", "/a/b.jpg", "/a"}, DirnameCase{"NoSlash", "file", "."},
                    DirnameCase{"Root", "/", "/"}, DirnameCase{"ChildOfRoot", "/x", "/"},
                    DirnameCase{"SlashBehind", "/x/", "/"},
                    DirnameCase{"SlashesBehind", "/a/b//", "/a"}, DirnameCase{"Empty", "", "."},
                    DirnameCase{"LongestPath", "/" + std::string(4090, 'd') + "/abc",
                                "/" + std::string(4090, 'd')},
                    // 4095 bytes are the directory's name and nothing else.
                    DirnameCase{"CutBeforeTheLastSlash", "/" + std::string(4094, 'd') + "/a", "/"},
                    DirnameCase{"CutBehindASlash", "/a/" + std::string(5000, 'd') + "/b", "/a"}),
    CaseName());

}  // namespace
}  // namespace vexathumb::file
