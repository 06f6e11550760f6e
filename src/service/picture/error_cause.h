#ifndef VEXATHUMB_SERVICE_PICTURE_ERROR_CAUSE_H_
#define VEXATHUMB_SERVICE_PICTURE_ERROR_CAUSE_H_

#include <string>

namespace vexathumb::service {

// Why something did not work and what a person can do about it, each a phrase that fits a one-line
// message. No text names a path, so that each may be told over HTTP too.
struct Cause {
  std::string text;
  std::string advice;  // may be empty
};

namespace cause {

extern const Cause kMissingSource;     // there is no such file
extern const Cause kUnopened;          // it is closed to this user
extern const Cause kDamagedMetadata;   // Exiv2 refuses them
extern const Cause kNoOrientation;     // something else in its place
extern const Cause kLargeMetadata;     // reading them takes more memory than is allowed
extern const Cause kSlowMetadata;      // the same of time
extern const Cause kCrashingMetadata;  // reading them ends the process that does
extern const Cause kBeingWritten;      // the source changes
extern const Cause kUnknownContent;    // no known type of picture
extern const Cause kNoTool;            // every tool that was tried has failed
extern const Cause kPathTooLong;       // for a store
extern const Cause kNoneStored;        // only stored thumbnails were asked for
extern const Cause kNoScreenshot;      // of a video
extern const Cause kUnshownOriginal;   // browsers do not show the source itself
extern const Cause kShownAsFarAsRead;  // no failure: a thumbnail of a source that is cut short

}  // namespace cause

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_ERROR_CAUSE_H_
