#include <thread>

#include "unit/thumb/request/request_test.h"

namespace vexathumb {
namespace {

class Threads : public RequestTest {};

// Eight requests at once, each for a source of its own and on its own thread.
TEST_F(Threads, ServeDifferentSourcesAtOnce) {
  constexpr int kThreads = 8;
  platform_.RunReally();
  std::vector<std::string> sources;
  for (int i = 0; i < kThreads; ++i) {
    kit::JpegOptions options;
    options.orientation = 1 + i;
    if (i % 2 == 0) options.exif_thumbnail = kit::Size{160, 120};
    sources.push_back(dir_ / ("photo" + std::to_string(i) + ".jpg"));
    kit::WriteJpeg(sources.back(), options);
  }

  Vector first(kThreads);
  Vector second(kThreads);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      Thumb thumb(sources[i], Thumb::ALL_EA | Thumb::NOT_CHECK_INDEX);
      if (thumb.Output("small")) first[i] = thumb.GetOutputFile();
      if (thumb.Output("small")) second[i] = thumb.GetOutputFile();
    });
  }
  for (std::thread& thread : threads) thread.join();

  for (size_t i = 0; i < kThreads; ++i) {
    EXPECT_EQ(first[i].rfind(StorePath(sources[i], "VEXAFILE_THUMB_S"), 0), 0U) << i;
    EXPECT_TRUE(Exists(first[i])) << i;
    EXPECT_EQ(second[i], first[i]) << i;
  }
  EXPECT_EQ(kit::CallJournal::Get().Of({"HttpOutputFile"}).size(), 2U * kThreads);
}

}  // namespace
}  // namespace vexathumb
