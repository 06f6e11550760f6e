#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <sstream>
#include <string>

#include "kit/case_name.h"
#include "kit/temp_dir.h"
#include "platform/store/volume_type.h"
#include "unit/platform/scoped_settings.h"
#include "vexa/fs.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::TempDir;

struct VolumeCase {
  const char* name;
  std::uint32_t magic;
  const char* type;
  const char* source;
  FSTYPE expected;
};

class VolumeOf : public testing::TestWithParam<VolumeCase> {};

TEST_P(VolumeOf, FileSystem) {
  EXPECT_EQ(ClassifyVolume(GetParam().magic, {GetParam().type, GetParam().source}),
            GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    , VolumeOf,
    testing::Values(
        VolumeCase{"Ext2", 0xef53, "ext2", "/dev/sda1", FSTYPE_EXT2},
        VolumeCase{"Ext3", 0xef53, "ext3", "/dev/sda1", FSTYPE_EXT3},
        VolumeCase{"Ext4", 0xef53, "ext4", "/dev/sda1", FSTYPE_EXT4},
        VolumeCase{"ExtOfUnknownMount", 0xef53, "", "", FSTYPE_EXT4},
        VolumeCase{"Btrfs", 0x9123683e, "btrfs", "/dev/sda1", FSTYPE_BTRFS},
        VolumeCase{"Fat", 0x4d44, "vfat", "/dev/sda1", FSTYPE_FAT},
        VolumeCase{"Exfat", 0x2011bab0, "exfat", "/dev/sda1", FSTYPE_EXFAT},
        VolumeCase{"Ntfs", 0x5346544e, "ntfs", "/dev/sda1", FSTYPE_NTFS},
        VolumeCase{"Ntfs3", 0x7366746e, "ntfs3", "/dev/sda1", FSTYPE_NTFS},
        VolumeCase{"NtfsInUserSpace", 0x65735546, "fuseblk", "/dev/sda1", FSTYPE_NTFS},
        VolumeCase{"ExfatInUserSpace", 0x65735546, "fuseblk.exfat", "/dev/sda1", FSTYPE_EXFAT},
        VolumeCase{"HfsPlus", 0x482b, "hfsplus", "/dev/sda1", FSTYPE_HFSPLUS},
        VolumeCase{"Iso9660", 0x9660, "iso9660", "/dev/sr0", FSTYPE_ISO},
        VolumeCase{"Udf", 0x15013346, "udf", "/dev/sr0", FSTYPE_UDF},
        VolumeCase{"Ubifs", 0x24051905, "ubifs", "ubi0:data", FSTYPE_UBIFS},
        VolumeCase{"Aufs", 0x61756673, "aufs", "none", FSTYPE_AUFS},
        VolumeCase{"Cifs", 0xff534d42, "cifs", "//host/share", FSTYPE_CIFS},
        VolumeCase{"Smb2", 0xfe534d42, "smb3", "//host/share", FSTYPE_CIFS},
        VolumeCase{"Smb1", 0x517b, "smbfs", "//host/share", FSTYPE_CIFS},
        VolumeCase{"Nfs", 0x6969, "nfs4", "host:/export", FSTYPE_NFS},
        VolumeCase{"Gluster", 0x65735546, "fuse.glusterfs", "host:/vol", FSTYPE_GLUSTERFS},
        VolumeCase{"Gvfs", 0x65735546, "fuse.gvfsd-fuse", "gvfsd-fuse", FSTYPE_GVFS},
        VolumeCase{"Ceph", 0x00c36400, "ceph", "host:/", FSTYPE_NFS},
        VolumeCase{"Afs", 0x5346414f, "afs", "AFS", FSTYPE_NFS},
        VolumeCase{"KernelAfs", 0x6b414653, "afs", "#root.cell", FSTYPE_NFS},
        VolumeCase{"Coda", 0x73757245, "coda", "coda", FSTYPE_NFS},
        VolumeCase{"Plan9", 0x01021997, "9p", "host", FSTYPE_NFS},
        VolumeCase{"Lustre", 0x0bd00bd0, "lustre", "host@tcp:/fs", FSTYPE_NFS},
        VolumeCase{"Sshfs", 0x65735546, "fuse.sshfs", "host:", FSTYPE_NFS},
        VolumeCase{"S3", 0x65735546, "fuse.s3fs", "s3fs", FSTYPE_NFS},
        VolumeCase{"WebDavByAddress", 0x65735546, "fuse", "https://host/dav", FSTYPE_NFS},
        VolumeCase{"LocalFuse", 0x65735546, "fuse.mergerfs", "a:b", FSTYPE_UNKOWN},
        VolumeCase{"FuseOfUnknownMount", 0x65735546, "", "", FSTYPE_UNKOWN},
        VolumeCase{"Xfs", 0x58465342, "xfs", "/dev/sda1", FSTYPE_UNKOWN},
        VolumeCase{"Tmpfs", 0x01021994, "tmpfs", "tmpfs", FSTYPE_UNKOWN},
        VolumeCase{"Overlay", 0x794c7630, "overlay", "overlay", FSTYPE_UNKOWN}),
    vexathumb::kit::CaseName());

TEST(VolumeKind, IsRemoteForNetworkVolumesOnly) {
  for (int type = FSTYPE_ERR; type <= FSTYPE_BKPFUSE; ++type) {
    const bool remote = type == FSTYPE_CIFS || type == FSTYPE_NFS || type == FSTYPE_GLUSTERFS;
    EXPECT_EQ(VEXAFSIsRemoteFS(static_cast<FSTYPE>(type)), remote ? TRUE : FALSE) << type;
  }
}

TEST(VolumeKind, IsImageForMediaOnly) {
  for (int type = FSTYPE_ERR; type <= FSTYPE_BKPFUSE; ++type) {
    const bool image = type == FSTYPE_ISO || type == FSTYPE_UDF;
    EXPECT_EQ(VEXAFSIsImageFS(static_cast<FSTYPE>(type)), image ? TRUE : FALSE) << type;
  }
}

struct StoreCase {
  const char* name;
  std::uint32_t magic;
  bool read_only;
  bool holds_store;
};

class StoreOn : public testing::TestWithParam<StoreCase> {};

TEST_P(StoreOn, Volume) {
  Volume volume;
  volume.magic = GetParam().magic;
  volume.mounted_read_only = GetParam().read_only;
  EXPECT_EQ(CanHoldStore(volume), GetParam().holds_store);
}

INSTANTIATE_TEST_SUITE_P(, StoreOn,
                         testing::Values(StoreCase{"Ext", 0xef53, false, true},
                                         StoreCase{"ExtReadOnly", 0xef53, true, false},
                                         StoreCase{"Btrfs", 0x9123683e, false, true},
                                         StoreCase{"Xfs", 0x58465342, false, true},
                                         StoreCase{"Fat", 0x4d44, false, true},
                                         StoreCase{"Nfs", 0x6969, false, false},
                                         StoreCase{"Cifs", 0xff534d42, false, false},
                                         StoreCase{"Iso", 0x9660, true, false},
                                         StoreCase{"WritableUdf", 0x15013346, false, false}),
                         vexathumb::kit::CaseName());

constexpr char kMounts[] =
    "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
    "29 27 8:17 / /mnt/a\\040disk rw - fuseblk /dev/sdb1 rw\n"
    "30 27 0:45 / /mnt/host rw,nosuid shared:5 master:1 - fuse.sshfs host:/home rw\n"
    "31 27 8:1 / / rw - ext3 /dev/sda1 rw\n"
    "a line of another kind\n";

TEST(MountTable, FindsADeviceWhateverOptionsStandBetween) {
  std::istringstream table(kMounts);
  const MountEntry mount = FindMount(table, makedev(0, 45));
  EXPECT_EQ(mount.type, "fuse.sshfs");
  EXPECT_EQ(mount.source, "host:/home");
}

TEST(MountTable, TellsDevicesApartWhoseNumbersBeginAlike) {
  std::istringstream table(kMounts);
  EXPECT_EQ(FindMount(table, makedev(8, 1)).type, "ext3");
}

TEST(MountTable, HasNothingForAnUnknownDevice) {
  std::istringstream table(kMounts);
  const MountEntry mount = FindMount(table, makedev(9, 9));
  EXPECT_EQ(mount.type, "");
  EXPECT_EQ(mount.source, "");
}

TEST(MountTable, OfThisMachineHasAVolumeOfKnownKind) {
  Volume volume;
  ASSERT_EQ(AskVolume("/proc", &volume), 0);
  EXPECT_EQ(volume.magic, 0x9fa0U);
  EXPECT_EQ(VolumeType(volume), FSTYPE_UNKOWN);
}

class VolumeQuestion : public testing::Test {
 protected:
  TempDir folder_;

  FSTYPE Actual(const std::string& path) {
    Volume volume;
    return AskVolume(path, &volume) == 0 ? VolumeType(volume) : FSTYPE_ERR;
  }
};

TEST_F(VolumeQuestion, IsAboutTheFoldersOwnVolumeWhenStoresLieBeside) {
  const ScopedSettings settings("");
  EXPECT_EQ(VEXAGetFSType(folder_.path().c_str(), 0), Actual(folder_.path()));
  EXPECT_EQ(VEXAGetFSType(".", 0), Actual("."));
}

TEST_F(VolumeQuestion, FailsForAMissingFolder) {
  const ScopedSettings settings("");
  EXPECT_EQ(VEXAGetFSType((folder_ / "missing").c_str(), 0), FSTYPE_ERR);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(VEXAGetFSType("", 0), FSTYPE_ERR);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(VEXAGetFSType(nullptr, 0), FSTYPE_ERR);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(VolumeQuestion, IsAboutTheNearestFolderOfACentralStore) {
  const ScopedSettings settings("[store]\nlayout = central\nroot = " + (folder_ / "not/yet") +
                                "\n");
  EXPECT_EQ(VEXAGetFSType("/proc", 0), Actual(folder_.path()));
  EXPECT_EQ(VEXAGetFSType("/a/missing/folder", 0), Actual(folder_.path()));
}

TEST_F(VolumeQuestion, IsAboutTheVolumeOfTheStoreRootItself) {
  const ScopedSettings settings("[store]\nlayout = central\nroot = /proc/self\n");
  Volume volume;
  ASSERT_EQ(AskNearestVolume("/proc/self/not/yet", &volume), 0);
  EXPECT_EQ(volume.magic, 0x9fa0U);
  EXPECT_EQ(VEXAGetFSType(folder_.path().c_str(), 0), FSTYPE_UNKOWN);
}

TEST_F(VolumeQuestion, RefusesToClimbOutOfACentralStore) {
  const ScopedSettings settings("[store]\nlayout = central\n");
  EXPECT_EQ(VEXAGetFSType("/a/../b", 0), FSTYPE_ERR);
  EXPECT_EQ(errno, EINVAL);
}

TEST(NearestVolume, OfAFolderThatIsNotThereIsItsParents) {
  const TempDir folder;
  Volume nearest;
  Volume parent;
  ASSERT_EQ(AskNearestVolume(folder / "a/b/c", &nearest), 0);
  ASSERT_EQ(AskVolume(folder.path(), &parent), 0);
  EXPECT_EQ(nearest.device, parent.device);
  EXPECT_EQ(AskNearestVolume("/missing", &nearest), 0);
  EXPECT_EQ(AskNearestVolume("relative/missing", &nearest), -1);
}

}  // namespace
}  // namespace vexaplatform
