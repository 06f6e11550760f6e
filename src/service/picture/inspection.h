#ifndef VEXATHUMB_SERVICE_PICTURE_INSPECTION_H_
#define VEXATHUMB_SERVICE_PICTURE_INSPECTION_H_

#include <optional>
#include <string>

#include "posix/unique_fd.h"
#include "service/picture/error_cause.h"
#include "service/picture/source_facts.h"
#include "service/picture/source_version.h"
#include "thumb/thumb_info.h"

namespace vexathumb::service {

// How far the reading of a source's metadata came.
enum class InspectionResult {
  kRead,            // and of a video, of which nothing is read
  kUnknownContent,  // no known type of picture: only raw development may make something of it
  kMissing,         // there is no such file, or none that can be examined
  kUnreadable,      // it cannot be opened
  kDamaged,         // metadata that cannot be read, or not understood
  kLimited,         // metadata that take more memory or time than is allowed
  kChanged,         // it is not the version that was to be read
  kInterrupted,     // the reading process was ended, which says nothing about the source
};

struct Inspection {
  InspectionResult result = InspectionResult::kRead;
  Cause cause;  // why it is not kRead

  // Whether a thumbnail may be made of the source.
  bool IsUsable() const {
    return result == InspectionResult::kRead || result == InspectionResult::kUnknownContent;
  }
};

// Opens a file that others may have put there, to read it: never waits for it, and takes a regular
// file only, or a folder. None with errno set otherwise.
posix::UniqueFd OpenSource(const std::string& path);

enum class WithPreview { kNo, kYes };

// Reads the metadata of the source that `info` describes, in a process that has limits
// (metadata_process.h), and where a version is named of that very file and no other. With its
// preview, the one that suits the description's box is written to a temporary file, which the
// caller removes whatever the result: info->GetEXIFPreviewTmpPath(). Never throws on account of the
// source.
Inspection Inspect(ThumbInfo* info, WithPreview preview = WithPreview::kNo,
                   const SourceVersion* version = nullptr);

// What the library sees of one source, without a request and without side effects: to ask about
// names in the store and what is current there.
class InspectedSource {
 public:
  // Reads the metadata; `path` is absolute. Never throws on account of the source.
  InspectedSource(const std::string& path, bool allow_gif, const SourceVersion* version = nullptr);

  // Takes over what is known of it already.
  InspectedSource(const std::string& path, bool allow_gif, const SourceFacts& facts);

  const std::string& path() const { return path_; }
  const Inspection& inspection() const { return inspection_; }

  // Not to be asked of a source that is missing.
  const ThumbInfo& info() const { return *info_; }

  // The description as it stands in a request for a size label, which must be known.
  ThumbInfo ForSize(const std::string& label) const;

  // The path of an entry of its store directory; empty when there can be none.
  std::string StorePath(const std::string& name) const;

 private:
  bool Describe(bool allow_gif);

  std::string path_;
  std::optional<ThumbInfo> info_;
  Inspection inspection_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_INSPECTION_H_
