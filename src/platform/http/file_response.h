#ifndef VEXAPLATFORM_HTTP_FILE_RESPONSE_H_
#define VEXAPLATFORM_HTTP_FILE_RESPONSE_H_

namespace vexaplatform {

enum class Sender {
  kThisProcess,
  kAsConfigured,  // maybe the web server
};

// Answers the current request with the file at `path`. 0, or -1 with errno set. Throws
// std::bad_alloc only.
int SendFileResponse(const char* path, const char* mime, Sender sender);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_FILE_RESPONSE_H_
