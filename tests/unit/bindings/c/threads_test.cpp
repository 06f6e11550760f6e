#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "unit/bindings/c/c_interface.h"

namespace vexathumb::c {
namespace {

class ThreadsTest : public CInterfaceTest {
 protected:
  static void Run(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
  }
};

TEST_F(ThreadsTest, ThatAskForTheSamePictureGetOne) {
  std::atomic<int> obtained = 0;
  Run(6, [&](int) {
    if (Obtain(RequestFor(photo_, "small")) != nullptr) ++obtained;
  });
  EXPECT_EQ(obtained, 6);
}

TEST_F(ThreadsTest, ThatAskForDifferentPicturesGetThem) {
  constexpr int kThreads = 4;
  for (int i = 0; i < kThreads; ++i) WritePhoto(share_ / (std::to_string(i) + ".jpg"));
  std::atomic<int> obtained = 0;
  Run(kThreads, [&](int i) {
    const std::string path = share_ / (std::to_string(i) + ".jpg");
    for (const char* size : {"medium", "small", "medium"}) {
      if (Obtain(RequestFor(path, size)) != nullptr) ++obtained;
    }
    if (StatusOf(RequestFor(share_ / "missing.jpg", "small")) == VEXATHUMB_MISSING) ++obtained;
    vexathumb_maintain();
  });
  EXPECT_EQ(obtained, kThreads * 4);
}

TEST_F(ThreadsTest, MayReadOnePictureAtOnce) {
  const Picture picture = Obtain(RequestFor(photo_, "small"));
  ASSERT_NE(picture, nullptr);
  std::atomic<int> read = 0;
  Run(4, [&](int) {
    uint32_t width = 0;
    uint32_t height = 0;
    void* bytes = nullptr;
    size_t size = 0;
    const bool has_size =
        vexathumb_picture_size(picture.get(), &width, &height) == VEXATHUMB_OK && width > 0;
    const bool has_bytes =
        vexathumb_picture_load(picture.get(), &bytes, &size) == VEXATHUMB_OK && size > 0;
    vexathumb_free(bytes);
    if (has_size && has_bytes) ++read;
  });
  EXPECT_EQ(read, 4);
}

}  // namespace
}  // namespace vexathumb::c
