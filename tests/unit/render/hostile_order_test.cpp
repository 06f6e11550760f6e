#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "posix/message.h"
#include "render/order.h"
#include "unit/render/render_test.h"

namespace vexathumb::render {
namespace {

using posix::UniqueFd;

// A renderer that is spoken to without its client.
class HostileOrderTest : public RenderTest {
 protected:
  void SetUp() override {
    kit::WriteJpeg(dir_ / "source");
    source_ = UniqueFd(open((dir_ / "source").c_str(), O_RDONLY | O_CLOEXEC));
    file_ = UniqueFd(open(Picture().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    server_ = UniqueFd(ends[0]);
    const pid_t starter = fork();
    if (starter == 0) {
      dup2(ends[1], STDIN_FILENO);
      execl(RENDERER, RENDERER, nullptr);
      _exit(127);
    }
    close(ends[1]);
    waitpid(starter, nullptr, 0);
  }

  OrderRecord Order() const {
    Job job = JobOf(Fitting(60));
    return MakeOrder(job);
  }

  // The answer to a message with these descriptors after that for the answer; none where it is
  // closed without.
  AnswerRecord Send(const void* data, size_t size, const std::vector<int>& rest) {
    AnswerRecord answer = {};
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    const UniqueFd own_end(ends[0]);
    UniqueFd other_end(ends[1]);
    std::vector<int> descriptors = {other_end.get()};
    descriptors.insert(descriptors.end(), rest.begin(), rest.end());
    EXPECT_TRUE(posix::SendMessage(server_.get(), data, size, descriptors));
    other_end.Close();
    posix::ReceiveMessage(own_end.get(), &answer, sizeof(answer));
    return answer;
  }

  void ExpectItServes() {
    const OrderRecord order = Order();
    const AnswerRecord answer = Send(&order, sizeof(order), {source_.get(), file_.get()});
    EXPECT_EQ(answer.magic, kOrderMagic);
    EXPECT_EQ(answer.ending, Ending::kDone) << answer.detail.data();
  }

  UniqueFd source_;
  UniqueFd file_;
  UniqueFd server_;
};

TEST_F(HostileOrderTest, IsServedWhenItIsNone) { ExpectItServes(); }

TEST_F(HostileOrderTest, OfAnotherVersionIsRefused) {
  OrderRecord order = Order();
  ++order.version;
  const AnswerRecord answer = Send(&order, sizeof(order), {source_.get(), file_.get()});
  EXPECT_EQ(answer.magic, kOrderMagic);
  EXPECT_EQ(answer.ending, Ending::kStopped);
  ExpectItServes();
}

TEST_F(HostileOrderTest, OfAnotherSizeIsRefused) {
  const std::string bytes(sizeof(OrderRecord) * 2, 'x');
  for (const size_t size : {size_t{1}, sizeof(OrderRecord) - 1, bytes.size()}) {
    EXPECT_EQ(Send(bytes.data(), size, {source_.get(), file_.get()}).ending, Ending::kStopped);
  }
  ExpectItServes();
}

TEST_F(HostileOrderTest, WithOtherDescriptorsIsRefused) {
  const OrderRecord order = Order();
  for (const std::vector<int>& descriptors :
       {std::vector<int>{}, {source_.get()}, {source_.get(), file_.get(), file_.get()}}) {
    EXPECT_EQ(Send(&order, sizeof(order), descriptors).ending, Ending::kStopped);
  }
  EXPECT_TRUE(posix::SendMessage(server_.get(), &order, sizeof(order), {}));
  ExpectItServes();
}

TEST_F(HostileOrderTest, WithDescriptorsOfNoFilesIsRefused) {
  const OrderRecord order = Order();
  const UniqueFd folder(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (const int other : {server_.get(), folder.get()}) {
    EXPECT_EQ(Send(&order, sizeof(order), {other, file_.get()}).ending, Ending::kStopped);
    EXPECT_EQ(Send(&order, sizeof(order), {source_.get(), other}).ending, Ending::kStopped);
  }
  ExpectItServes();
}

TEST_F(HostileOrderTest, OfRandomFieldsIsAnsweredAndHarmsNobody) {
  std::mt19937 random(1);
  for (int i = 0; i < 100; ++i) {
    OrderRecord order = Order();
    auto* const bytes = reinterpret_cast<unsigned char*>(&order);
    const size_t first = offsetof(OrderRecord, memory);
    for (int change = 0; change < 3; ++change) {
      bytes[first + random() % (sizeof(order) - first)] = static_cast<unsigned char>(random());
    }
    order.wall_milliseconds = 5000;
    EXPECT_EQ(Send(&order, sizeof(order), {source_.get(), file_.get()}).magic, kOrderMagic);
  }
  ExpectItServes();
}

}  // namespace
}  // namespace vexathumb::render
