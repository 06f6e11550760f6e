// The source is another one, or none, from one step of a build to the next; and the clock jumps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/hostile/hazardous_names.h"
#include "kit/pictures/pixels.h"
#include "kit/pictures/whole_picture.h"
#include "kit/run_tool.h"
#include "service/store/store_files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::IsEmpty;

struct ChangeCase {
  const char* name;
  const char* source;
  void (*write)(const std::string& path);
  void (*write_other)(const std::string& path);  // grey all over
};

void PrintTo(const ChangeCase& change, std::ostream* out) { *out << change.name; }

class ChangingSourceTest : public ServiceTest, public testing::WithParamInterface<ChangeCase> {
 protected:
  ChangingSourceTest() : source_(Picture(GetParam().source)) {
    GetParam().write(elsewhere_ / "original");
    GetParam().write_other(elsewhere_ / "other");
    Restore();
  }

  void Restore() const {
    kit::WriteFile(source_, kit::ReadFile(elsewhere_ / "original"));
    SetModificationTime(source_, kSourceTime);
    std::filesystem::remove_all(StoreDirectoryOf(source_));
  }

  // Asks while `change` happens before the tool number `step` starts. False when so many tools are
  // not run.
  bool AskWithChangeAt(int step, const std::function<void()>& change) {
    int run = 0;
    machine_.on_run = [&](const auto& /*program*/, const auto& /*argv*/) {
      if (run++ == step) change();
      return ToolFault::kNone;
    };
    const Thumbnail answer = Obtain(request());
    if (answer.outcome == Outcome::kPicture && answer.owner == Owner::kCaller)
      unlink(answer.path.c_str());
    machine_.on_run = nullptr;
    return run > step;
  }

  ThumbnailRequest request() const { return ForLabel(source_, kSmall); }

  void ExpectNothingPartial() const {
    EXPECT_THAT(kit::PartialThumbnails(share_.path()), IsEmpty());
    EXPECT_THAT(OwnTemporaries(), IsEmpty());
  }

  const std::string source_;
};

TEST_P(ChangingSourceTest, ThatIsReplacedAtAnyStepIsShownAsItIs) {
  int step = 0;
  for (;; ++step) {
    Restore();
    const bool changed = AskWithChangeAt(step, [this] {
      const std::string replacement = elsewhere_ / "replacement";
      kit::WriteFile(replacement, kit::ReadFile(elsewhere_ / "other"));
      SetModificationTime(replacement, kSourceTime + 100);
      std::filesystem::rename(replacement, source_);
    });
    if (!changed) break;
    ExpectNothingPartial();
    const Thumbnail now = Obtain(request());
    ASSERT_EQ(now.outcome, Outcome::kPicture) << "step " << step << ": " << now.cause.text;
    EXPECT_EQ(kit::Corners(now.path), kit::kDecoyCorners) << "step " << step;
  }
  EXPECT_GT(step, 0);
}

TEST_P(ChangingSourceTest, ThatIsCutShortAtAnyStepLeavesNothingCurrent) {
  int step = 0;
  for (;; ++step) {
    Restore();
    const auto half = static_cast<off_t>(std::filesystem::file_size(source_) / 2);
    if (!AskWithChangeAt(step, [&] { EXPECT_EQ(truncate(source_.c_str(), half), 0); })) break;
    ExpectNothingPartial();
    // Whatever is in the store is of the time before.
    const ThumbInfo now = Describe(request());
    for (const std::string& entry : Stored(source_)) {
      const bool is_served = entry.rfind("VEXAFILE_THUMB", 0) == 0;
      EXPECT_FALSE(is_served && now.IsThumbUptoDate(StorePath(source_, entry)))
          << "step " << step << ": " << entry;
    }
  }
  EXPECT_GT(step, 0);
}

TEST_P(ChangingSourceTest, ThatIsDeletedAtAnyStepIsMissing) {
  int step = 0;
  for (;; ++step) {
    Restore();
    if (!AskWithChangeAt(step, [this] { EXPECT_EQ(unlink(source_.c_str()), 0); })) break;
    ExpectNothingPartial();
    EXPECT_EQ(Obtain(request()).outcome, Outcome::kMissing) << "step " << step;
  }
  EXPECT_GT(step, 0);
}

TEST_P(ChangingSourceTest, IsAHitWhenTheClockIsSetBack) {
  constexpr time_t kDay = 24 * 60 * 60;
  ASSERT_EQ(Obtain(request()).outcome, Outcome::kPicture);
  const int runs = machine_.Runs();
  machine_.clock_ahead = -kDay;
  EXPECT_EQ(Obtain(request()).outcome, Outcome::kPicture);
  EXPECT_EQ(machine_.Runs(), runs);
}

TEST_P(ChangingSourceTest, IsBuiltWhileTheClockIsSetBack) {
  machine_.clock_ahead = -kSourceTime;
  ASSERT_EQ(Obtain(request()).outcome, Outcome::kPicture);
  machine_.clock_ahead = 0;
  const int runs = machine_.Runs();
  EXPECT_EQ(Obtain(request()).outcome, Outcome::kPicture);
  EXPECT_EQ(machine_.Runs(), runs);
  ExpectNothingPartial();
}

void WriteTurnedPhoto(const std::string& path) { WritePhoto(path, {800, 600}, 6); }

void WriteRaw(const std::string& path) {
  kit::DngOptions options;
  options.preview = kit::RawPreview::kJpegStrip;
  kit::WriteDng(path, options);
}

void WriteOtherRaw(const std::string& path) {
  const std::string decoy = path + ".decoy";
  kit::WriteDecoy(decoy);
  kit::WriteFile(decoy + ".jpg", kit::RunTool({"/usr/bin/convert", decoy, "jpeg:-"}));
  kit::WriteDngOf(path, decoy, decoy + ".jpg");
}

INSTANTIATE_TEST_SUITE_P(
    Sources, ChangingSourceTest,
    testing::Values(
        ChangeCase{"jpeg", "a.jpg",
                   [](const auto& path) {
                     WritePhoto(path, {800, 600});
                   },
                   kit::WriteDecoy},
        ChangeCase{"turned_jpeg", "a.jpg", WriteTurnedPhoto, kit::WriteDecoy},
        ChangeCase{"png", "a.png", [](const auto& path) { kit::WritePng(path); }, kit::WriteDecoy},
        ChangeCase{"animation", "a.gif", [](const auto& path) { kit::WriteAnimatedGif(path); },
                   kit::WriteDecoy},
        ChangeCase{"raw", "a.dng", WriteRaw, WriteOtherRaw}),
    CaseName());

}  // namespace
}  // namespace vexathumb::service
