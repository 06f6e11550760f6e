#include <limits>

#include "kit/case_name.h"
#include "unit/thumb/command/command_test.h"

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;
using testing::ElementsAre;
using testing::IsEmpty;

struct VectorCase {
  const char* name;
  Source source;
  std::vector<std::string> arguments;  // between source and destination
};

class ConvertCmdVector : public CommandTest, public testing::WithParamInterface<VectorCase> {};

TEST_P(ConvertCmdVector, IsWhole) {
  platform_.SetTool("/usr/bin/convert", kit::WritesNothing());
  ConvertCmd command(Describe(GetParam().source), "/photos/a.png", "/store/thumb.jpg");
  EXPECT_TRUE(command.exec());

  Vector expected = {"/usr/bin/convert", "-strip", "-colorspace", "sRGB", "/photos/a.png[0]"};
  expected.insert(expected.end(), GetParam().arguments.begin(), GetParam().arguments.end());
  expected.emplace_back("/store/thumb.jpg");
  EXPECT_THAT(CallJournal::Get().All(),
              ElementsAre(Call{"VLIBCExecv", "/usr/bin/convert", expected, 1}));
}

constexpr int kMostTurns = std::numeric_limits<int>::max();

const VectorCase kVectorCases[] = {
    {"Upright", {}, {"-thumbnail", "320x240", "-rotate", "0", "-rotate", "0"}},
    {"TurnedByFileOnce",
     {{4000, 3000}, {320, 240}, 1},
     {"-thumbnail", "240x320", "-rotate", "90", "-rotate", "0"}},
    {"TurnedByFileTwice",
     {{4000, 3000}, {320, 240}, 2},
     {"-thumbnail", "320x240", "-rotate", "180", "-rotate", "0"}},
    {"TurnedByFileThreeTimes",
     {{4000, 3000}, {320, 240}, 3},
     {"-thumbnail", "240x320", "-rotate", "270", "-rotate", "0"}},
    {"TurnedByCallerOnce",
     {{4000, 3000}, {320, 240}, 0, 1},
     {"-thumbnail", "240x320", "-rotate", "0", "-rotate", "90"}},
    {"TurnedByCallerFiveTimes",
     {{4000, 3000}, {320, 240}, 0, 5},
     {"-thumbnail", "240x320", "-rotate", "0", "-rotate", "450"}},
    {"TurnedByCallerFullCircle",
     {{4000, 3000}, {320, 240}, 0, 4},
     {"-thumbnail", "320x240", "-rotate", "0", "-rotate", "360"}},
    {"TurnedByCallerBack",
     {{4000, 3000}, {320, 240}, 0, -1},
     {"-thumbnail", "240x320", "-rotate", "0", "-rotate", "-90"}},
    {"TurnedByCallerBackThreeTimes",
     {{4000, 3000}, {320, 240}, 0, -3},
     {"-thumbnail", "240x320", "-rotate", "0", "-rotate", "-270"}},
    {"TurnedByCallerMoreThanAnIntOfDegrees",
     {{4000, 3000}, {320, 240}, 0, kMostTurns},
     {"-thumbnail", "240x320", "-rotate", "0", "-rotate", "-90"}},
    {"TurnedByFileAndCaller",
     {{4000, 3000}, {320, 240}, 1, 1},
     {"-thumbnail", "320x240", "-rotate", "90", "-rotate", "90"}},
    {"TurnedByFileAndBackByCaller",
     {{4000, 3000}, {320, 240}, 1, -1},
     {"-thumbnail", "320x240", "-rotate", "90", "-rotate", "-90"}},
    {"Mirrored",
     {{4000, 3000}, {320, 240}, 0, 0, true},
     {"-thumbnail", "320x240", "-rotate", "0", "-flop", "-rotate", "0"}},
    {"MirroredAndTurnedByBoth",
     {{4000, 3000}, {320, 240}, 3, 2, true},
     {"-thumbnail", "240x320", "-rotate", "270", "-flop", "-rotate", "180"}},
    {"SmallerThanTheBox",
     {{100, 80}, {320, 240}},
     {"-thumbnail", "100x80", "-rotate", "0", "-rotate", "0"}},
    {"OfUnknownSize",
     {{0, 0}, {320, 240}, 1},
     {"-thumbnail", "240x320", "-rotate", "90", "-rotate", "0"}},
    {"Cropped",
     {{4000, 3000}, {300, 200}, 0, 0, false, true},
     {"-crop", "300x200+1850+1400", "-rotate", "0", "-rotate", "0"}},
    {"CroppedAndTurnedByCallerOnce",
     {{4000, 3000}, {300, 200}, 0, 1, false, true},
     {"-crop", "200x300+1900+1350", "-rotate", "0", "-rotate", "90"}},
    {"CroppedAndTurnedByCallerBack",
     {{4000, 3000}, {300, 200}, 0, -1, false, true},
     {"-crop", "200x300+1900+1350", "-rotate", "0", "-rotate", "-90"}},
    {"CroppedAndTurnedByCallerTwice",
     {{4000, 3000}, {300, 200}, 0, 2, false, true},
     {"-crop", "300x200+1850+1400", "-rotate", "0", "-rotate", "180"}},
    // The file's turn changes the box but not the offsets.
    {"CroppedAndTurnedByFile",
     {{4000, 3000}, {300, 200}, 1, 0, false, true},
     {"-crop", "200x300+1850+1400", "-rotate", "90", "-rotate", "0"}},
    {"CroppedAndTurnedByBoth",
     {{4000, 3000}, {300, 200}, 1, 1, false, true},
     {"-crop", "300x200+1900+1350", "-rotate", "90", "-rotate", "90"}},
    {"CroppedAndMirrored",
     {{4000, 3000}, {300, 200}, 2, 0, true, true},
     {"-crop", "300x200+1850+1400", "-rotate", "180", "-flop", "-rotate", "0"}},
    {"CroppedWithOddRemainders",
     {{101, 203}, {50, 100}, 0, 0, false, true},
     {"-crop", "50x100+25+51", "-rotate", "0", "-rotate", "0"}},
    {"CroppedFromASmallerSource",
     {{100, 80}, {300, 200}, 0, 0, false, true},
     {"-crop", "100x80+2147483548+2147483588", "-rotate", "0", "-rotate", "0"}},
    {"CroppedFromAnUnknownSize",
     {{0, 0}, {2, 2}, 0, 0, false, true},
     {"-crop", "2x2+2147483647+2147483647", "-rotate", "0", "-rotate", "0"}},
};

