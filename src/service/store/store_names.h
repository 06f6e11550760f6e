#ifndef VEXATHUMB_SERVICE_STORE_STORE_NAMES_H_
#define VEXATHUMB_SERVICE_STORE_STORE_NAMES_H_

#include <string>

namespace vexathumb::service {

// The names in a store, and of what the library and our programs leave elsewhere. Nobody else knows
// their patterns.

// The failure record.
constexpr char kFailureEntryName[] = "VEXATHUMB_FAILURE.json";

// Whose an entry of a store directory is, by its name.
enum class StoreOwner {
  kPhotoAlbum,
  kFileManager,
  kVideo,
  kAvatar,
  kFailure,    // what is remembered of a failed build
  kTemporary,  // a result being made, or left behind: of ours, the library's, or a platform's copy
  kOther,      // nothing that the applications of this store derive from a source
};

struct StoreEntryKind {
  StoreOwner owner = StoreOwner::kOther;
  // Of a photo album's or file manager's thumbnail: "small", "medium", "big", "xlarge" (which
  // "large" shares), or "free" for a free box. Empty otherwise.
  std::string size;
};

StoreEntryKind ClassifyStoreEntry(const std::string& name);

// Whether such an entry is a temporary.
bool IsStoreTemporary(const std::string& name);

// Whether it is derived from the source by the applications of this store, so that it may go with
// the source: by its whole name, since a photograph may have one that begins so.
bool IsDerived(const std::string& name);

// Whether it is a file manager's thumbnail or an avatar of a box that a caller chose: there may be
// any number of these.
bool IsFreeBox(const std::string& name);

// Whether an entry of /tmp and of /var/tmp is a temporary, or a result that its user has not
// removed.
bool IsTmpName(const std::string& name);
bool IsVarTmpName(const std::string& name);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_STORE_NAMES_H_
