#include "platform/http/response_head.h"

#include <algorithm>
#include <cstring>

#include "platform/http/content_disposition.h"
#include "platform/http/http_date.h"
#include "platform/http/text_encoding.h"

namespace vexaplatform {
namespace {

constexpr char kEnd[] = "\r\n";

std::string Line(const std::string& name, const std::string& value) {
  return name + ": " + value + "\r\n";
}

std::string LengthLine(off_t length) { return Line("Content-Length", std::to_string(length)); }

std::string ValidatorLines(const Validators& validators) {
  return Line("Last-Modified", HttpDate(validators.modified)) + Line("ETag", validators.entity_tag);
}

std::string PresentationLines(const std::string& name) {
  return Line("Content-Disposition", ContentDisposition(name)) +
         Line("X-Content-Type-Options", "nosniff");
}

std::string RangeLine(const ByteRange& part, off_t size) {
  return Line("Content-Range", "bytes " + std::to_string(part.offset) + "-" +
                                   std::to_string(part.offset + part.length - 1) + "/" +
                                   std::to_string(size));
}

// What all answers with bytes of a file end with.
std::string FileLines(const FileDescription& file) {
  return ValidatorLines(file.validators) + Line("Accept-Ranges", "bytes") +
         PresentationLines(file.name) + kEnd;
}

}  // namespace

bool IsHeaderValue(const char* text) {
  return text != nullptr && text[0] != '\0' && std::none_of(text, text + strlen(text), IsControl);
}

std::string WholeFileHead(const FileDescription& file) {
  return Line("Content-Type", file.mime) + LengthLine(file.size) + FileLines(file);
}

std::string PartHead(const FileDescription& file, const ByteRange& part) {
  return Line("Status", "206 Partial Content") + Line("Content-Type", file.mime) +
         RangeLine(part, file.size) + LengthLine(part.length) + FileLines(file);
}

std::string MultipartHead(const FileDescription& file, const std::string& boundary,
                          off_t body_size) {
  return Line("Status", "206 Partial Content") +
         Line("Content-Type", "multipart/byteranges; boundary=" + boundary) +
         LengthLine(body_size) + FileLines(file);
}

std::string PartDelimiter(const FileDescription& file, const std::string& boundary,
                          const ByteRange& part) {
  return "\r\n--" + boundary + "\r\n" + Line("Content-Type", file.mime) +
         RangeLine(part, file.size) + kEnd;
}

std::string ClosingDelimiter(const std::string& boundary) { return "\r\n--" + boundary + "--\r\n"; }

std::string OffloadHead(const FileDescription& file, const Header& header) {
  return Line(header.name, header.value) + Line("Content-Type", file.mime) +
         ValidatorLines(file.validators) + PresentationLines(file.name) + kEnd;
}

std::string NotModifiedHead(const FileDescription& file) {
  return Line("Status", "304 Not Modified") + ValidatorLines(file.validators) + kEnd;
}

std::string PreconditionFailedHead() {
  return Line("Status", "412 Precondition Failed") + Line("Cache-Control", "no-store") +
         LengthLine(0) + kEnd;
}

std::string UnsatisfiableHead(const FileDescription& file) {
  return Line("Status", "416 Range Not Satisfiable") + Line("Cache-Control", "no-store") +
         Line("Content-Range", "bytes */" + std::to_string(file.size)) + LengthLine(0) + kEnd;
}

std::string StreamHead(const std::string& name, const std::string& mime) {
  return Line("Content-Type", mime) + PresentationLines(name) + kEnd;
}

}  // namespace vexaplatform
