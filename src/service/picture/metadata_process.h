#ifndef VEXATHUMB_SERVICE_PICTURE_METADATA_PROCESS_H_
#define VEXATHUMB_SERVICE_PICTURE_METADATA_PROCESS_H_

#include <string>
#include <vector>

#include "service/base/limited_process.h"
#include "thumb/thumb_info.h"

namespace vexathumb::service {

// Exiv2 is not made for hostile input: it reads what others have uploaded in a process of its own,
// of 256 MB and five seconds of the processor's time a file.

// What may be asked about a file.
enum class MetadataQuestion : char {
  kFacts = 'f',             // {a MetadataError's letter, source_facts.h or what the error says}
  kFactsAndPreview = 'p',   // the same, and the path of the preview's file or ""
  kIsSideways = 's',        // {"1"} where the standard orientation swaps width and height
  kEmbeddedPreviews = 'e',  // {type, width, height, bytes} of each
};

// How the library's reading ended.
enum class MetadataError : char {
  kNone = 'n',
  kUnknownContent = 'u',
  kUnreadable = 'r',
  kDamaged = 'd',
  kNoNumber = 'o',  // an orientation
  kOther = 'x',
};

struct MetadataAnswer {
  LimitedProcess::Result result;
  std::vector<std::string> fields;  // where it was answered
};

// `name` is the file's path, which tells one type that its bytes do not; `box` what a preview is to
// fit.
MetadataAnswer AskAboutMetadata(int file, const std::string& name, MetadataQuestion question,
                                const ThumbDimension& box);

// Has the process started before it is needed. False, with errno set, when it cannot be.
bool PrepareMetadataProcess();

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_METADATA_PROCESS_H_
