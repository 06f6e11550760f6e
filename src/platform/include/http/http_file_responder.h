#ifndef VEXAPLATFORM_HTTP_HTTP_FILE_RESPONDER_H_
#define VEXAPLATFORM_HTTP_HTTP_FILE_RESPONDER_H_

#include <cstdio>

#include "vexa/types.h"

// Answers the current web request with one file or stream, on the C stream `stdout`: the response's
// headers, an empty line and the body, after whatever is already in the stream's buffer, which is
// flushed before the return. `stdout` may be a stream of the host's own, without a descriptor.
//
// The request is in the environment variables of CGI (REQUEST_METHOD, HTTP_RANGE, HTTP_IF_…), read
// at each call; a GET without conditions where there are none. An answer other than 200 begins with
// the line "Status: CODE REASON", which a web server turns into the status line. What has
// content also has X-Content-Type-Options and a Content-Disposition that names it.
//
// Both operations answer 0 for a complete response, 304, 412 and 416 among them. Non-zero means
// that the response is incomplete: nothing at all was written when the file cannot be opened, is
// not a regular file, or the stream is null or empty; a part of it when reading or writing fails. A
// client that went away is such a failure and nothing more: no signal, no log line, no process and
// no descriptor left. No state; one response at a time per process, since standard output is one.
class VEXAPLATFORM_API HttpFileResponder {
 public:
  // Sends the file at `path` as `mime`, under the last component of the path, with Last-Modified
  // and with an ETag that changes whenever the bytes may have.
  //
  // GET and HEAD are answered by RFC 9110: 200 or 206 (one range, or several as
  // multipart/byteranges; more than 32 are ignored), 304, 412, 416 for ranges outside the file. The
  // latter two carry "Cache-Control: no-store" besides what the host has said. HEAD has the headers
  // of the whole file. Other methods are answered like a GET without conditions.
  //
  // Never more bytes than Content-Length says are sent, and a file that shrinks meanwhile gives a
  // non-zero result.
  //
  // Where the settings say so the web server adds the body, told by a header which file that is:
  // the answer then has no Content-Length and no body, and the file must stay where it is.
  // vexaplatform/http_delivery.h sends a file that does not.
  int Output(const char* path, const char* mime);

  // Sends what `stream` yields as `mime`, under the file name `name`. Takes the stream over and
  // closes it with VLIBCPclose, whatever the outcome; a tool behind the stream that failed makes
  // the result non-zero. There is neither Content-Length nor ETag, and conditions and ranges
  // have no effect. For HEAD only the beginning is read, which ends the tool.
  int Output(FILE* stream, const char* name, const char* mime);
};

#endif  // VEXAPLATFORM_HTTP_HTTP_FILE_RESPONDER_H_
