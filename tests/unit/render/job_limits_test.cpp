#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <functional>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/hostile/bombs.h"
#include "kit/pictures/fixtures.h"
#include "kit/run_tool.h"
#include "unit/render/render_test.h"

namespace vexathumb::render {
namespace {

using std::chrono::milliseconds;
using testing::ValuesIn;

constexpr uint64_t kMiB = uint64_t{1} << 20U;

struct RenderedBombCase {
  const char* name;
  std::function<std::string()> bytes;
};

class RenderedBombTest : public RenderTest, public testing::WithParamInterface<RenderedBombCase> {};

TEST_P(RenderedBombTest, HasTooManyPixels) {
  kit::WriteFile(dir_ / "source", GetParam().bytes());
  const Answer answer = Run("source", JobOf(Fitting(120)));
  EXPECT_EQ(answer.ending, Ending::kLimited);
  EXPECT_EQ(answer.detail, "pixels");
  EXPECT_LT(answer.peak_memory, 512 * kMiB);
}

TEST_P(RenderedBombTest, TakesNoMoreThanItMay) {
#ifdef VEXATHUMB_SANITIZED
  GTEST_SKIP() << "a sanitizer's memory has no limit";
#endif
  kit::WriteFile(dir_ / "source", GetParam().bytes());
  Job job = JobOf(Fitting(120));
  job.limits.pixels = UINT64_MAX;
  job.limits.memory = 128 * kMiB;
  job.limits.cpu = milliseconds(2000);
  const Answer answer = Run("source", job);
  EXPECT_NE(answer.ending, Ending::kStopped) << answer.detail;
  EXPECT_LE(answer.peak_memory, job.limits.memory);
}

INSTANTIATE_TEST_SUITE_P(Bombs, RenderedBombTest,
                         ValuesIn(std::vector<RenderedBombCase>{
                             {"Jpeg", &kit::HugeJpeg},
                             {"ProgressiveJpeg", &kit::HugeProgressiveJpeg},
                             {"Png", &kit::HugePng},
                             {"Gif", &kit::HugeGif},
                             {"Tiff", &kit::HugeTiff},
                         }),
                         kit::CaseName());

using JobLimitTest = RenderTest;

TEST_F(JobLimitTest, OfMemoryIsNamed) {
#ifdef VEXATHUMB_SANITIZED
  GTEST_SKIP() << "a sanitizer's memory has no limit";
#endif
  kit::WriteFile(dir_ / "source", kit::HugeProgressiveJpeg());
  Job job = JobOf(Fitting(120));
  job.limits.pixels = UINT64_MAX;
  const Answer answer = Run("source", job);
  EXPECT_EQ(answer.ending, Ending::kLimited);
  EXPECT_EQ(answer.detail, "memory");
}

TEST_F(JobLimitTest, OfProcessorTimeIsNamed) {
  Job job = LongJob();
  job.limits.cpu = milliseconds(300);
  const Answer answer = Run("long", job);
  EXPECT_EQ(answer.ending, Ending::kLimited);
  EXPECT_EQ(answer.detail, "processor time");
}

TEST_F(JobLimitTest, OfTimeIsNamed) {
  Job job = LongJob();
  job.limits.wall = milliseconds(100);
  const Answer answer = Run("long", job);
  EXPECT_EQ(answer.ending, Ending::kLimited);
  EXPECT_EQ(answer.detail, "time");
}

TEST_F(JobLimitTest, OfAFilesSizeIsNamed) {
  kit::WriteJpeg(dir_ / "source");
  Job job = JobOf(Fitting(120));
  job.limits.file_size = 100;
  const Answer answer = Run("source", job);
  EXPECT_EQ(answer.ending, Ending::kLimited);
  EXPECT_EQ(answer.detail, "size of a file");
}

TEST_F(JobLimitTest, OfTheMachineIsNoneOfTheJobs) {
  kit::WriteJpeg(dir_ / "source");
  const posix::UniqueFd source(open((dir_ / "source").c_str(), O_RDONLY | O_CLOEXEC));
  const posix::UniqueFd full(open((dir_ / "source").c_str(), O_RDONLY | O_CLOEXEC));
  Job job = JobOf(Fitting(120));
  job.source = source.get();
  job.pictures[0].file = full.get();  // which cannot be written
  const Answer answer = SharedRenderer().Run(job);
  EXPECT_EQ(answer.ending, Ending::kStopped);
  EXPECT_NE(answer.detail, "");
}

struct InvalidCase {
  const char* name;
  void (*spoil)(Job* job);
};

class InvalidJobTest : public RenderTest, public testing::WithParamInterface<InvalidCase> {};

TEST_P(InvalidJobTest, ProvesNothingAboutThePicture) {
  kit::WriteJpeg(dir_ / "source");
  Job job = JobOf(Fitting(120));
  GetParam().spoil(&job);
  EXPECT_EQ(Run("source", job).ending, Ending::kStopped);
}

INSTANTIATE_TEST_SUITE_P(
    Jobs, InvalidJobTest,
    ValuesIn(std::vector<InvalidCase>{
        {"NoWidth", [](Job* job) { job->pictures[0].width = 0; }},
        {"TooHigh", [](Job* job) { job->pictures[0].height = kLargestSide + 1; }},
        {"NoQuality", [](Job* job) { job->pictures[0].quality = 0; }},
        {"TooGood", [](Job* job) { job->pictures[0].quality = 101; }},
        {"NoOrientation", [](Job* job) { job->orientation = 9; }},
        {"NegativeOrientation", [](Job* job) { job->orientation = -1; }},
        {"NegativeTurns", [](Job* job) { job->turns = -1; }},
        {"AWholeTurn", [](Job* job) { job->turns = 4; }},
        {"OrientationOfManyBits", [](Job* job) { job->orientation = 256; }},
        {"NoTime", [](Job* job) { job->limits.wall = milliseconds(0); }},
        {"NoMemory", [](Job* job) { job->limits.memory = 0; }},
        {"TooManyPictures", [](Job* job) { job->pictures.resize(9, Fitting(10)); }},
    }),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::render
