#ifndef VEXAPLATFORM_HTTP_RESPONSE_OUTPUT_H_
#define VEXAPLATFORM_HTTP_RESPONSE_OUTPUT_H_

#include <sys/types.h>

#include <cstdio>
#include <optional>
#include <string>

#include "platform/http/pipe_signal_block.h"

namespace vexaplatform {

// Writes a response to the C stream `stdout`, which a host may have replaced by one without a
// descriptor. With a descriptor the stream is only flushed and the body goes past its buffer; a
// descriptor that does not block is waited for. Every operation is false, with errno set, when the
// output fails; a client that is gone is no more than that.
class ResponseOutput {
 public:
  ResponseOutput();

  // Sends the headers, after what is in the stream's buffer and before any body. Their status is
  // LastStatus() from then on.
  bool SendHead(const std::string& head);

  // Sends `size` bytes.
  bool SendBytes(const char* data, size_t size);

  // Sends `length` bytes of the file `fd` from `offset`. False also when the file ends before.
  bool SendFile(int fd, off_t offset, off_t length);

  // Hands everything sent so far on.
  bool Flush();

 private:
  bool WaitUntilWritable() const;
  bool SendFileByKernel(int fd, off_t* offset, off_t* length) const;

  FILE* stream_;
  int descriptor_;                                    // -1 without one
  std::optional<PipeSignalBlock> pipe_signal_block_;  // only a descriptor raises the signal
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_HTTP_RESPONSE_OUTPUT_H_
