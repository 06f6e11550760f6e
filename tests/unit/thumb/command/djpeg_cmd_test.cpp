#include <cstdint>
#include <filesystem>

#include "kit/case_name.h"
#include "unit/thumb/command/command_test.h"

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;
using testing::ElementsAre;
using testing::IsEmpty;

struct ScaleCase {
  const char* name;
  Source source;
  int scale;
  const char* argument;
  uint32_t bytes;
};

class DJpegCmdScale : public CommandTest, public testing::WithParamInterface<ScaleCase> {};

TEST_P(DJpegCmdScale, IsTheCoarsestThatIsGoodEnough) {
  DJpegCmd command(Describe(GetParam().source), "/photos/a.jpg", "/store/thumb.jpg");
  EXPECT_EQ(command.GetScale(), GetParam().scale);
  EXPECT_EQ(command.GetConvertBytes(), GetParam().bytes);
  command.exec();
  EXPECT_EQ(ToolVectors().at(0).at(2), GetParam().argument);
  EXPECT_EQ(command.GetScale(), GetParam().scale);
}

constexpr int kNoLimit = 0x7FFFFFFF;

const ScaleCase kScaleCases[] = {
    {"PhotoForXLarge", {{4000, 3000}, {1280, 1280}}, 1, "1/2", 9000054},
    {"PhotoForSmall", {{4000, 3000}, {120, 120}}, 3, "1/8", 187500 * 3 + 54},
    {"PhotoForMedium", {{4000, 3000}, {360, 360}}, 3, "1/8", 187500 * 3 + 54},
    {"PhotoForBig", {{4000, 3000}, {640, 640}}, 2, "1/4", 750000 * 3 + 54},
    {"PhotoWithoutLimit", {{4000, 3000}, {kNoLimit, kNoLimit}}, 0, "1/1", 36000054},
    {"SmallerThanTheBox", {{100, 100}, {1280, 1280}}, 0, "1/1", 30054},
    {"ExactlyTheBox", {{1280, 1280}, {1280, 1280}}, 0, "1/1", 1638400 * 3 + 54},
    {"OnePixelWiderThanTheBox", {{1281, 1280}, {1280, 1280}}, 0, "1/1", 1639680 * 3 + 54},
    // Half of it is 750 x 1000, three quarters of the box: still too small.
    {"JustTooSmallAtHalf", {{1500, 2000}, {1000, 1000}}, 0, "1/1", 9000054},
    {"JustLargeEnoughAtHalf", {{1502, 2000}, {1000, 1000}}, 1, "1/2", 751000 * 3 + 54},
    {"FitsInOneDirectionOnly", {{4000, 1000}, {80, 4000}}, 3, "1/8", 62500 * 3 + 54},
    {"FitsInOneDirectionOnlyTurned", {{4000, 1000}, {80, 4000}, 1}, 2, "1/4", 250000 * 3 + 54},
    {"TurnedByFileAndBackByCaller", {{4000, 1000}, {80, 4000}, 1, -1}, 3, "1/8", 62500 * 3 + 54},
    {"OddSidesAreCutPerPixelCount", {{2001, 1501}, {300, 300}}, 2, "1/4", 187718 * 3 + 54},
    {"OfUnknownSize", {{0, 0}, {1280, 1280}}, 0, "1/1", 54},
    {"NoTarget", {{4000, 3000}, {0, 0}}, 3, "1/8", 187500 * 3 + 54},
    {"NoTargetForTheSmallestSource", {{8, 8}, {0, 0}}, 3, "1/8", 57},
    {"NoTargetForLessThanAPixel", {{4, 4}, {0, 0}}, 2, "1/4", 57},
    // 65536 x 65536 is 0 in 32 bits.
    {"PixelCountWraps", {{65536, 65536}, {1280, 1280}}, 2, "1/4", 54},
    {"ByteCountWraps", {{40000, 40000}, {kNoLimit, kNoLimit}}, 0, "1/1", 505032758},
};

INSTANTIATE_TEST_SUITE_P(Of, DJpegCmdScale, testing::ValuesIn(kScaleCases), kit::CaseName());

struct StageCase {
  const char* name;
  Source source;
  bool second_stage;
};

class DJpegCmdStage : public CommandTest, public testing::WithParamInterface<StageCase> {};

TEST_P(DJpegCmdStage, SecondFollowsOnlyWhereAPictureIsTurnedOrMirrored) {
  platform_.SetTool("/usr/bin/djpeg", kit::WritesNothing());
  platform_.SetTool("/usr/bin/convert", kit::WritesNothing());
  const std::string decoded = GetParam().second_stage ? "/store/thumb.jpg_" + std::to_string(now_)
                                                      : std::string("/store/thumb.jpg");
  EXPECT_TRUE(DJpegCmd(Describe(GetParam().source), "/photos/a.jpg", "/store/thumb.jpg").exec());

  const std::vector<Call> runs = CallJournal::Get().Of({"VLIBCExecv"});
  ASSERT_EQ(runs.size(), GetParam().second_stage ? 2U : 1U);
  EXPECT_EQ(runs[0], (Call{"VLIBCExecv",
                           "/usr/bin/djpeg",
                           {"/usr/bin/djpeg", "-scale", "1/8", "-dct", "fast", "-fast", "-onepass",
                            "-bmp", "-outfile", decoded, "/photos/a.jpg"},
                           1}));
}

