#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "service/serve/obtain.h"
#include "service/store/failure_record.h"
#include "unit/service/processes.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::ElementsAre;

constexpr int kProcesses = 8;

class ObtainTogetherTest : public ServiceTest {
 protected:
  // Many processes that ask at the same moment; how many got that outcome.
  int AskTogether(const ThumbnailRequest& request, Outcome outcome) {
    const Signal start;
    std::vector<std::unique_ptr<Process>> processes;
    for (int i = 0; i < kProcesses; ++i) {
      processes.push_back(std::make_unique<Process>([&] {
        start.Await();
        return Obtain(request).outcome == outcome ? 1 : 0;
      }));
    }
    for (int i = 0; i < kProcesses; ++i) start.Give();
    int count = 0;
    for (const auto& process : processes) count += process->Wait();
    return count;
  }

  const std::string source_ = Picture("a.jpg");
};

struct RunsCase {
  const char* name;
  int orientation;
  bool avatar;
  int djpeg;
  int convert;
  int cjpeg;
};

class RunOnceTest : public ObtainTogetherTest, public testing::WithParamInterface<RunsCase> {};

TEST_P(RunOnceTest, ToolsRunOnceForAllWhoAskAtTheSameMoment) {
  const RunsCase& c = GetParam();
  WritePhoto(source_, {800, 600}, c.orientation);
  ThumbnailRequest request = c.avatar ? ForAvatar(source_, 64, 64) : ForLabel(source_, kMedium);
  EXPECT_EQ(AskTogether(request, Outcome::kPicture), kProcesses);
  EXPECT_EQ(machine_.Runs("djpeg"), c.djpeg);
  EXPECT_EQ(machine_.Runs("convert"), c.convert);
  EXPECT_EQ(machine_.Runs("cjpeg"), c.cjpeg);
  EXPECT_EQ(machine_.Runs(), c.djpeg + c.convert + c.cjpeg);
  EXPECT_EQ(kit::Corners(Obtain(request).path), kit::kPictureCorners);
}

INSTANTIATE_TEST_SUITE_P(Pictures, RunOnceTest,
                         testing::Values(RunsCase{"Upright", 1, false, 1, 0, 1},
                                         RunsCase{"Turned", 6, false, 1, 1, 0},
                                         RunsCase{"Avatar", 1, true, 1, 1, 1}),
                         CaseName());

TEST_F(ObtainTogetherTest, AnUnusableSourceIsTriedOnceForAll) {
  WriteUndecodable(source_);
  EXPECT_EQ(AskTogether(ForLabel(source_, kMedium), Outcome::kUnusable), kProcesses);
  EXPECT_EQ(machine_.Runs("djpeg"), 1);
  EXPECT_EQ(machine_.Runs("convert"), 1);
  EXPECT_EQ(RecordedFailures(source_).front().attempts, 1);
}

TEST_F(ObtainTogetherTest, OneNameInManyFoldersIsBuiltRightForEach) {
  std::vector<std::unique_ptr<Process>> processes;
  for (int i = 0; i < kProcesses; ++i) {
    const std::string folder = Picture(std::to_string(i));
    std::filesystem::create_directory(folder);
    WritePhoto(folder + "/a.jpg", {400 + 40 * i, 300});
  }
  for (int i = 0; i < kProcesses; ++i) {
    processes.push_back(std::make_unique<Process>([this, i] {
      const Thumbnail answer = Obtain(
          ForBox(Picture(std::to_string(i)) + "/a.jpg", 100 + 10U * static_cast<unsigned>(i), 75));
      return answer.outcome == Outcome::kPicture &&
                     kit::Corners(answer.path) == kit::kPictureCorners
                 ? 0
                 : 1;
    }));
  }
  for (const auto& process : processes) EXPECT_EQ(process->Wait(), 0);
}

class HeldLockTest : public ObtainTogetherTest {
 protected:
  HeldLockTest() { WritePhoto(source_, {800, 600}); }
};

TEST_F(HeldLockTest, DoesNotDelayAHit) {
  ASSERT_EQ(Obtain(ForLabel(source_, kMedium)).outcome, Outcome::kPicture);
  const SourceLock lock(options_.lock_directory, source_);
  EXPECT_EQ(Obtain(ForLabel(source_, kMedium)).outcome, Outcome::kPicture);
}

TEST_F(HeldLockTest, DoesNotDelayASourceThatServesAsItIs) {
  const SourceLock lock(options_.lock_directory, source_);
  EXPECT_EQ(Obtain(ForLabel(source_, kOriginal)).outcome, Outcome::kPicture);
}

TEST_F(HeldLockTest, DoesNotDelayARecordedFailure) {
  WriteUndecodable(source_);
  ASSERT_EQ(Obtain(ForLabel(source_, kMedium)).outcome, Outcome::kUnusable);
  const SourceLock lock(options_.lock_directory, source_);
  EXPECT_EQ(Obtain(ForLabel(source_, kMedium)).outcome, Outcome::kUnusable);
}

