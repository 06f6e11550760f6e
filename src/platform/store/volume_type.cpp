#include "platform/store/volume_type.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace vexaplatform {
namespace {

// Numbers that linux/magic.h does not have in every kernel release that this builds on.
constexpr std::uint32_t kAufs = 0x61756673;
constexpr std::uint32_t kBeeGfs = 0x19830326;
constexpr std::uint32_t kCephFs = 0x00c36400;
constexpr std::uint32_t kCifs = 0xff534d42;
constexpr std::uint32_t kExfat = 0x2011bab0;
constexpr std::uint32_t kFuse = 0x65735546;
constexpr std::uint32_t kGpfs = 0x47504653;
constexpr std::uint32_t kHfsPlus = 0x482b;
constexpr std::uint32_t kLustre = 0x0bd00bd0;
constexpr std::uint32_t kNtfs = 0x5346544e;
constexpr std::uint32_t kNtfs3 = 0x7366746e;
constexpr std::uint32_t kOrangeFs = 0x20030528;
constexpr std::uint32_t kPanFs = 0xaad7aaea;
constexpr std::uint32_t kSmb2 = 0xfe534d42;
constexpr std::uint32_t kUbifs = 0x24051905;
constexpr std::uint32_t kUdf = 0x15013346;
constexpr std::uint32_t kVirtualBoxShare = 0x786f4256;
constexpr std::uint32_t kExt = EXT4_SUPER_MAGIC;  // ext2 and ext3 too

FSTYPE ClassifyExt(const std::string& type) {
  if (type == "ext2") return FSTYPE_EXT2;
  if (type == "ext3") return FSTYPE_EXT3;
  return FSTYPE_EXT4;
}

FSTYPE ClassifyFuse(const MountEntry& mount) {
  static const std::map<std::string, FSTYPE> kTypes = {
      {"fuse.glusterfs", FSTYPE_GLUSTERFS},
      {"fuse.gvfsd-fuse", FSTYPE_GVFS},
      {"fuseblk", FSTYPE_NTFS},  // ntfs-3g mounts without a subtype
      {"fuseblk.ntfs", FSTYPE_NTFS},
      {"fuseblk.ntfs-3g", FSTYPE_NTFS},
      {"fuse.ntfs-3g", FSTYPE_NTFS},
      {"fuseblk.exfat", FSTYPE_EXFAT},
      {"fuse.exfat", FSTYPE_EXFAT},
      {"fuse.smbnetfs", FSTYPE_CIFS},
  };
  static const std::set<std::string> kNetwork = {
      "fuse.afp",        "fuse.blobfuse",  "fuse.blobfuse2", "fuse.ceph",      "fuse.ceph-fuse",
      "fuse.cephfs",     "fuse.curlftpfs", "fuse.davfs",     "fuse.davfs2",    "fuse.gcsfuse",
      "fuse.goofys",     "fuse.juicefs",   "fuse.lizardfs",  "fuse.mfs",       "fuse.moosefs",
      "fuse.nfs",        "fuse.rclone",    "fuse.s3fs",      "fuse.seaweedfs", "fuse.sshfs",
      "fuse.vmhgfs-fuse"};
  const auto type = kTypes.find(mount.type);
  if (type != kTypes.end()) return type->second;
  // WebDAV and others mount without a subtype; the address gives them away.
  const bool has_address = mount.source.find("://") != std::string::npos;
  return kNetwork.count(mount.type) > 0 || has_address ? FSTYPE_NFS : FSTYPE_UNKOWN;
}

MountEntry MountOf(dev_t device) {
  std::ifstream mountinfo("/proc/self/mountinfo");
  return FindMount(mountinfo, device);
}

}  // namespace

int AskVolume(const std::string& path, Volume* volume) {
  struct statfs system {};
  struct stat status {};
  if (statfs(path.c_str(), &system) != 0 || stat(path.c_str(), &status) != 0) return -1;
  volume->magic = static_cast<std::uint32_t>(system.f_type);
  volume->mounted_read_only = (system.f_flags & ST_RDONLY) != 0;
  volume->device = status.st_dev;
  return 0;
}