INSTANTIATE_TEST_SUITE_P(Geometry, ConvertCmdVector, testing::ValuesIn(kVectorCases),
                         kit::CaseName());

class ConvertCmdTest : public CommandTest {};

TEST_F(ConvertCmdTest, SelectsTheFirstFrameOfASourceThatNamesOneAlready) {
  ConvertCmd(Describe({}), "/photos/a.gif[0]", "/store/thumb.jpg").exec();
  EXPECT_EQ(ToolVectors().at(0).at(4), "/photos/a.gif[0][0]");
}

TEST_F(ConvertCmdTest, KeepsItsArgumentsWhenThoseOfTheConstructorAreGone) {
  const std::string folder = "/" + std::string(300, 'd') + "/";
  auto source = std::make_unique<std::string>(folder + "source.png");
  auto destination = std::make_unique<std::string>(folder + "thumb.jpg");
  ConvertCmd command(Describe({}), *source, *destination);
  source.reset();
  destination.reset();
  command.exec();
  EXPECT_THAT(ToolVectors(),
              ElementsAre(ElementsAre("/usr/bin/convert", "-strip", "-colorspace", "sRGB",
                                      folder + "source.png[0]", "-thumbnail", "320x240", "-rotate",
                                      "0", "-rotate", "0", folder + "thumb.jpg")));
}

