#ifndef VEXAPLATFORM_HTTP_RESPONSE_HEAD_H_
#define VEXAPLATFORM_HTTP_RESPONSE_HEAD_H_

#include <sys/types.h>

#include <string>

#include "platform/http/byte_ranges.h"
#include "platform/http/preconditions.h"

namespace vexaplatform {

// What the headers tell of a file.
struct FileDescription {
  std::string name;  // without folders
  std::string mime;
  off_t size = 0;
  Validators validators;
};

// Whether the text may stand as a header's value: not empty, and without control characters, which
// could begin another header.
bool IsHeaderValue(const char* text);

// The headers of each answer, in the form in which a CGI program hands them to its web server, the
// empty line included.

// 200 and 206: the whole file, one part of it, several parts in a body of `body_size` bytes.
std::string WholeFileHead(const FileDescription& file);
std::string PartHead(const FileDescription& file, const ByteRange& part);
std::string MultipartHead(const FileDescription& file, const std::string& boundary,
                          off_t body_size);

// What stands in a multipart body before each part, and after the last.
std::string PartDelimiter(const FileDescription& file, const std::string& boundary,
                          const ByteRange& part);
std::string ClosingDelimiter(const std::string& boundary);

// The same as the whole file's for a body that the web server adds: `header` tells it where that
// is. Length and ranges are the server's.
struct Header {
  std::string name;
  std::string value;
};
std::string OffloadHead(const FileDescription& file, const Header& header);

// 304, 412 and 416, without a body. A cache must not keep the latter two, whatever has been said
// about the file before.
std::string NotModifiedHead(const FileDescription& file);
std::string PreconditionFailedHead();
std::string UnsatisfiableHead(const FileDescription& file);

// A stream, whose length is not known.
std::string StreamHead(const std::string& name, const std::string& mime);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_RESPONSE_HEAD_H_
