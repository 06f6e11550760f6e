#ifndef VEXATHUMB_POSIX_MESSAGE_H_
#define VEXATHUMB_POSIX_MESSAGE_H_

#include <sys/socket.h>
#include <sys/types.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <vector>

#include "posix/again.h"
#include "posix/unique_fd.h"

namespace vexathumb::posix {

constexpr size_t kMostDescriptorsOfMessage = 16;

// Room for the descriptors of a message, aligned as it must be.
struct alignas(struct cmsghdr) DescriptorRoom {
  std::array<char, CMSG_SPACE(kMostDescriptorsOfMessage * sizeof(int))> bytes = {};
};

// Sends one message with descriptors, which stay the caller's, to a socket that keeps messages
// apart. Waits while the socket is full, raises no signal. False with errno.
inline bool SendMessage(int socket, const void* data, size_t size,
                        const std::vector<int>& descriptors) {
  DescriptorRoom room;
  if (descriptors.size() > kMostDescriptorsOfMessage) {
    errno = EINVAL;
    return false;
  }
  struct iovec bytes = {const_cast<void*>(data), size};
  struct msghdr header = {};
  header.msg_iov = &bytes;
  header.msg_iovlen = 1;
  if (!descriptors.empty()) {
    header.msg_control = room.bytes.data();
    header.msg_controllen = CMSG_SPACE(descriptors.size() * sizeof(int));
    struct cmsghdr* const part = CMSG_FIRSTHDR(&header);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(descriptors.size() * sizeof(int));
    memcpy(CMSG_DATA(part), descriptors.data(), descriptors.size() * sizeof(int));
  }
  return Again([&] { return sendmsg(socket, &header, MSG_NOSIGNAL); }) ==
         static_cast<ssize_t>(size);
}

struct Message {
  ssize_t size = -1;  // of the whole message, though at most as much as there is room for was taken
  std::vector<UniqueFd> descriptors;
  bool lacks_descriptors = false;  // some were sent for which this process had no room
};

// Waits for a message. Its size is 0 when no one can send any more, and -1 with errno when it
// cannot be received.
inline Message ReceiveMessage(int socket, void* data, size_t size) {
  Message message;
  message.descriptors.reserve(kMostDescriptorsOfMessage);
  DescriptorRoom room;
  struct iovec bytes = {data, size};
  struct msghdr header = {};
  header.msg_iov = &bytes;
  header.msg_iovlen = 1;
  header.msg_control = room.bytes.data();
  header.msg_controllen = room.bytes.size();
  message.size = Again([&] { return recvmsg(socket, &header, MSG_CMSG_CLOEXEC | MSG_TRUNC); });
  if (message.size < 0) return message;
  message.lacks_descriptors = (header.msg_flags & MSG_CTRUNC) != 0;
  for (struct cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr;
       part = CMSG_NXTHDR(&header, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
    const size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (size_t i = 0; i < count; ++i) {
      int descriptor = -1;
      memcpy(&descriptor, CMSG_DATA(part) + i * sizeof(int), sizeof(int));
      message.descriptors.emplace_back(descriptor);
    }
  }
  return message;
}

}  // namespace vexathumb::posix

#endif  // VEXATHUMB_POSIX_MESSAGE_H_