TEST_F(HeldLockTest, DoesNotDelayWhatIsNotStored) {
  const SourceLock lock(options_.lock_directory, source_);
  ThumbnailRequest request = ForLabel(source_, kMedium);
  request.only_stored = true;
  EXPECT_EQ(Obtain(request).outcome, Outcome::kNotStored);
}

TEST_F(HeldLockTest, AWaiterFindsWhatTheHolderHasBuilt) {
  auto lock = std::make_unique<SourceLock>(options_.lock_directory, source_);
  Process waiter([&] {
    lock.reset();  // a copy that came along with the fork; the parent still holds its own
    return Obtain(ForLabel(source_, kMedium)).outcome == Outcome::kPicture ? 0 : 1;
  });
  ASSERT_TRUE(Build(ForLabel(source_, kMedium)));
  const int runs = machine_.Runs();
  lock.reset();
  EXPECT_EQ(waiter.Wait(), 0);
  EXPECT_EQ(machine_.Runs(), runs);
}

TEST_F(ObtainTogetherTest, TooManyBuildsAreRefused) {
  WritePhoto(source_, {800, 600});
  options_.limits = {1, 0};
  {
    const auto ticket = BuildTicket::Take(options_.lock_directory, options_.limits);
    const Thumbnail answer = Obtain(ForLabel(source_, kMedium));
    EXPECT_EQ(answer.outcome, Outcome::kOverload);
    EXPECT_EQ(answer.cause.text, "too many thumbnails are being built");
    EXPECT_EQ(machine_.Runs(), 0);
  }
  EXPECT_EQ(Obtain(ForLabel(source_, kMedium)).outcome, Outcome::kPicture);
}

TEST_F(ObtainTogetherTest, PatienceWithAnotherBuildEnds) {
  WritePhoto(source_, {800, 600});
  options_.patience = std::chrono::seconds(0);
  const auto lock = std::make_unique<SourceLock>(options_.lock_directory, source_);
  const Thumbnail answer = Obtain(ForLabel(source_, kMedium));
  EXPECT_EQ(answer.outcome, Outcome::kOverload);
  EXPECT_EQ(answer.cause.text, "others build for this file, or wait to");
}

// Each that waits keeps a place among those that may.
TEST_F(ObtainTogetherTest, WhoWaitsForASourceIsCounted) {
  WritePhoto(source_, {800, 600});
  options_.limits = {1, 1};
  const auto lock = std::make_unique<SourceLock>(options_.lock_directory, source_);
  Process waiter([&] {
    Obtain(ForLabel(source_, kMedium));
    return 0;
  });
  const std::string ticket = options_.lock_directory + "/ticket.0";
  while (!std::filesystem::exists(ticket) ||
         LockFile(options_.lock_directory, "ticket.0").TryLock()) {
    ASSERT_TRUE(waiter.IsRunning());
  }
  const auto second = BuildTicket::Take(options_.lock_directory, options_.limits);
  EXPECT_TRUE(second);
  EXPECT_FALSE(BuildTicket::Take(options_.lock_directory, options_.limits));
}

TEST_F(ObtainTogetherTest, AnOverloadDoesNotKeepStoredOnesBack) {
  WritePhoto(source_, {800, 600});
  options_.limits = {1, 0};
  ASSERT_EQ(Obtain(ForLabel(source_, kMedium)).outcome, Outcome::kPicture);
  const auto ticket = BuildTicket::Take(options_.lock_directory, options_.limits);
  EXPECT_EQ(Obtain(ForLabel(source_, kMedium)).outcome, Outcome::kPicture);
}

TEST_F(ObtainTogetherTest, AKilledBuilderIsFollowedByTheNext) {
  WritePhoto(source_, {800, 600});
  const Signal building;
  Process builder([&] {
    machine_.on_run = [&](const auto& /*program*/, const auto& /*argv*/) {
      building.Give();
      pause();
      return ToolFault::kNone;
    };
    Obtain(ForLabel(source_, kMedium));
    return 0;
  });
  building.Await();
  builder.Kill();
  EXPECT_EQ(Obtain(ForLabel(source_, kMedium)).outcome, Outcome::kPicture);
  EXPECT_THAT(Stored(source_), ElementsAre("VEXAFILE_THUMB_M.jpg"));
}

TEST_F(ObtainTogetherTest, WithoutLocksNothingIsBuilt) {
  WritePhoto(source_, {800, 600});
  kit::WriteFile(options_.lock_directory, "in the way");
  EXPECT_THROW(Obtain(ForLabel(source_, kMedium)), std::system_error);
  EXPECT_EQ(machine_.Runs(), 0);
}

}  // namespace
}  // namespace vexathumb::service
