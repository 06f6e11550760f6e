#include "service/picture/error_cause.h"

namespace vexathumb::service::cause {

const Cause kMissingSource = {"there is no such file", "name a picture that can be read"};
const Cause kUnopened = {"cannot be opened", "check that it is there and readable"};
const Cause kDamagedMetadata = {"its metadata are damaged", "the file is likely damaged"};
const Cause kNoOrientation = {"its orientation is not a number", "correct its metadata"};
const Cause kLargeMetadata = {"reading its metadata takes too much memory",
                              "the file is likely damaged"};
const Cause kSlowMetadata = {"reading its metadata takes too long", "the file is likely damaged"};
const Cause kCrashingMetadata = {"reading its metadata crashes",
                                 "report the file to the developers"};
const Cause kBeingWritten = {"it is being written", "run again later"};
const Cause kUnknownContent = {"its content is no picture of a known type",
                               "check the file in a viewer"};
const Cause kNoTool = {"no tool could make a thumbnail of it",
                       "the file is likely damaged; 'vexathumb doctor' checks the tools"};
const Cause kPathTooLong = {"its path is too long for a store", "shorten the names of its folders"};
const Cause kNoneStored = {"no thumbnail of it is stored",
                           "run 'vexathumb build' or leave out --only-stored"};
const Cause kNoScreenshot = {"a video without a stored screenshot",
                             "let the video application store one"};
const Cause kUnshownOriginal = {"browsers do not show its type", "ask for a smaller --size"};
const Cause kShownAsFarAsRead = {"it is damaged: its thumbnails show what can be read of it",
                                 "restore it from a copy"};

}  // namespace vexathumb::service::cause
