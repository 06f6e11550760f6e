#ifndef VEXATHUMB_RENDER_MESSAGE_H_
#define VEXATHUMB_RENDER_MESSAGE_H_

#include <sys/types.h>

#include <cstddef>
#include <vector>

#include "posix/unique_fd.h"

namespace vexathumb::render {

// Sends one message with descriptors, which stay the caller's, to a socket that keeps messages
// apart. Waits while the socket is full, raises no signal. False with errno.
bool SendMessage(int socket, const void* data, size_t size, const std::vector<int>& descriptors);

struct Message {
  ssize_t size = -1;  // of the whole message, though at most as much as there is room for was taken
  std::vector<posix::UniqueFd> descriptors;
  bool lacks_descriptors = false;  // some were sent for which this process had no room
};

// Waits for a message. Its size is 0 when no one can send any more, and -1 with errno when it
// cannot be received.
Message ReceiveMessage(int socket, void* data, size_t size);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_MESSAGE_H_
