#include "http/http_file_responder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <vector>

#include "no_throw.h"
#include "response_head.h"
#include "response_output.h"
#include "unique_fd.h"
#include "vlibc/process.h"

namespace vexaplatform {
namespace {

int Fail(int error) {
  errno = error;
  return -1;
}

int SendRegularFile(const char* path, const char* mime) {
  if (path == nullptr || !IsHeaderValue(mime)) return Fail(EINVAL);
  // Without O_NONBLOCK a FIFO would wait here for a writer.
  const UniqueFd file(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return -1;
  if (!S_ISREG(status.st_mode)) return Fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
  ResponseOutput output;
  const bool sent = output.SendHead(FileHead(status, mime)) &&
                    output.SendFile(file.get(), 0, status.st_size) && output.Flush();
  return sent ? 0 : -1;
}

// Reads the next block, which is empty at the end. False when the stream cannot be read.
bool ReadBlock(FILE* stream, std::vector<char>* block) {
  constexpr size_t kBlockSize = size_t{1} << 16;
  block->resize(kBlockSize);
  size_t size = 0;
  do {
    clearerr(stream);
    errno = 0;
    size = fread(block->data(), 1, block->size(), stream);
  } while (size == 0 && ferror(stream) != 0 && errno == EINTR);
  block->resize(size);
  return size > 0 || ferror(stream) == 0;
}

int SendStream(FILE* stream, const char* name, const char* mime) {
  if (name == nullptr || !IsHeaderValue(mime)) return Fail(EINVAL);
  std::vector<char> block;
  if (!ReadBlock(stream, &block)) return -1;
  if (block.empty()) return Fail(ENODATA);
  ResponseOutput output;
  if (!output.SendHead(StreamHead(name, mime))) return -1;
  while (!block.empty()) {
    if (!output.SendBytes(block.data(), block.size()) || !ReadBlock(stream, &block)) return -1;
  }
  return output.Flush() ? 0 : -1;
}

}  // namespace
}  // namespace vexaplatform

int HttpFileResponder::Output(const char* path, const char* mime) {
  return vexaplatform::NoThrow(-1, [&] { return vexaplatform::SendRegularFile(path, mime); });
}

int HttpFileResponder::Output(FILE* stream, const char* name, const char* mime) {
  if (stream == nullptr) return vexaplatform::Fail(EINVAL);
  const int sent =
      vexaplatform::NoThrow(-1, [&] { return vexaplatform::SendStream(stream, name, mime); });
  const int tool = VLIBCPclose(stream);
  return sent != 0 ? sent : tool;
}
