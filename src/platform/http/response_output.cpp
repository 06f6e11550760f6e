#include "platform/http/response_output.h"

#include <poll.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "vexaplatform/http_delivery.h"

namespace vexaplatform {
namespace {

constexpr off_t kBlockSize = 1 << 16;

thread_local int last_status = 0;

// Without a line that says so it is 200.
int StatusOf(const std::string& head) {
  constexpr std::string_view kLine = "Status: ";
  constexpr int kOk = 200;
  return head.compare(0, kLine.size(), kLine) == 0 ? atoi(head.c_str() + kLine.size()) : kOk;
}

}  // namespace

int LastStatus() { return last_status; }

ResponseOutput::ResponseOutput() : stream_(stdout), descriptor_(fileno(stdout)) {
  if (descriptor_ >= 0) pipe_signal_block_.emplace();
}

bool ResponseOutput::SendHead(const std::string& head) {
  last_status = StatusOf(head);
  return fwrite(head.data(), 1, head.size(), stream_) == head.size() && Flush();
}

bool ResponseOutput::SendBytes(const char* data, size_t size) {
  if (descriptor_ < 0) return fwrite(data, 1, size, stream_) == size;
  while (size > 0) {
    const ssize_t written = write(descriptor_, data, size);
    if (written >= 0) {
      data += written;
      size -= static_cast<size_t>(written);
    } else if (errno == EAGAIN) {
      if (!WaitUntilWritable()) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

bool ResponseOutput::SendFile(int fd, off_t offset, off_t length) {
  if (!SendFileByKernel(fd, &offset, &length)) return false;
  if (length == 0) return true;
  std::vector<char> buffer(kBlockSize);
  while (length > 0) {
    const size_t wanted = static_cast<size_t>(std::min(length, kBlockSize));
    const ssize_t size = pread(fd, buffer.data(), wanted, offset);
    if (size < 0 && errno == EINTR) continue;
    if (size == 0) errno = EIO;
    if (size <= 0 || !SendBytes(buffer.data(), static_cast<size_t>(size))) return false;
    offset += size;
    length -= size;
  }
  return true;
}

bool ResponseOutput::Flush() {
  // A flush that is cut short loses what it could not write. Once a pipe or socket takes anything,
  // it takes more than the headers.
  return (descriptor_ < 0 || WaitUntilWritable()) && fflush(stream_) == 0;
}

bool ResponseOutput::WaitUntilWritable() const {
  struct pollfd waited = {descriptor_, POLLOUT, 0};
  while (poll(&waited, 1, -1) < 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

// Sends as much as the kernel can move without a copy and counts it off. False when the output
// failed; what is left over is for ordinary writing.
bool ResponseOutput::SendFileByKernel(int fd, off_t* offset, off_t* length) const {
  while (descriptor_ >= 0 && *length > 0) {
    const ssize_t sent = sendfile(descriptor_, fd, offset, static_cast<size_t>(*length));
    if (sent > 0) {
      *length -= sent;
    } else if (sent == 0 || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP) {
      return true;
    } else if (errno == EAGAIN) {
      if (!WaitUntilWritable()) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace vexaplatform
