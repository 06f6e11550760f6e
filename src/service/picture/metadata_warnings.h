#ifndef VEXATHUMB_SERVICE_PICTURE_METADATA_WARNINGS_H_
#define VEXATHUMB_SERVICE_PICTURE_METADATA_WARNINGS_H_

namespace vexathumb::service {

// Keeps Exiv2 from writing what is wrong in a file's metadata to standard error: whoever uploads a
// picture could fill a log with it. For the whole process; called before there are threads.
void MuteMetadataWarnings();

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_METADATA_WARNINGS_H_
