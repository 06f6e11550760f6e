#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "kit/case_name.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "service/build/animation.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

// Two machines that build for one photograph into one store know nothing of each other's locks.
class TwoMachinesTest : public ServiceTest {
 protected:
  TwoMachinesTest() : other_(options_) {
    other_.lock_directory = elsewhere_ / "other locks";
    machine_.missing_program = kGifsicle;  // convert has an animation's full frames in a file
  }

  ThumbnailRequest ForLabelAnimated(const std::string& label) const {
    ThumbnailRequest request = ForLabel(source_, label);
    request.animated_gif = true;
    return request;
  }

  // At the beginning of a second, of which some names are made.
  static void AwaitSecond() {
    using std::chrono::system_clock;
    const auto now = system_clock::to_time_t(system_clock::now());
    std::this_thread::sleep_until(system_clock::from_time_t(now + 1));
  }

  const std::string source_ = Picture("a.gif");
  ObtainOptions other_;
};

TEST_F(TwoMachinesTest, AnAnimationIsNotTakenFromUnderTheOther) {
  kit::WriteAnimatedGif(source_);
  std::optional<Thumbnail> others;
  machine_.on_run = [&](const std::string&, const std::vector<std::string>& argv) {
    const bool is_second_step = std::find(argv.begin(), argv.end(), "-layers") != argv.end();
    if (is_second_step && !others) {
      others = Thumbnail();
      others = ObtainThumbnail(ForLabelAnimated(kSmall), other_);
    }
    return ToolFault::kNone;
  };
  AwaitSecond();
  const Thumbnail own = Obtain(ForLabelAnimated(kSmall));
  ASSERT_EQ(own.outcome, Outcome::kPicture);
  ASSERT_EQ(others->outcome, Outcome::kPicture);
  EXPECT_EQ(kit::Examine(own.path).frames, 3);
  EXPECT_EQ(kit::Examine(others->path).frames, 3);
}

struct PictureCase {
  const char* name;
  const char* file;
  std::function<void(const std::string&)> write;
};

class TemporariesTest : public TwoMachinesTest, public testing::WithParamInterface<PictureCase> {
 protected:
  // Whatever the tools were told to write or read besides the photograph.
  std::set<std::string> TemporariesOf(const ObtainOptions& options) {
    std::set<std::string> paths;
    machine_.on_run = [&](const std::string&, const std::vector<std::string>& argv) {
      for (const std::string& word : argv) {
        const std::string path = word.substr(0, word.rfind('['));
        const bool is_path = path.front() == '/' || path.find(":/") != std::string::npos;
        if (is_path && path != photo_ && path.rfind("/usr/", 0) != 0) paths.insert(path);
      }
      return ToolFault::kNone;
    };
    ThumbnailRequest request = ForLabel(photo_, kSmall);
    request.animated_gif = true;
    EXPECT_EQ(ObtainThumbnail(request, options).outcome, Outcome::kPicture);
    std::filesystem::remove_all(share_ / ".vexaea");
    return paths;
  }

  const std::string photo_ = Picture(GetParam().file);
};

TEST_P(TemporariesTest, AreOfOneBuildAlone) {
  GetParam().write(photo_);
  AwaitSecond();
  const std::set<std::string> own = TemporariesOf(options_);
  const std::set<std::string> others = TemporariesOf(other_);
  std::vector<std::string> common;
  std::set_intersection(own.begin(), own.end(), others.begin(), others.end(),
                        std::back_inserter(common));
  EXPECT_THAT(own, testing::Not(testing::IsEmpty()));
  EXPECT_THAT(common, testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Pictures, TemporariesTest,
    testing::Values(PictureCase{"Jpeg", "a.jpg",
                                [](const auto& path) {
                                  WritePhoto(path, {800, 600});
                                }},
                    PictureCase{"Turned", "b.jpg",
                                [](const auto& path) {
                                  WritePhoto(path, {800, 600}, 6);
                                }},
                    PictureCase{"Png", "c.png", [](const auto& path) { kit::WritePng(path); }},
                    PictureCase{"Animation", "d.gif",
                                [](const auto& path) { kit::WriteAnimatedGif(path); }},
                    PictureCase{"Raw", "e.dng", [](const auto& path) { kit::WriteDng(path); }}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::service
