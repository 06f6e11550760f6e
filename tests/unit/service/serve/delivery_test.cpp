#include "service/serve/delivery.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <system_error>
#include <thread>

#include "kit/files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

class DeliveryTest : public ServiceTest {};

TEST_F(DeliveryTest, DoesNotWaitForAFifoThatIsSwappedIn) {
  const std::string photo = Picture("a.jpg");
  const std::string fifo = Picture("fifo");
  kit::WriteFile(photo, "a picture");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::atomic<bool> is_done = false;
  std::thread swapper([&] {
    while (!is_done) renameat2(AT_FDCWD, photo.c_str(), AT_FDCWD, fifo.c_str(), RENAME_EXCHANGE);
  });
  Thumbnail thumbnail;
  thumbnail.path = photo;
  thumbnail.owner = Owner::kSource;
  int delivered = 0;
  for (int i = 0; i < 300 || delivered == 0; ++i) {
    try {
      DeliverToFile(thumbnail, photo, elsewhere_ / "out");
      EXPECT_EQ(kit::ReadFile(elsewhere_ / "out"), "a picture");
      ++delivered;
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code().value(), ENXIO);
    }
  }
  is_done = true;
  swapper.join();
}

}  // namespace
}  // namespace vexathumb::service
