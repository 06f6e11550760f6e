#include <gtest/gtest.h>

#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/landscape.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "unit/render/render_test.h"

namespace vexathumb::render {
namespace {

using testing::ValuesIn;

struct DamagedCase {
  const char* name;
  std::vector<std::string> options;  // of the tool that writes it
  const char* format;
};

class DamagedTest : public RenderTest, public testing::WithParamInterface<DamagedCase> {
 protected:
  // Makes "whole", a picture with detail everywhere.
  void SetUp() override {
    const kit::Scene scene = {7, {60, 110, 190}, {200, 210, 220}, {40, 60, 40}, 0.7F, 0.2F};
    kit::PaintLandscape(dir_ / "scene.ppm", {600, 450}, scene);
    std::vector<std::string> command = {"/usr/bin/convert", dir_ / "scene.ppm"};
    command.insert(command.end(), GetParam().options.begin(), GetParam().options.end());
    command.push_back(std::string(GetParam().format) + ":" + dir_ / "whole");
    kit::RunTool(command);
  }

  // The answer for the beginning of it.
  Answer RunCut(double part, bool takes_damaged) {
    const std::string bytes = kit::ReadFile(dir_ / "whole");
    kit::WriteFile(dir_ / "source",
                   bytes.substr(0, static_cast<size_t>(static_cast<double>(bytes.size()) * part)));
    Job job = JobOf(Fitting(120));
    job.takes_damaged = takes_damaged;
    return Run("source", job);
  }
};

TEST_P(DamagedTest, IsNotDamagedWhenWhole) {
  const Answer answer = RunCut(1, true);
  EXPECT_EQ(answer.ending, Ending::kDone) << answer.detail;
  EXPECT_FALSE(answer.is_damaged);
}

TEST_P(DamagedTest, IsUnreadableWithoutItsEnd) {
  const Answer answer = RunCut(0.8, false);
  EXPECT_EQ(answer.ending, Ending::kUnreadable);
  EXPECT_NE(answer.detail, "");
  EXPECT_EQ(answer.width, 600U);
}

TEST_P(DamagedTest, WillDoWithoutItsEndWhereThatIsWanted) {
  const Answer answer = RunCut(0.8, true);
  EXPECT_EQ(answer.ending, Ending::kDone) << answer.detail;
  EXPECT_TRUE(answer.is_damaged);
  RunCut(1, true);
  const kit::Raster whole = kit::ReadRaster(Picture());
  RunCut(0.8, true);
  const kit::Raster cut = kit::ReadRaster(Picture());
  for (int y = 5; y < 45; y += 10) EXPECT_NEAR(cut.At(60, y, 1), whole.At(60, y, 1), 16) << y;
}

INSTANTIATE_TEST_SUITE_P(Types, DamagedTest,
                         ValuesIn(std::vector<DamagedCase>{
                             {"Jpeg", {"-quality", "85"}, "JPEG"},
                             {"ProgressiveJpeg", {"-interlace", "JPEG"}, "JPEG"},
                             {"Png", {}, "PNG"},
                             {"Gif", {}, "GIF"},
                         }),
                         kit::CaseName());

class HalfTest : public DamagedTest {};

TEST_P(HalfTest, IsUnreadableWithLessThanHalfOfItsRows) {
  const Answer answer = RunCut(0.33, true);
  EXPECT_EQ(answer.ending, Ending::kUnreadable);
  EXPECT_FALSE(answer.is_damaged);
}

TEST_P(HalfTest, HasGreyInPlaceOfTheRest) {
  RunCut(0.8, true);
  const kit::Raster cut = kit::ReadRaster(Picture());
  for (int x = 5; x < 120; x += 10) EXPECT_NEAR(cut.At(x, cut.height - 1, 1), 128, 3) << x;
}

INSTANTIATE_TEST_SUITE_P(Types, HalfTest,
                         ValuesIn(std::vector<DamagedCase>{
                             {"Jpeg", {"-quality", "85"}, "JPEG"},
                             {"Png", {}, "PNG"},
                         }),
                         kit::CaseName());

}  // namespace
}  // namespace vexathumb::render
