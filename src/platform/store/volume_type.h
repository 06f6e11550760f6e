#ifndef VEXAPLATFORM_STORE_VOLUME_TYPE_H_
#define VEXAPLATFORM_STORE_VOLUME_TYPE_H_

#include <sys/types.h>

#include <cstdint>
#include <istream>
#include <string>

#include "vexa/fs.h"

namespace vexaplatform {

// What the kernel says of the volume that a path lies on.
struct Volume {
  std::uint32_t magic = 0;  // the file system's number, as statfs gives it
  bool mounted_read_only = false;
  dev_t device = 0;
};

// Asks for the volume of `path`. 0, or -1 with errno set.
int AskVolume(const std::string& path, Volume* volume);

// The same for the nearest folder above `path`, or `path` itself, that exists.
int AskNearestVolume(std::string path, Volume* volume);

// A mount as the kernel's mount table names it.
struct MountEntry {
  std::string type;    // "ext4", "fuse.sshfs"
  std::string source;  // "/dev/sda1", "host:/export"
};

// Looks a device up in a table in the form of /proc/self/mountinfo. Both fields are empty when it
// is not there.
MountEntry FindMount(std::istream& mountinfo, dev_t device);

// The type by the file system's number, and by the mount where several share a number.
FSTYPE ClassifyVolume(std::uint32_t magic, const MountEntry& mount);

// The type of a volume; reads the mount table only where the number does not decide.
FSTYPE VolumeType(const Volume& volume);

// Whether thumbnails can be kept on the volume: it is local, mounted writable, and no image of a
// medium. A property of the volume, not of who asks, so that all processes find the same.
bool CanHoldStore(const Volume& volume);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_STORE_VOLUME_TYPE_H_
