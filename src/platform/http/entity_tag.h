#ifndef VEXAPLATFORM_HTTP_ENTITY_TAG_H_
#define VEXAPLATFORM_HTTP_ENTITY_TAG_H_

#include <sys/stat.h>

#include <string>

namespace vexaplatform {

// A strong entity tag, quotes included. It changes whenever the file's bytes may have: another file
// under the same name is another inode, and the change time moves also when the bytes are
// overwritten in place and a tool sets the modification time back. The device is left out, since
// its number may be another one after each start of the machine.
std::string EntityTag(const struct stat& file);

// Waits until a further change of the file would show in its times, so that its entity tag holds
// for no other bytes than those of now or later: the kernel's clock for them moves by ticks of some
// milliseconds. Returns at once for a file that did not change within the present tick.
void WaitOutClockTick(const struct stat& file);

enum class TagComparison {
  kStrong,  // weak tags equal nothing
  kWeak,    // only the quoted parts count
};

// Whether `tag` equals one of the comma-separated tags of a header's value, or that value is "*".
// Nothing from a malformed tag on is looked at.
bool IsListed(const std::string& tag, const std::string& tags, TagComparison comparison);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_ENTITY_TAG_H_