int AskNearestVolume(std::string path, Volume* volume) {
  while (AskVolume(path, volume) != 0) {
    if ((errno != ENOENT && errno != ENOTDIR) || path.find('/') == std::string::npos) return -1;
    path.erase(path.rfind('/'));
    if (path.empty()) return AskVolume("/", volume);
  }
  return 0;
}

MountEntry FindMount(std::istream& mountinfo, dev_t device) {
  const std::string wanted = std::to_string(major(device)) + ":" + std::to_string(minor(device));
  MountEntry found;
  std::string line;
  while (std::getline(mountinfo, line)) {
    std::istringstream fields(line);
    std::string mount_id;
    std::string parent_id;
    std::string numbers;
    fields >> mount_id >> parent_id >> numbers;
    const size_t separator = line.find(" - ");
    if (numbers != wanted || separator == std::string::npos) continue;
    std::istringstream rest(line.substr(separator + 3));
    rest >> found.type >> found.source;
    return found;
  }
  return found;
}

FSTYPE ClassifyVolume(std::uint32_t magic, const MountEntry& mount) {
  static const std::map<std::uint32_t, FSTYPE> kTypes = {
      {MSDOS_SUPER_MAGIC, FSTYPE_FAT},
      {kExfat, FSTYPE_EXFAT},
      {BTRFS_SUPER_MAGIC, FSTYPE_BTRFS},
      {kNtfs, FSTYPE_NTFS},
      {kNtfs3, FSTYPE_NTFS},
      {kHfsPlus, FSTYPE_HFSPLUS},
      {ISOFS_SUPER_MAGIC, FSTYPE_ISO},
      {kUdf, FSTYPE_UDF},
      {kUbifs, FSTYPE_UBIFS},
      {kAufs, FSTYPE_AUFS},
      {kCifs, FSTYPE_CIFS},
      {kSmb2, FSTYPE_CIFS},
      {SMB_SUPER_MAGIC, FSTYPE_CIFS},
      {NFS_SUPER_MAGIC, FSTYPE_NFS},
      // Network volumes without a number of their own count as NFS.
      {AFS_SUPER_MAGIC, FSTYPE_NFS},
      {AFS_FS_MAGIC, FSTYPE_NFS},
      {CODA_SUPER_MAGIC, FSTYPE_NFS},
      {NCP_SUPER_MAGIC, FSTYPE_NFS},
      {V9FS_MAGIC, FSTYPE_NFS},
      {kCephFs, FSTYPE_NFS},
      {kLustre, FSTYPE_NFS},
      {kOrangeFs, FSTYPE_NFS},
      {kBeeGfs, FSTYPE_NFS},
      {kGpfs, FSTYPE_NFS},
      {kPanFs, FSTYPE_NFS},
      {kVirtualBoxShare, FSTYPE_NFS},
  };
  if (magic == kExt) return ClassifyExt(mount.type);
  if (magic == kFuse) return ClassifyFuse(mount);
  const auto type = kTypes.find(magic);
  return type == kTypes.end() ? FSTYPE_UNKOWN : type->second;
}

FSTYPE VolumeType(const Volume& volume) {
  const bool number_is_shared = volume.magic == kExt || volume.magic == kFuse;
  return ClassifyVolume(volume.magic, number_is_shared ? MountOf(volume.device) : MountEntry());
}

bool CanHoldStore(const Volume& volume) {
  if (volume.mounted_read_only) return false;
  // Asked for every entry of the store: all of the ext family will do, so its mount is not read.
  if (volume.magic == kExt) return true;
  const FSTYPE type = VolumeType(volume);
  return VEXAFSIsRemoteFS(type) == FALSE && VEXAFSIsImageFS(type) == FALSE && type != FSTYPE_GVFS;
}

}  // namespace vexaplatform
