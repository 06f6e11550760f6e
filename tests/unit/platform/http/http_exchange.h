#ifndef VEXATHUMB_TESTS_UNIT_PLATFORM_HTTP_HTTP_EXCHANGE_H_
#define VEXATHUMB_TESTS_UNIT_PLATFORM_HTTP_HTTP_EXCHANGE_H_

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace vexaplatform {

// Has another stream in the place of `stdout` while it lives, and closes that.
class ScopedStdout {
 public:
  explicit ScopedStdout(FILE* stream) : kept_(stdout) { stdout = stream; }
  ScopedStdout(const ScopedStdout&) = delete;
  ScopedStdout& operator=(const ScopedStdout&) = delete;
  ~ScopedStdout() {
    fclose(stdout);
    stdout = kept_;
  }

 private:
  FILE* kept_;
};

using RequestVariables = std::map<std::string, std::string>;

// Has these environment variables, as of a CGI request, while it lives.
class ScopedRequest {
 public:
  explicit ScopedRequest(const RequestVariables& variables);
  ScopedRequest(const ScopedRequest&) = delete;
  ScopedRequest& operator=(const ScopedRequest&) = delete;
  ~ScopedRequest();

 private:
  std::vector<std::string> names_;
};

// What a response answered, and all that came through `stdout` meanwhile: the line
// "Cache-Control: early" before the response and the word "late" after it too.
struct Received {
  int result = -1;
  std::string text;
};

using Respond = std::function<int()>;

Received ThroughFile(const Respond& respond, const char* mode);
Received ThroughPipe(const Respond& respond);

// A socket with a small buffer that does not block its writer.
Received ThroughBusySocket(const Respond& respond);

// A stream of the host's own making, as over a FastCGI connection.
Received ThroughStreamWithoutDescriptor(const Respond& respond);

// Reads `fd` to its end.
std::string Drain(int fd);

// A header's value in a response, empty when it has none.
std::string HeaderOf(const std::string& response, const std::string& name);

// What comes after the headers.
std::string BodyOf(const std::string& response);

}  // namespace vexaplatform

#endif  // VEXATHUMB_TESTS_UNIT_PLATFORM_HTTP_HTTP_EXCHANGE_H_
