#include "platform/http/file_response.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/expected_file.h"
#include "platform/base/failed_call.h"
#include "platform/http/byte_ranges.h"
#include "platform/http/entity_tag.h"
#include "platform/http/http_request.h"
#include "platform/http/offload.h"
#include "platform/http/preconditions.h"
#include "platform/http/response_head.h"
#include "platform/http/response_output.h"
#include "posix/unique_fd.h"
#include "vexaplatform/http_delivery.h"
#include "vexaplatform/settings.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

FileDescription Describe(const char* path, const char* mime, const struct stat& status,
                         time_t now) {
  const char* slash = strrchr(path, '/');
  FileDescription file;
  file.name = slash == nullptr ? path : slash + 1;
  file.mime = mime;
  file.size = status.st_size;
  file.validators.entity_tag = EntityTag(status);
  // A file from the future is said to be of now, as caches expect.
  file.validators.modified = std::clamp<time_t>(status.st_mtime, 0, now);
  return file;
}

// A text that no file's bytes hold but by an accident that does not happen.
bool MakeBoundary(std::string* boundary) {
  unsigned char random[16];
  if (getentropy(random, sizeof(random)) != 0) return false;
  constexpr char kHex[] = "0123456789abcdef";
  for (const unsigned char byte : random) {
    *boundary += kHex[byte >> 4U];
    *boundary += kHex[byte & 15U];
  }
  return true;
}

bool SendHeadAlone(const std::string& head) {
  ResponseOutput output;
  return output.SendHead(head) && output.Flush();
}

bool SendWhole(int fd, const FileDescription& file) {
  ResponseOutput output;
  return output.SendHead(WholeFileHead(file)) && output.SendFile(fd, 0, file.size) &&
         output.Flush();
}

bool SendPart(int fd, const FileDescription& file, const ByteRange& part) {
  ResponseOutput output;
  return output.SendHead(PartHead(file, part)) && output.SendFile(fd, part.offset, part.length) &&
         output.Flush();
}

bool SendSeveralParts(int fd, const FileDescription& file, const std::vector<ByteRange>& parts) {
  std::string boundary;
  if (!MakeBoundary(&boundary)) return false;
  const std::string closing = ClosingDelimiter(boundary);
  std::vector<std::string> delimiters;
  size_t body_size = closing.size();
  for (const ByteRange& part : parts) {
    delimiters.push_back(PartDelimiter(file, boundary, part));
    body_size += delimiters.back().size() + static_cast<size_t>(part.length);
  }

  ResponseOutput output;
  if (!output.SendHead(MultipartHead(file, boundary, static_cast<off_t>(body_size)))) return false;
  for (size_t i = 0; i < parts.size(); ++i) {
    if (!output.SendBytes(delimiters[i].data(), delimiters[i].size()) ||
        !output.SendFile(fd, parts[i].offset, parts[i].length)) {
      return false;
    }
  }
  return output.SendBytes(closing.data(), closing.size()) && output.Flush();
}

bool Send(int fd, const FileDescription& file, const HttpRequest& request,
          const std::optional<Header>& offload, time_t now) {
  switch (Judge(request, file.validators, now)) {
    case Verdict::kNotModified:
      return SendHeadAlone(NotModifiedHead(file));
    case Verdict::kPreconditionFailed:
      return SendHeadAlone(PreconditionFailedHead());
    case Verdict::kProceed:
      break;
  }
  RangeSelection selection;
  if (IsRangeWanted(request, file.validators, now)) {
    selection = SelectRanges(request.range, file.size);
  }
  if (selection.kind == RangeSelection::Kind::kUnsatisfiable) {
    return SendHeadAlone(UnsatisfiableHead(file));
  }
  if (offload.has_value()) return SendHeadAlone(OffloadHead(file, *offload));
  if (request.method == "HEAD") return SendHeadAlone(WholeFileHead(file));
  if (selection.parts.empty()) return SendWhole(fd, file);
  if (selection.parts.size() == 1) return SendPart(fd, file, selection.parts.front());
  return SendSeveralParts(fd, file, selection.parts);
}

std::optional<Header> OffloadNow(const HttpRequest& request, const char* path,
                                 const struct stat& status, time_t now) {
  return OffloadHeader(CurrentSettings()->http, request, path, status, now);
}

}  // namespace

int SendFileResponse(const char* path, const char* mime, Sender sender) {
  if (path == nullptr || !IsHeaderValue(mime)) return FailWith(EINVAL);
  // Without O_NONBLOCK a FIFO would wait here for a writer.
  const UniqueFd fd(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!fd || fstat(fd.get(), &status) != 0) return -1;
  if (!S_ISREG(status.st_mode)) return FailWith(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
  const ExpectedFile* expected = ExpectationFor(path);
  if (expected != nullptr && !IsExpected(*expected, status.st_dev, status.st_ino)) {
    return FailWith(ENOENT);
  }
  WaitOutClockTick(status);

  const time_t now = time(nullptr);
  const HttpRequest request = CurrentHttpRequest();
  std::optional<Header> offload;
  if (sender == Sender::kAsConfigured) offload = OffloadNow(request, path, status, now);
  const FileDescription file = Describe(path, mime, status, now);
  return Send(fd.get(), file, request, offload, now) ? 0 : -1;
}

bool WouldOffload(const char* path) {
  struct stat status {};
  return path != nullptr && stat(path, &status) == 0 && S_ISREG(status.st_mode) &&
         OffloadNow(CurrentHttpRequest(), path, status, time(nullptr)).has_value();
}

}  // namespace vexaplatform
