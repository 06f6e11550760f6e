#include "service/index/verification.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>

#include "posix/unique_fd.h"
#include "service/base/folder_list.h"
#include "service/base/machine_error.h"
#include "service/build/likeness.h"
#include "service/build/thumbnail_request.h"
#include "service/picture/content_type.h"
#include "service/picture/displayed_pixels.h"
#include "service/picture/inspection.h"
#include "service/picture/media_names.h"
#include "service/store/source_mark.h"
#include "service/store/store_names.h"
#include "vexaplatform/whole_picture.h"

namespace vexathumb::service {
namespace {

bool IsReadable(const std::string& path) {
  const posix::UniqueFd file(
      open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  return file && ErrorOfReading(file.get()) == 0;
}

// Whether the sides are in the proportion of the source's, turned or not, to a pixel or a fiftieth.
bool IsInProportion(const Pixels& picture, const Pixels& source) {
  const auto fits = [&source](uint64_t width, uint64_t height) {
    const uint64_t one = width * source.height;
    const uint64_t other = height * source.width;
    const uint64_t apart = one > other ? one - other : other - one;
    return apart <= std::max<uint64_t>(std::max(one, other) / 50,
                                       uint64_t{2} * std::max(source.width, source.height));
  };
  return fits(picture.width, picture.height) || fits(picture.height, picture.width);
}

// Whether it fills one side of the box, as far as the source reaches, and is no larger than what
// the decoder's scales leave: they are halves down to an eighth, and the shorter side does not
// become smaller than the box. Of raw files there may be a small preview only. The two largest
// sizes share a name.
bool HasSizeFor(const std::string& label, const Pixels& picture, const Pixels& source,
                bool may_be_smaller) {
  constexpr uint32_t kSmallestScale = 8;
  constexpr uint32_t kRounding = 16;
  const uint32_t side = Thumb::strThumbSizeMap_.at(label).width_;
  const uint32_t least = std::min(std::max(source.width, source.height), side);
  const uint32_t most = std::max(2 * side, std::min(source.width, source.height) / kSmallestScale);
  return (may_be_smaller || std::max(picture.width, picture.height) + 2 >= least) &&
         std::min(picture.width, picture.height) <= most + kRounding &&
         IsInProportion(picture, source);
}

// The source of a store directory; what is asked of it is found out once.
class VerifiedSource {
 public:
  explicit VerifiedSource(const std::string& path) : path_(path) {
    is_there_ = stat(path.c_str(), &status_) == 0 && S_ISREG(status_.st_mode);
  }

  bool IsThere() const { return is_there_; }
  const struct stat& status() const { return status_; }

  const std::optional<Pixels>& pixels() {
    if (!has_pixels_ && !IsVideo()) pixels_ = DisplayedPixels(path_);
    has_pixels_ = true;
    return pixels_;
  }

  const std::optional<Likeness>& likeness() {
    if (!has_likeness_ && !IsVideo() &&
        Inspected().inspection().result == InspectionResult::kRead) {
      likeness_ = DecodeLikeness(path_, &Inspected().info());
    }
    has_likeness_ = true;
    return likeness_;
  }

  bool MayBeRaw() { return !Inspected().info().IsWebAcceptable(); }

  // Whether that is the name of the size's thumbnail without turns by a user.
  bool IsUprightThumbnail(const std::string& name, const std::string& label) {
    return !IsVideo() && Inspected().inspection().IsUsable() &&
           Inspected().ForSize(label).GetDocdeckThumbEAName() == name;
  }

 private:
  bool IsVideo() const { return IsSupportVideo(path_.substr(path_.rfind('/') + 1)); }

  const InspectedSource& Inspected() {
    if (!inspected_) inspected_.emplace(path_, false);
    return *inspected_;
  }

  std::string path_;
  bool is_there_ = false;
  struct stat status_ = {};
  bool has_pixels_ = false;
  std::optional<Pixels> pixels_;
  bool has_likeness_ = false;
  std::optional<Likeness> likeness_;
  std::optional<InspectedSource> inspected_;
};

class Verifier : public StoreVisitor {
 public:
  Verifier(const VerifyOptions& options, const VerifyEvents& events)
      : options_(options), events_(events) {}

  void Visit(const StoreDirectory& directory) override {
    if (directory.source_gone) return;
    VerifiedSource source(directory.source);
    const posix::UniqueFd store(
        open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const auto entries = store ? ListFolder(store.get()) : std::nullopt;
    if (!entries) {
      if (errno != ENOENT) CannotRead(directory.path(), strerror(errno));
      return;
    }
    for (const FolderEntry& entry : *entries) Verify(directory, entry, source);
  }

  void CannotRead(const std::string& folder, const std::string& cause) override {
    events_.on_unreadable(folder, cause);
  }

 private:
  void Verify(const StoreDirectory& directory, const FolderEntry& entry, VerifiedSource& source) {
    const StoreEntryKind kind = ClassifyStoreEntry(entry.name);
    const bool is_picture = kind.owner == StoreOwner::kFileManager ||
                            kind.owner == StoreOwner::kPhotoAlbum ||
                            kind.owner == StoreOwner::kAvatar || kind.owner == StoreOwner::kVideo;
    if (!is_picture || !S_ISREG(entry.status.st_mode) || !source.IsThere()) return;
    VerifiedEntry verified;
    verified.directory = directory;
    verified.name = entry.name;
    verified.is_of_others = kind.owner == StoreOwner::kPhotoAlbum;
    if (kind.owner == StoreOwner::kVideo) verified.size = kSmall;  // all sizes are one
    if (kind.owner == StoreOwner::kFileManager && kind.size != "free") verified.size = kind.size;
    verified.fault = FaultOf(verified, entry.status, source);
    events_.on_verified(verified);
  }

  EntryFault FaultOf(const VerifiedEntry& entry, const struct stat& status,
                     VerifiedSource& source) const {
    const std::string path = entry.path();
    if (!IsReadable(path)) return EntryFault::kUnreadable;
    if (ContentTypeOf(path).value_or("").empty()) return EntryFault::kNoPicture;
    if (!vexaplatform::IsWholePicture(path)) return EntryFault::kCutShort;
    const bool is_sized = !entry.size.empty() && source.IsUprightThumbnail(entry.name, entry.size);
    const bool claims_source = status.st_mtime == source.status().st_mtime;
    if (claims_source &&
        ReadSourceMark(path, status, source.status()).says == SourceMark::Says::kOtherSource) {
      return EntryFault::kOtherPicture;
    }
    if (is_sized && claims_source) {
      const auto pixels = DisplayedPixels(path);
      if (pixels && source.pixels() &&
          !HasSizeFor(entry.size, *pixels, *source.pixels(), source.MayBeRaw())) {
        return EntryFault::kWrongSize;
      }
    }
    if (!options_.decode) return EntryFault::kNone;
    const auto likeness = DecodeLikeness(path);
    if (!likeness) return EntryFault::kUndecodable;
    const bool is_other =
        is_sized && claims_source && source.likeness() && !IsAlike(*likeness, *source.likeness());
    return is_other ? EntryFault::kOtherPicture : EntryFault::kNone;
  }

  const VerifyOptions& options_;
  const VerifyEvents& events_;
};

}  // namespace

const char* NameOf(EntryFault fault) {
  switch (fault) {
    case EntryFault::kNone:
      return "whole";
    case EntryFault::kUnreadable:
      return "unreadable";
    case EntryFault::kNoPicture:
      return "no picture";
    case EntryFault::kCutShort:
      return "cut short";
    case EntryFault::kUndecodable:
      return "undecodable";
    case EntryFault::kWrongSize:
      return "wrong size";
    case EntryFault::kOtherPicture:
      break;
  }
  return "other picture";
}

void VerifyStores(const std::string& path, const VerifyOptions& options,
                  const VerifyEvents& events) {
  Verifier verifier(options, events);
  WalkStores(path, verifier);
}

}  // namespace vexathumb::service
