#include "render/message.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "render/order.h"

namespace vexathumb::render {
namespace {

// Room for the control data of a message, aligned as it must be.
class ControlData {
 public:
  char* data() { return room_.data(); }
  size_t size() const { return room_.size(); }

 private:
  alignas(struct cmsghdr) std::array<char, CMSG_SPACE(kMostDescriptors * sizeof(int))> room_ = {};
};

template <typename Call>
ssize_t Again(Call call) {
  ssize_t count = 0;
  do {
    count = call();
  } while (count < 0 && errno == EINTR);
  return count;
}

void TakeDescriptors(struct msghdr* header, Message* message) {
  for (struct cmsghdr* part = CMSG_FIRSTHDR(header); part != nullptr;
       part = CMSG_NXTHDR(header, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
    const size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (size_t i = 0; i < count; ++i) {
      int descriptor = -1;
      memcpy(&descriptor, CMSG_DATA(part) + i * sizeof(int), sizeof(int));
      message->descriptors.emplace_back(descriptor);
    }
  }
}

}  // namespace

bool SendMessage(int socket, const void* data, size_t size, const std::vector<int>& descriptors) {
  ControlData room;
  if (descriptors.size() > kMostDescriptors) {
    errno = EINVAL;
    return false;
  }
  struct iovec bytes = {const_cast<void*>(data), size};
  struct msghdr header = {};
  header.msg_iov = &bytes;
  header.msg_iovlen = 1;
  if (!descriptors.empty()) {
    header.msg_control = room.data();
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

Message ReceiveMessage(int socket, void* data, size_t size) {
  Message message;
  message.descriptors.reserve(kMostDescriptors);
  ControlData room;
  struct iovec bytes = {data, size};
  struct msghdr header = {};
  header.msg_iov = &bytes;
  header.msg_iovlen = 1;
  header.msg_control = room.data();
  header.msg_controllen = room.size();
  message.size = Again([&] { return recvmsg(socket, &header, MSG_CMSG_CLOEXEC | MSG_TRUNC); });
  if (message.size < 0) return message;
  TakeDescriptors(&header, &message);
  message.lacks_descriptors = (header.msg_flags & MSG_CTRUNC) != 0;
  return message;
}

}  // namespace vexathumb::render
