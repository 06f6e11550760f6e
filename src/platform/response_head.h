#ifndef VEXAPLATFORM_RESPONSE_HEAD_H_
#define VEXAPLATFORM_RESPONSE_HEAD_H_

#include <sys/stat.h>

#include <ctime>
#include <string>

namespace vexaplatform {

// A time as HTTP writes it: "Sun, 06 Nov 1994 08:49:37 GMT".
std::string HttpDate(time_t time);

// A strong entity tag, quotes included. It changes whenever the file's bytes may have: the change
// time moves also when a tool sets the modification time back.
std::string EntityTag(const struct stat& file);

// The value of Content-Disposition that shows a picture under the file name `name`, whatever bytes
// that has.
std::string ContentDisposition(const std::string& name);

// Whether the text may stand as a header's value: not empty, and without control characters, which
// could begin another header.
bool IsHeaderValue(const char* text);

// The headers of a whole file and of a stream, the empty line included.
std::string FileHead(const struct stat& file, const std::string& mime);
std::string StreamHead(const std::string& name, const std::string& mime);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_RESPONSE_HEAD_H_
