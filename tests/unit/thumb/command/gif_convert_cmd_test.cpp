#include "kit/case_name.h"
#include "unit/thumb/command/command_test.h"

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;
using testing::ElementsAre;

class GIFConvertCmdTest : public CommandTest {
 protected:
  ~GIFConvertCmdTest() override { std::filesystem::remove(coalesced_); }

  const std::string source_ = dir_ / "a.gif";
  const std::string destination_ = dir_ / "thumb.gif";
  const std::string coalesced_ = "/var/tmp/convert_thumbnail__" + std::to_string(now_) + "a.gif";
};

struct VectorCase {
  const char* name;
  Source source;
  const char* geometry;
  const char* rotate;
  const char* user_rotate;
};

class GIFConvertCmdVector : public GIFConvertCmdTest,
                            public testing::WithParamInterface<VectorCase> {};

TEST_P(GIFConvertCmdVector, IsWhole) {
  platform_.SetTool("/usr/bin/convert", kit::WritesNothing());
  GIFConvertCmd command(Describe(GetParam().source), source_, destination_);
  const Call coalescing = {
      "VLIBCExecv", "/usr/bin/convert", {"/usr/bin/convert", source_, "-coalesce", coalesced_}, 1};
  EXPECT_THAT(CallJournal::Get().All(), ElementsAre(coalescing));

  EXPECT_TRUE(command.exec());
  EXPECT_THAT(CallJournal::Get().Of({"VLIBCExecv"}),
              ElementsAre(coalescing, Call{"VLIBCExecv",
                                           "/usr/bin/convert",
                                           {"/usr/bin/convert", "-strip", "-colorspace", "sRGB",
                                            "-thumbnail", GetParam().geometry, "-rotate",
                                            GetParam().rotate, "-layers", "optimize", coalesced_,
                                            "-rotate", GetParam().user_rotate, destination_},
                                           1}));
}

INSTANTIATE_TEST_SUITE_P(
    Of, GIFConvertCmdVector,
    testing::ValuesIn<VectorCase>({
        {"Upright", {}, "320x240", "0", "0"},
        {"TurnedByFile", {{4000, 3000}, {320, 240}, 3}, "240x320", "270", "0"},
        {"TurnedByCaller", {{4000, 3000}, {320, 240}, 0, 1}, "240x320", "0", "90"},
        {"TurnedByCallerFiveTimesBack", {{4000, 3000}, {320, 240}, 0, -5}, "240x320", "0", "-450"},
        {"SmallerThanTheBox", {{30, 20}, {320, 240}}, "30x20", "0", "0"},
        {"NeitherMirroredNorCropped",
         {{4000, 3000}, {300, 200}, 2, 0, true, true},
         "300x200",
         "180",
         "0"},
    }),
    kit::CaseName());

TEST_F(GIFConvertCmdTest, RemovesTheCoalescedCopyOnSuccess) {
  platform_.SetTool("/usr/bin/convert",
                    kit::InTurn({kit::Writes("full frames"), kit::Writes("animation")}));
  GIFConvertCmd command(Describe({}), source_, destination_);
  EXPECT_EQ(kit::ReadFile(coalesced_), "full frames");
  EXPECT_TRUE(command.exec());
  EXPECT_EQ(kit::ReadFile(destination_), "animation");
  EXPECT_FALSE(Exists(coalesced_));
  EXPECT_THAT(Unlinked(), ElementsAre(coalesced_));
}

TEST_F(GIFConvertCmdTest, LeavesTheCoalescedCopyWhenTheThumbnailFails) {
  platform_.SetTool("/usr/bin/convert",
                    kit::InTurn({kit::Writes("full frames"), kit::FailsAfterWriting("par", 1)}));
  EXPECT_FALSE(GIFConvertCmd(Describe({}), source_, destination_).exec());
  EXPECT_FALSE(Exists(destination_));
  EXPECT_EQ(kit::ReadFile(coalesced_), "full frames");
  EXPECT_THAT(Unlinked(), ElementsAre(destination_));
}

TEST_F(GIFConvertCmdTest, RunsNothingMoreWhenCoalescingFails) {
  platform_.SetTool("/usr/bin/convert", kit::FailsAfterWriting("par", 1));
  GIFConvertCmd command(Describe({}), source_, destination_);
  EXPECT_FALSE(Exists(coalesced_));
  EXPECT_FALSE(command.exec());
  EXPECT_EQ(ToolVectors().size(), 1U);
  EXPECT_THAT(Unlinked(), ElementsAre(coalesced_));
}

TEST_F(GIFConvertCmdTest, BuildsItsVectorAnewForASecondRun) {
  platform_.SetTool("/usr/bin/convert", kit::WritesNothing());
  GIFConvertCmd command(Describe({}), source_, destination_);
  EXPECT_TRUE(command.exec());
  EXPECT_TRUE(command.exec());
  const std::vector<Vector> vectors = ToolVectors();
  ASSERT_EQ(vectors.size(), 3U);
  EXPECT_EQ(vectors[1], vectors[2]);
}

TEST_F(GIFConvertCmdTest, BuiltAndDroppedLeavesTheCoalescedCopy) {
  platform_.SetTool("/usr/bin/convert", kit::Writes("full frames"));
  { const GIFConvertCmd command(Describe({}), source_, destination_); }
  EXPECT_TRUE(Exists(coalesced_));
}

}  // namespace
}  // namespace vexathumb
