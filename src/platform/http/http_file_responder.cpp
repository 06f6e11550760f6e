#include "http/http_file_responder.h"

#include <cerrno>

#include "platform/base/no_throw.h"
#include "platform/http/file_response.h"
#include "platform/http/stream_response.h"
#include "vexaplatform/http_delivery.h"
#include "vlibc/process.h"

int HttpFileResponder::Output(const char* path, const char* mime) {
  return vexaplatform::NoThrow(-1, [&] {
    return vexaplatform::SendFileResponse(path, mime, vexaplatform::Sender::kAsConfigured);
  });
}

int HttpFileResponder::Output(FILE* stream, const char* name, const char* mime) {
  using vexaplatform::StreamResult;
  if (stream == nullptr) {
    errno = EINVAL;
    return -1;
  }
  const StreamResult sent = vexaplatform::NoThrow(
      StreamResult::kFailed, [&] { return vexaplatform::SendStreamResponse(stream, name, mime); });
  const int error = errno;
  const int tool = VLIBCPclose(stream);
  if (sent == StreamResult::kComplete) return tool;
  errno = error;
  // A tool whose stream is closed before its end is killed by that.
  return sent == StreamResult::kHeadOnly ? 0 : -1;
}

int vexaplatform::SendFileFromHere(const char* path, const char* mime) {
  return NoThrow(-1, [&] { return SendFileResponse(path, mime, Sender::kThisProcess); });
}
