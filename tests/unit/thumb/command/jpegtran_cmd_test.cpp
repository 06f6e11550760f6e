#include "kit/case_name.h"
#include "unit/thumb/command/command_test.h"
#include "vlibc/process.h"

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;
using testing::ElementsAre;
using testing::IsEmpty;

struct TurnCase {
  const char* name;
  int rotate;
  int user_rotate;
  bool no_intrinsic_rotate;
  const char* degrees;
};

class JpegTranCmdTurn : public CommandTest, public testing::WithParamInterface<TurnCase> {};

TEST_P(JpegTranCmdTurn, IsReducedToLessThanACircle) {
  const TurnCase& turn = GetParam();
  platform_.SetTool("/usr/bin/jpegtran", kit::WritesNothing());
  EXPECT_TRUE(JpegTranCmd(Describe({{400, 300}, {320, 240}, turn.rotate, turn.user_rotate}),
                          "/photos/a.jpg", "/store/turned.jpg", turn.no_intrinsic_rotate)
                  .exec());
  EXPECT_THAT(CallJournal::Get().All(),
              ElementsAre(Call{"VLIBCExecv",
                               "/usr/bin/jpegtran",
                               {"/usr/bin/jpegtran", "-trim", "-rotate", turn.degrees, "-outfile",
                                "/store/turned.jpg", "/photos/a.jpg"},
                               1}));
}

INSTANTIATE_TEST_SUITE_P(By, JpegTranCmdTurn,
                         testing::ValuesIn<TurnCase>({
                             {"Nothing", 0, 0, false, "0"},
                             {"FileOnce", 1, 0, false, "90"},
                             {"FileThreeTimes", 3, 0, false, "270"},
                             {"CallerOnce", 0, 1, false, "90"},
                             {"BothToACircle", 1, 3, false, "0"},
                             {"BothToMoreThanACircle", 3, 3, false, "180"},
                             {"CallerFiveTimes", 0, 5, false, "90"},
                             {"CallerBack", 0, -1, false, "-90"},
                             {"CallerBackFiveTimes", 0, -5, false, "-90"},
                             {"FileAndBackByCaller", 1, -1, false, "0"},
                             {"FileAndFurtherBackByCaller", 1, -3, false, "-180"},
                             {"CallerAloneOfNothing", 3, 0, true, "0"},
                             {"CallerAloneOnce", 3, 1, true, "90"},
                             {"CallerAloneBack", 3, -2, true, "-180"},
                             {"CallerAloneFiveTimes", 2, 5, true, "90"},
                         }),
                         kit::CaseName());

class JpegTranCmdTest : public CommandTest {
 protected:
  const std::string destination_ = dir_ / "turned.jpg";
};

TEST_F(JpegTranCmdTest, DoesNotMirror) {
  JpegTranCmd(Describe({{400, 300}, {320, 240}, 1, 0, true}), "/photos/a.jpg", "/store/turned.jpg",
              false)
      .exec();
  EXPECT_THAT(ToolVectors(),
              ElementsAre(ElementsAre("/usr/bin/jpegtran", "-trim", "-rotate", "90", "-outfile",
                                      "/store/turned.jpg", "/photos/a.jpg")));
}

TEST_F(JpegTranCmdTest, LeavesItsOutputOnSuccess) {
  platform_.SetTool("/usr/bin/jpegtran", kit::Writes("turned"));
  EXPECT_TRUE(JpegTranCmd(Describe({}), dir_ / "a.jpg", destination_, true).exec());
  EXPECT_EQ(kit::ReadFile(destination_), "turned");
}

TEST_F(JpegTranCmdTest, RemovesNothingOnFailure) {
  platform_.SetTool("/usr/bin/jpegtran", kit::FailsAfterWriting("par", 1));
  EXPECT_FALSE(JpegTranCmd(Describe({}), dir_ / "a.jpg", destination_, true).exec());
  EXPECT_EQ(kit::ReadFile(destination_), "par");
  EXPECT_THAT(Unlinked(), IsEmpty());
}

TEST_F(JpegTranCmdTest, StreamsWithoutADestination) {
  platform_.SetStreamTool("/usr/bin/jpegtran", kit::Streams("turned"));
  FILE* stream = nullptr;
  {
    JpegTranCmd command(Describe({{400, 300}, {320, 240}, 0, 1}), "/photos/a.jpg", "", true);
    stream = command.popen();
  }
  // The command is gone, the stream is the caller's.
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(platform_.OpenStreams(), 1);
  char content[16] = {};
  EXPECT_EQ(fread(content, 1, sizeof(content), stream), 6U);
  EXPECT_STREQ(content, "turned");
  VLIBCPclose(stream);
  EXPECT_EQ(CallJournal::Get().All().at(0),
            (Call{"VLIBCPopenv",
                  "/usr/bin/jpegtran",
                  {"/usr/bin/jpegtran", "-trim", "-rotate", "90", "/photos/a.jpg"},
                  'r'}));
}

TEST_F(JpegTranCmdTest, HasNoStreamOfAToolThatCannotBeStarted) {
  platform_.SetStreamTool("/usr/bin/jpegtran", kit::CannotStart());
  EXPECT_EQ(JpegTranCmd(Describe({}), "/photos/a.jpg", "", true).popen(), nullptr);
}

}  // namespace
}  // namespace vexathumb