TEST_F(ConvertCmdTest, WorksOnItsOwnCopyOfTheDescription) {
  ThumbInfo info = Describe({});
  ConvertCmd command(info, "/photos/a.png", "/store/thumb.jpg");
  info.SetUserRotate(1);
  command.exec();
  EXPECT_EQ(ToolVectors().at(0).at(10), "0");
}

TEST_F(ConvertCmdTest, RunsTheSameVectorAgain) {
  platform_.SetTool("/usr/bin/convert", kit::WritesNothing());
  ConvertCmd command(Describe({}), "/photos/a.png", "/store/thumb.jpg");
  EXPECT_TRUE(command.exec());
  EXPECT_TRUE(command.exec());
  const std::vector<Vector> vectors = ToolVectors();
  ASSERT_EQ(vectors.size(), 2U);
  EXPECT_EQ(vectors[0], vectors[1]);
}

TEST_F(ConvertCmdTest, LeavesItsOutputOnSuccess) {
  const std::string destination = dir_ / "thumb.jpg";
  platform_.SetTool("/usr/bin/convert", kit::Writes("picture"));
  EXPECT_TRUE(ConvertCmd(Describe({}), dir_ / "a.png", destination).exec());
  EXPECT_EQ(kit::ReadFile(destination), "picture");
  EXPECT_THAT(Unlinked(), IsEmpty());
}

struct FailureCase {
  const char* name;
  kit::PlatformDouble::Tool tool;
};

class ConvertCmdFailure : public CommandTest, public testing::WithParamInterface<FailureCase> {};

TEST_P(ConvertCmdFailure, LeavesNoOutput) {
  const std::string destination = dir_ / "thumb.jpg";
  platform_.SetTool("/usr/bin/convert", GetParam().tool);
  EXPECT_FALSE(ConvertCmd(Describe({}), dir_ / "a.png", destination).exec());
  EXPECT_THAT(Unlinked(), ElementsAre(destination));
  EXPECT_FALSE(Exists(destination));
}

INSTANTIATE_TEST_SUITE_P(Of, ConvertCmdFailure,
                         testing::ValuesIn<FailureCase>({
                             {"AToolThatWroteNothing", kit::Fails(1)},
                             {"AToolThatWroteAPart", kit::FailsAfterWriting("par", 1)},
                             {"AKilledTool", kit::FailsAfterWriting("par", 256 + 9)},
                             {"AToolThatCannotBeStarted", kit::Fails(-1)},
                         }),
                         kit::CaseName());

TEST_F(ConvertCmdTest, FailsAllTheSameWhenItsOutputCannotBeRemoved) {
  const std::string destination = dir_ / "thumb.jpg";
  libc_.Fail("unlink", EACCES);
  platform_.SetTool("/usr/bin/convert", kit::FailsAfterWriting("par", 1));
  EXPECT_FALSE(ConvertCmd(Describe({}), dir_ / "a.png", destination).exec());
  EXPECT_TRUE(Exists(destination));
}

TEST_F(ConvertCmdTest, BuiltAndDroppedRunsAndRemovesNothing) {
  { const ConvertCmd command(Describe({}), dir_ / "a.png", dir_ / "thumb.jpg"); }
  EXPECT_THAT(CallJournal::Get().All(), IsEmpty());
}

TEST(ThumbConvertCmdTest, KnowsItsToolsByTheirFullPaths) {
  EXPECT_EQ(ThumbConvertCmd::kConvert, "/usr/bin/convert");
  EXPECT_EQ(ThumbConvertCmd::kDjpeg, "/usr/bin/djpeg");
  EXPECT_EQ(ThumbConvertCmd::kJpegtran, "/usr/bin/jpegtran");
  EXPECT_EQ(ThumbConvertCmd::kDcraw, "/usr/bin/dcraw");
}

}  // namespace
}  // namespace vexathumb
