#include "posix/message.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <string>

namespace vexathumb::posix {
namespace {

class MessageTest : public testing::Test {
 protected:
  MessageTest() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    sender_ = UniqueFd(ends[0]);
    receiver_ = UniqueFd(ends[1]);
  }

  bool Send(const std::vector<int>& descriptors) const {
    return SendMessage(sender_.get(), "text", 4, descriptors);
  }
  Message Receive(size_t room = 16) {
    return ReceiveMessage(receiver_.get(), text_.data(), std::min(room, text_.size()));
  }

  UniqueFd sender_;
  UniqueFd receiver_;
  std::array<char, 16> text_ = {};
};

ino_t FileOf(int descriptor) {
  struct stat status = {};
  return fstat(descriptor, &status) == 0 ? status.st_ino : 0;
}

TEST_F(MessageTest, BringsItsTextAndNoDescriptor) {
  ASSERT_TRUE(Send({}));
  const Message message = Receive();
  EXPECT_EQ(message.size, 4);
  EXPECT_STREQ(text_.data(), "text");
  EXPECT_TRUE(message.descriptors.empty());
}

TEST_F(MessageTest, BringsDescriptorsInTheirOrderAndClosedAtExec) {
  const UniqueFd folder(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_TRUE(Send({folder.get(), sender_.get()}));
  const Message message = Receive();
  ASSERT_EQ(message.descriptors.size(), 2U);
  EXPECT_EQ(FileOf(message.descriptors[0].get()), FileOf(folder.get()));
  EXPECT_EQ(FileOf(message.descriptors[1].get()), FileOf(sender_.get()));
  EXPECT_EQ(fcntl(message.descriptors[0].get(), F_GETFD), FD_CLOEXEC);
  EXPECT_FALSE(message.lacks_descriptors);
}

TEST_F(MessageTest, TellsItsWholeSizeWhereThereIsLessRoom) {
  ASSERT_TRUE(Send({}));
  EXPECT_EQ(Receive(2).size, 4);
  EXPECT_EQ(std::string(text_.data()), "te");
}

TEST_F(MessageTest, IsNotSentWithMoreDescriptorsThanThereIsRoomFor) {
  EXPECT_FALSE(Send(std::vector<int>(kMostDescriptorsOfMessage + 1, sender_.get())));
  EXPECT_EQ(errno, EINVAL);
  ASSERT_TRUE(Send(std::vector<int>(kMostDescriptorsOfMessage, sender_.get())));
  EXPECT_EQ(Receive().descriptors.size(), kMostDescriptorsOfMessage);
}

TEST_F(MessageTest, IsNoneWhenNobodyCanSendAnyMore) {
  sender_.Close();
  EXPECT_EQ(Receive().size, 0);
}

TEST_F(MessageTest, IsNotSentToNobodyAndRaisesNoSignal) {
  receiver_.Close();
  EXPECT_FALSE(Send({}));
  EXPECT_EQ(errno, EPIPE);
}

}  // namespace
}  // namespace vexathumb::posix