INSTANTIATE_TEST_SUITE_P(Of, DJpegCmdStage,
                         testing::ValuesIn<StageCase>({
                             {"Upright", {}, false},
                             {"FullCircle", {{4000, 3000}, {320, 240}, 1, 3}, false},
                             {"BackAgain", {{4000, 3000}, {320, 240}, 1, -1}, false},
                             {"FullCircleByCaller", {{4000, 3000}, {320, 240}, 0, 4}, false},
                             {"FullCircleBackByCaller", {{4000, 3000}, {320, 240}, 0, -4}, false},
                             {"TurnedByFile", {{4000, 3000}, {320, 240}, 1}, true},
                             {"TurnedByCaller", {{4000, 3000}, {320, 240}, 0, 2}, true},
                             {"TurnedByCallerBack", {{4000, 3000}, {320, 240}, 0, -1}, true},
                             {"Mirrored", {{4000, 3000}, {320, 240}, 0, 0, true}, true},
                             {"MirroredFullCircle", {{4000, 3000}, {320, 240}, 2, 2, true}, true},
                         }),
                         kit::CaseName());

class DJpegCmdTest : public CommandTest {
 protected:
  // Turned by the caller, so that there is a second stage.
  const Source turned_ = {{4000, 3000}, {320, 240}, 0, 1};
  const std::string source_ = dir_ / "a.jpg";
  const std::string destination_ = dir_ / "thumb.jpg";
  const std::string decoded_ = destination_ + "_" + std::to_string(now_);
};

TEST_F(DJpegCmdTest, HandsTheDecodedPictureToConvertWithTheWholeDescription) {
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  platform_.SetTool("/usr/bin/convert", kit::Writes("picture"));
  EXPECT_TRUE(
      DJpegCmd(Describe({{4000, 3000}, {300, 200}, 3, 1, true, true}), source_, destination_)
          .exec());
  EXPECT_THAT(
      ToolVectors().at(1),
      ElementsAre("/usr/bin/convert", "-strip", "-colorspace", "sRGB", decoded_ + "[0]", "-crop",
                  "300x200+1900+1350", "-rotate", "270", "-flop", "-rotate", "90", destination_));
  EXPECT_EQ(kit::ReadFile(destination_), "picture");
  EXPECT_FALSE(Exists(decoded_));
  EXPECT_THAT(Unlinked(), ElementsAre(decoded_));
}

TEST_F(DJpegCmdTest, LeavesTheDecodedPictureAsTheThumbnailWithoutSecondStage) {
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  EXPECT_TRUE(DJpegCmd(Describe({}), source_, destination_).exec());
  EXPECT_EQ(kit::ReadFile(destination_), "bmp");
  EXPECT_THAT(Unlinked(), IsEmpty());
}

TEST_F(DJpegCmdTest, LeavesWhatAFailedDecoderWroteInTheDestination) {
  platform_.SetTool("/usr/bin/djpeg", kit::FailsAfterWriting("par", 2));
  EXPECT_FALSE(DJpegCmd(Describe({}), source_, destination_).exec());
  EXPECT_EQ(kit::ReadFile(destination_), "par");
  EXPECT_THAT(Unlinked(), IsEmpty());
}

TEST_F(DJpegCmdTest, LeavesWhatAFailedDecoderWroteForTheSecondStageAndDoesNotRunThat) {
  platform_.SetTool("/usr/bin/djpeg", kit::FailsAfterWriting("par", 1));
  EXPECT_FALSE(DJpegCmd(Describe(turned_), source_, destination_).exec());
  EXPECT_EQ(kit::ReadFile(decoded_), "par");
  EXPECT_EQ(ToolVectors().size(), 1U);
  EXPECT_THAT(Unlinked(), IsEmpty());
}

TEST_F(DJpegCmdTest, LeavesNothingAfterAFailedSecondStage) {
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  platform_.SetTool("/usr/bin/convert", kit::FailsAfterWriting("par", 1));
  EXPECT_FALSE(DJpegCmd(Describe(turned_), source_, destination_).exec());
  EXPECT_THAT(Unlinked(), ElementsAre(destination_, decoded_));
  EXPECT_FALSE(Exists(destination_));
  EXPECT_FALSE(Exists(decoded_));
}

TEST_F(DJpegCmdTest, NamesTheIntermediateFileByTheTimeOfItsConstruction) {
  DJpegCmd command(Describe(turned_), source_, destination_);
  libc_.time = now_ + 60;
  command.exec();
  EXPECT_EQ(ToolVectors().at(0).at(9), decoded_);
}

struct DeleteCase {
  const char* name;
  uint64_t source_bytes;
  bool needed;
};

class DJpegCmdNeedDelete : public CommandTest, public testing::WithParamInterface<DeleteCase> {};

// At half size the picture takes 9000054 bytes; half a mebibyte more is 9524342.
TEST_P(DJpegCmdNeedDelete, ComparesTheDecodedBytesWithTheSource) {
  const std::string source = dir_ / "a.jpg";
  kit::WriteFile(source, "");
  std::filesystem::resize_file(source, GetParam().source_bytes);
  ThumbInfo info(source, "xlarge", {1280, 1280});
  info.SetWidth(4000);
  info.SetHeight(3000);
  EXPECT_EQ(DJpegCmd(info, source, dir_ / "thumb.jpg").IsNeedDelete(), GetParam().needed);
}

INSTANTIATE_TEST_SUITE_P(Of, DJpegCmdNeedDelete,
                         testing::ValuesIn<DeleteCase>({
                             {"AnEmptySource", 0, true},
                             {"OneByteLess", 9524341, true},
                             {"AsManyBytes", 9524342, false},
                             {"OneByteMore", 9524343, false},
                             {"FourGiBAndNoMore", uint64_t{1} << 32, true},
                             {"FourGiBAndAsManyBytes", (uint64_t{1} << 32) + 9524342, false},
                         }),
                         kit::CaseName());

TEST(DJpegCmdConstants, TooSmallIsThreeQuarters) { EXPECT_EQ(DJpegCmd::TOO_SMALL_RATIO, 0.75); }

}  // namespace
}  // namespace vexathumb
