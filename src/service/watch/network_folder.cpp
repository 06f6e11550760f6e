#include "service/watch/network_folder.h"

#include <sys/vfs.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace vexathumb::service {

bool IsOnNetwork(const std::string& folder) {
  // NFS, SMB by its three names, Ceph, AFS by its two, Coda, 9P, OCFS2, GFS2, Lustre, BeeGFS, GPFS,
  // OrangeFS, PanFS, shared folders of VirtualBox, and whatever FUSE brings.
  constexpr uint32_t kTypes[] = {0x6969,     0x517b,     0xfe534d42, 0xff534d42, 0x00c36400,
                                 0x5346414f, 0x6b414653, 0x73757245, 0x01021997, 0x7461636f,
                                 0x01161970, 0x0bd00bd0, 0x19830326, 0x47504653, 0x20030528,
                                 0xaad7aaea, 0x786f4256, 0x65735546};
  struct statfs system = {};
  if (statfs(folder.c_str(), &system) != 0) return false;
  const auto type = static_cast<uint32_t>(system.f_type);
  return std::find(std::begin(kTypes), std::end(kTypes), type) != std::end(kTypes);
}

}  // namespace vexathumb::service
