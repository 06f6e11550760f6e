#include "service/build/animation.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/hostile/bombs.h"
#include "kit/hostile/hazardous_names.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "posix/unique_fd.h"
#include "unit/service/processes.h"
#include "unit/service/service_test.h"
#include "vexaplatform/tool_report.h"
#include "vexaplatform/whole_picture.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using testing::ElementsAre;
using testing::IsEmpty;

// What ImageMagick tells of a GIF: a line for each frame.
std::vector<std::string> TellFrames(const std::string& path, const std::string& format) {
  std::istringstream output(
      kit::RunTool({"/usr/bin/identify", "-format", format + "\n", "gif:" + path}));
  std::vector<std::string> lines;
  for (std::string line; std::getline(output, line);) lines.push_back(line);
  return lines;
}

std::string Canvas(const std::string& path) { return TellFrames(path, "%Wx%H").front(); }

// How often it is shown again, 0 for ever; -1 where it does not say.
int Loops(const std::string& path) {
  const std::string bytes = kit::ReadFile(path);
  const std::string block = "NETSCAPE2.0\x03\x01";
  const size_t at = bytes.find(block);
  if (at == std::string::npos) return -1;
  const auto octet = [&](size_t i) {
    return static_cast<int>(static_cast<unsigned char>(bytes[at + block.size() + i]));
  };
  return octet(0) + 256 * octet(1);
}

// All that is seen of the frame, on grey.
std::string CornersOfFrame(const std::string& path, int frame) {
  const kit::TempDir dir;
  kit::RunTool({"/usr/bin/convert", "gif:" + path, "-coalesce", "-swap",
                "0," + std::to_string(frame), "-delete", "1--1", "png:" + dir / "frame"});
  return kit::Corners(dir / "frame");
}

// Four frames: a wall of two colours, a patch after which the wall is as it was, one that leaves a
// hole, and one that stays.
void WriteLively(const std::string& path) {
  const kit::TempDir dir;
  kit::RunTool({"/usr/bin/convert",
                "-loop",
                "3",
                "-dispose",
                "none",
                "-delay",
                "50",
                "(",
                "-size",
                "200x300",
                "xc:red",
                "xc:blue",
                "+append",
                ")",
                "-dispose",
                "previous",
                "-delay",
                "5",
                "(",
                "-size",
                "200x150",
                "xc:lime",
                "-repage",
                "400x300+200+150",
                ")",
                "-dispose",
                "background",
                "-delay",
                "20",
                "(",
                "-size",
                "200x150",
                "xc:yellow",
                "-repage",
                "400x300+0+150",
                ")",
                "-dispose",
                "none",
                "-delay",
                "7",
                "(",
                "-size",
                "160x120",
                "xc:black",
                "-repage",
                "400x300+0+0",
                ")",
                "gif:" + path});
  kit::Age(path);
}

