#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "common/error/error.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

constexpr int kThreads = 8;
constexpr int kReads = 50;

TEST(ConcurrencyTest, EightThreadsInspectAtOnce) {
  const kit::TempDir dir;
  const std::string broken = dir / "broken";
  kit::WriteFile(broken, "This is no picture, whatever its name says it is.\n");
  for (int i = 1; i <= kThreads; ++i) {
    kit::WriteJpeg(dir / std::to_string(i), {{64, 48}, i, kit::Size{32, 24}, {}, {}});
  }

  std::atomic<int> right = 0;
  std::atomic<int> refused = 0;
  std::vector<std::thread> threads;
  for (int i = 1; i <= kThreads; ++i) {
    threads.emplace_back([&, i] {
      const auto& row = ThumbInfo::rotateFlopMappingList_[static_cast<size_t>(i - 1)];
      for (int read = 0; read < kReads; ++read) {
        ThumbInfo info(dir / std::to_string(i), kSmall, {32, 24});
        info.ExtractImgInfo(true);
        const std::string preview = info.GetEXIFPreviewTmpPath();
        const bool written = access(preview.c_str(), R_OK) == 0;
        unlink(preview.c_str());
        if (info.IsGood() && info.GetRotate() == row.first && info.GetFlop() == row.second &&
            written) {
          ++right;
        }
        try {
          ThumbInfo(broken, kSmall, {32, 24}).ExtractImgInfo(true);
        } catch (const Error& error) {
          if (error.Code() == Error::kNoExifMeta) ++refused;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, kThreads * kReads);
  EXPECT_EQ(refused, kThreads * kReads);
}

}  // namespace
}  // namespace vexathumb
