#include "programs/vexathumb/progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <thread>

namespace vexathumb::program {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// What is captured goes to a file, as the output of a run at night does.
TEST(Progress, IsALineWhenTheTimeForOneHasCome) {
  CaptureStderr();
  Progress progress(seconds(1));
  progress.Show(10, 500, "/s/a.jpg");
  progress.Show(20, 500, "/s/b.jpg");
  EXPECT_THAT(GetCapturedStderr(), IsEmpty());
  std::this_thread::sleep_for(milliseconds(1100));
  CaptureStderr();
  progress.Show(30, 500, "/s/c.jpg");
  progress.Show(31, 500, "/s/d.jpg");
  const std::string written = GetCapturedStderr();
  EXPECT_THAT(written, StartsWith("vexathumb: 30 of 500 sources, "));
  EXPECT_THAT(written, HasSubstr(" left\n"));
  EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 1);
}

TEST(Progress, IsALineAMinuteUnlessToldOtherwise) {
  CaptureStderr();
  Progress progress;
  for (size_t done = 0; done < 1000; ++done) progress.Show(done, std::nullopt, "/s/a.jpg");
  EXPECT_THAT(GetCapturedStderr(), IsEmpty());
}

TEST(Progress, TellsNoTotalThatItDoesNotKnow) {
  CaptureStderr();
  Progress progress;
  progress.Show(12, std::nullopt, "");
  GetCapturedStderr();
  EXPECT_THAT(progress.Text(), StartsWith("12 sources, "));
}

TEST(Progress, NeverTellsATotalBelowWhatIsDone) {
  CaptureStderr();
  Progress progress;
  progress.Show(12, 10, "");  // files have come since they were counted
  GetCapturedStderr();
  EXPECT_THAT(progress.Text(), StartsWith("12 of 12 sources, "));
}

}  // namespace
}  // namespace vexathumb::program
