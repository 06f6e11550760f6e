#ifndef VEXATHUMB_SERVICE_INDEX_VERIFICATION_H_
#define VEXATHUMB_SERVICE_INDEX_VERIFICATION_H_

#include <functional>
#include <string>

#include "service/store/store_walk.h"

namespace vexathumb::service {

enum class EntryFault {
  kNone,
  kUnreadable,    // the disk does not give its bytes
  kNoPicture,     // empty, or of no type that is stored
  kCutShort,      // its end is missing
  kUndecodable,   // no decoder makes a picture of it
  kWrongSize,     // its sides are not those of the source in the box of its name
  kOtherPicture,  // it was made of another source than the present one, or shows another
};

// "whole", "unreadable", "no picture", "cut short", "undecodable", "wrong size", "other picture".
const char* NameOf(EntryFault fault);

struct VerifiedEntry {
  StoreDirectory directory;
  std::string name;  // in the directory
  EntryFault fault = EntryFault::kNone;
  // The named size that building for the source makes it anew for; empty when it is made for
  // whoever asks, or by another application.
  std::string size;
  bool is_of_others = false;  // the photo album's

  std::string path() const { return directory.path() + "/" + name; }
};

struct VerifyOptions {
  bool decode = false;  // decode each picture, and compare it with the source
};

struct VerifyEvents {
  std::function<void(const VerifiedEntry&)> on_verified;  // each picture, whole or not
  std::function<void(const std::string& folder, const std::string& cause)> on_unreadable;
};

// Reads whole every stored picture of a file, or of all files below a folder, whose source is
// there; `path` is absolute. A picture that is older or newer than its source is not current, and
// no fault; but one that says that it is the present source's must be that. Writes nothing.
void VerifyStores(const std::string& path, const VerifyOptions& options,
                  const VerifyEvents& events);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_VERIFICATION_H_