void WriteManyFrames(const std::string& path) { kit::WriteFile(path, kit::ManyFrameGif(100'000)); }
void WriteHugeCanvas(const std::string& path) { kit::WriteFile(path, kit::HugeGif()); }
void WriteCutShort(const std::string& path) {
  WriteLively(path);
  const std::string whole = kit::ReadFile(path);
  kit::WriteFile(path, whole.substr(0, whole.size() / 2));
}
void WriteWithoutFrames(const std::string& path) {
  kit::WriteFile(path, std::string("GIF89a\x90\1\x2c\1\0\0\0;", 14));
}

class AnimationTest : public ServiceTest {
 protected:
  AnimationTest() { vexaplatform::ForgetToolRuns(); }
  ~AnimationTest() override { EXPECT_THAT(OwnTemporaries(), IsEmpty()); }

  ThumbInfo InfoFor(const ThumbDimension& box, int turns = 0) const {
    ThumbnailRequest request;
    request.source = source_;
    request.box = box;
    request.turns = turns;
    request.animated_gif = true;
    return Inspected(request);
  }

  const std::string source_ = Picture("a.gif");
  const std::string target_ = elsewhere_ / "thumbnail.gif";
};

enum class Maker { kGifsicle, kConvert };

struct MakerCase {
  const char* name;
  Maker maker;
};

void PrintTo(const MakerCase& maker, std::ostream* out) { *out << maker.name; }

class AnimationByEither : public AnimationTest, public testing::WithParamInterface<MakerCase> {
 protected:
  AnimationByEither() {
    if (GetParam().maker == Maker::kConvert) machine_.missing_program = kGifsicle;
  }
  ~AnimationByEither() override {
    EXPECT_EQ(machine_.Runs("convert") == 0, GetParam().maker == Maker::kGifsicle);
    EXPECT_EQ(machine_.Runs("gifsicle") == 0, GetParam().maker == Maker::kConvert);
  }
};

TEST_P(AnimationByEither, KeepsItsTimingLoopingAndTransparency) {
  WriteLively(source_);
  ASSERT_TRUE(MakeAnimation(InfoFor({120, 120}), source_, target_));
  EXPECT_TRUE(vexaplatform::IsWholePicture(target_));
  EXPECT_THAT(TellFrames(target_, "%T"), ElementsAre("50", "5", "20", "7"));
  EXPECT_EQ(Loops(target_), Loops(source_));
  for (int frame = 0; frame < 4; ++frame) {
    EXPECT_EQ(CornersOfFrame(target_, frame), CornersOfFrame(source_, frame)) << frame;
  }
}

INSTANTIATE_TEST_SUITE_P(, AnimationByEither,
                         testing::Values(MakerCase{"Gifsicle", Maker::kGifsicle},
                                         MakerCase{"Convert", Maker::kConvert}),
                         CaseName());

struct BoxCase {
  const char* name;
  ThumbDimension box;
  int turns;
  const char* canvas;  // of one of 400 by 300
};

void PrintTo(const BoxCase& box, std::ostream* out) { *out << box.name; }

class BoxOfAnimation : public AnimationTest, public testing::WithParamInterface<BoxCase> {};

TEST_P(BoxOfAnimation, IsFilledToThePixelByEither) {
  WriteLively(source_);
  const ThumbInfo info = InfoFor(GetParam().box, GetParam().turns);
  ASSERT_TRUE(MakeAnimation(info, source_, target_));
  EXPECT_EQ(machine_.Runs("convert"), 0);
  EXPECT_EQ(Canvas(target_), GetParam().canvas);
  machine_.missing_program = kGifsicle;
  const std::string by_convert = elsewhere_ / "by-convert.gif";
  ASSERT_TRUE(MakeAnimation(info, source_, by_convert));
  EXPECT_EQ(Canvas(by_convert), GetParam().canvas);
  for (int frame = 0; frame < 4; ++frame) {
    EXPECT_EQ(CornersOfFrame(target_, frame), CornersOfFrame(by_convert, frame)) << frame;
  }
}

INSTANTIATE_TEST_SUITE_P(, BoxOfAnimation,
                         testing::Values(BoxCase{"Square", {120, 120}, 0, "120x90"},
                                         BoxCase{"WithARest", {121, 121}, 0, "121x91"},
                                         BoxCase{"Low", {390, 50}, 0, "67x50"},
                                         BoxCase{"Larger", {640, 640}, 0, "400x300"},
                                         BoxCase{"TurnedOnce", {120, 200}, 1, "120x160"},
                                         BoxCase{"TurnedTwice", {120, 200}, 2, "120x90"},
                                         BoxCase{"TurnedThreeTimes", {200, 120}, 3, "90x120"},
                                         BoxCase{"LargerAndTurned", {640, 640}, 1, "300x400"}),
                         CaseName());

TEST_F(AnimationTest, IsMadeOfALargerThumbnailThatIsTurnedAlready) {
  WriteLively(source_);
  const std::string larger = elsewhere_ / "larger.gif";
  ASSERT_TRUE(MakeAnimation(InfoFor({200, 200}, 1), source_, larger));
  const posix::UniqueFd file(open(larger.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(MakeSmallerAnimation(InfoFor({120, 120}, 1), file.get(), target_));
  EXPECT_EQ(Canvas(target_), "90x120");
  EXPECT_THAT(TellFrames(target_, "%T"), ElementsAre("50", "5", "20", "7"));
  EXPECT_EQ(Loops(target_), Loops(source_));
  for (int frame = 0; frame < 4; ++frame) {
    EXPECT_EQ(CornersOfFrame(target_, frame), CornersOfFrame(larger, frame)) << frame;
  }
}

TEST_F(AnimationTest, IsNotMadeOfALargerThumbnailWithoutGifsicle) {
  WriteLively(source_);
  const posix::UniqueFd file(open(source_.c_str(), O_RDONLY | O_CLOEXEC));
  machine_.missing_program = kGifsicle;
  EXPECT_FALSE(MakeSmallerAnimation(InfoFor({120, 120}), file.get(), target_));
  EXPECT_FALSE(std::filesystem::exists(target_));
}

TEST_F(AnimationTest, IsMadeByConvertWhereGifsicleFails) {
  WriteLively(source_);
  machine_.Break("gifsicle", ToolFault::kCrashes);
  ASSERT_TRUE(MakeAnimation(InfoFor({120, 120}), source_, target_));
  EXPECT_EQ(machine_.Runs("gifsicle"), 1);
  EXPECT_EQ(Canvas(target_), "120x90");
}

TEST_F(AnimationTest, IsOfTheVersionThatIsNamedOrNone) {
  WriteLively(source_);
  const SourceVersion version(source_);
  const ThumbInfo info = InfoFor({120, 120});
  EXPECT_TRUE(MakeAnimation(info, source_, target_, &version));
  unlink(target_.c_str());
  std::filesystem::rename(source_, source_ + ".former");
  WriteLively(source_);
  EXPECT_FALSE(MakeAnimation(info, source_, target_, &version));
  EXPECT_FALSE(std::filesystem::exists(target_));
}

TEST_F(AnimationTest, IsWrittenOverNothing) {
  WriteLively(source_);
  const std::string secret = elsewhere_ / "secret";
  kit::WriteFile(secret, "secret");
  machine_.on_run = [](const auto& program, const auto& /*argv*/) {
    return program == kGifsicle ? ToolFault::kNone : ToolFault::kFails;
  };
  std::filesystem::create_symlink(secret, target_);
  MakeAnimation(InfoFor({120, 120}), source_, target_);
  EXPECT_EQ(machine_.Runs("gifsicle"), 0);
  EXPECT_EQ(kit::ReadFile(secret), "secret");
}

struct RefusalCase {
  const char* name;
  void (*write)(const std::string& path);
};

void PrintTo(const RefusalCase& refusal, std::ostream* out) { *out << refusal.name; }

class RefusedAnimation : public AnimationTest, public testing::WithParamInterface<RefusalCase> {};

TEST_P(RefusedAnimation, LeavesNothing) {
  WriteLively(source_);
  const ThumbInfo info = InfoFor({120, 120});
  GetParam().write(source_);
  EXPECT_FALSE(MakeAnimation(info, source_, target_));
  EXPECT_GT(machine_.Runs("gifsicle"), 0);
  EXPECT_FALSE(std::filesystem::exists(target_));
}

INSTANTIATE_TEST_SUITE_P(, RefusedAnimation,
                         testing::Values(RefusalCase{"CutShort", WriteCutShort},
                                         RefusalCase{"WithoutFrames", WriteWithoutFrames},
                                         RefusalCase{"HugeCanvas", WriteHugeCanvas},
                                         RefusalCase{"Text", WriteText}),
                         CaseName());

TEST_F(AnimationTest, OfAnyNumberOfFramesEndsWithinItsLimits) {
  WriteLively(source_);
  const ThumbInfo info = InfoFor({120, 120});
  WriteManyFrames(source_);
  const bool is_made = MakeAnimation(info, source_, target_);
  EXPECT_EQ(std::filesystem::exists(target_), is_made);
  EXPECT_EQ(vexaplatform::IsWholePicture(target_), is_made);
}

class NameOfAnimation : public AnimationTest,
                        public testing::WithParamInterface<kit::HazardousName> {};

TEST_P(NameOfAnimation, IsNoMatterToGifsicle) {
  const std::string source = Picture(GetParam().text + ".gif");
  const std::string target = elsewhere_ / GetParam().text + ".gif";
  for (const std::string& decoy : GetParam().decoys) kit::WriteDecoy(Picture(decoy + ".gif"));
  WriteLively(source_);
  const ThumbInfo info = InfoFor({120, 120});
  std::filesystem::rename(source_, source);
  ASSERT_TRUE(MakeAnimation(info, source, target));
  EXPECT_EQ(machine_.Runs("convert"), 0);
  std::filesystem::rename(target, target_);
  EXPECT_EQ(kit::Corners(target_), "red blue red blue");
}

// It gets no name: a few of them show that.
std::vector<kit::HazardousName> SomeNames() {
  constexpr size_t kEach = 12;
  std::vector<kit::HazardousName> some;
  const auto all = kit::HazardousNames();
  for (size_t i = 0; i < all.size(); i += kEach) some.push_back(all[i]);
  return some;
}

INSTANTIATE_TEST_SUITE_P(, NameOfAnimation, testing::ValuesIn(SomeNames()), CaseName());

}  // namespace
}  // namespace vexathumb::service
