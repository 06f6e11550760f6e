#ifndef VEXATHUMB_SERVICE_STORE_STORE_ENTRY_H_
#define VEXATHUMB_SERVICE_STORE_STORE_ENTRY_H_

#include <string>

namespace vexathumb::service {

// Whose an entry of a store directory is, by its name.
enum class StoreOwner {
  kPhotoAlbum,
  kFileManager,
  kVideo,
  kAvatar,
  kFailure,    // what is remembered of a failed build
  kTemporary,  // a result being made, or left behind
  kOther,      // nothing that the applications of this store derive from a source
};

struct StoreEntryKind {
  StoreOwner owner = StoreOwner::kOther;
  // Of a photo album's or file manager's thumbnail: "small", "medium", "big", "xlarge" (which
  // "large" shares), or "free" for a free box. Empty otherwise.
  std::string size;
};

StoreEntryKind ClassifyStoreEntry(const std::string& name);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_STORE_STORE_ENTRY_H_
