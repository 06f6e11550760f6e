#ifndef VEXAPLATFORM_HTTP_STREAM_RESPONSE_H_
#define VEXAPLATFORM_HTTP_STREAM_RESPONSE_H_

#include <cstdio>

namespace vexaplatform {

enum class StreamResult {
  kComplete,
  kHeadOnly,  // all that was asked for; the stream has not been read to its end
  kFailed,    // errno says why
};

// Answers the current request with what `stream` yields, under the file name `name`. Does not close
// the stream. Throws std::bad_alloc only.
StreamResult SendStreamResponse(FILE* stream, const char* name, const char* mime);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_STREAM_RESPONSE_H_
