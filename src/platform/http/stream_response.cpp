#include "platform/http/stream_response.h"

#include <cerrno>
#include <vector>

#include "platform/http/http_request.h"
#include "platform/http/response_head.h"
#include "platform/http/response_output.h"

namespace vexaplatform {
namespace {

StreamResult Failed(int error) {
  errno = error;
  return StreamResult::kFailed;
}

// Reads the next block, which is empty at the end. False when the stream cannot be read.
bool ReadBlock(FILE* stream, std::vector<char>* block) {
  constexpr size_t kMost = size_t{1} << 16;
  block->resize(kMost);
  size_t size = 0;
  do {
    clearerr(stream);
    errno = 0;
    size = fread(block->data(), 1, block->size(), stream);
  } while (size == 0 && ferror(stream) != 0 && errno == EINTR);
  block->resize(size);
  return size > 0 || ferror(stream) == 0;
}

}  // namespace

StreamResult SendStreamResponse(FILE* stream, const char* name, const char* mime) {
  if (name == nullptr || !IsHeaderValue(mime)) return Failed(EINVAL);
  // Whether there is anything at all is known before the headers go out, for HEAD too.
  std::vector<char> block;
  if (!ReadBlock(stream, &block)) return StreamResult::kFailed;
  if (block.empty()) return Failed(ENODATA);
  ResponseOutput output;
  if (!output.SendHead(StreamHead(name, mime))) return StreamResult::kFailed;
  if (CurrentHttpRequest().method == "HEAD") return StreamResult::kHeadOnly;
  while (!block.empty()) {
    if (!output.SendBytes(block.data(), block.size()) || !ReadBlock(stream, &block)) {
      return StreamResult::kFailed;
    }
  }
  return output.Flush() ? StreamResult::kComplete : StreamResult::kFailed;
}

}  // namespace vexaplatform
