#ifndef VEXAPLATFORM_HTTP_HTTP_FILE_RESPONDER_H_
#define VEXAPLATFORM_HTTP_HTTP_FILE_RESPONDER_H_

#include <cstdio>

#include "vexa/types.h"

// Sends one file or stream to the current web client: the response's headers, an empty line and the
// body, on the C stream `stdout`, after whatever is already in its buffer. The buffer is flushed
// before the return.
//
// Both operations answer 0 on success. Non-zero means that the response is incomplete; nothing at
// all was written when the file cannot be opened, is not a regular file, or the stream is null or
// empty. No state; one response at a time per process, since standard output is one.
class VEXAPLATFORM_API HttpFileResponder {
 public:
  // Sends the file at `path` as `mime`, with Content-Length, Last-Modified and ETag.
  int Output(const char* path, const char* mime);

  // Sends what `stream` yields as `mime`, under the file name `name`. Takes the stream over and
  // closes it with VLIBCPclose, whatever the outcome; a tool behind the stream that failed makes
  // the result non-zero.
  int Output(FILE* stream, const char* name, const char* mime);
};

#endif  // VEXAPLATFORM_HTTP_HTTP_FILE_RESPONDER_H_
