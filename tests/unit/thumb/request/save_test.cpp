#include <sys/stat.h>

#include "kit/case_name.h"
#include "unit/thumb/request/request_test.h"

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;
using testing::ElementsAre;
using testing::IsEmpty;

// How a generated thumbnail gets from its temporary name into the store.
class Saving : public RequestTest {
 protected:
  Saving() : source_(Jpeg()), thumb_(source_, 0) {
    SetModifiedAt(source_, now_ - 777);
    platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
    thumb_.CalcOutputFile("original");
    TakeSteps();
  }

  // The calls once the tool has run.
  std::vector<Call> Saved() const {
    return CallJournal::Get().Of({"access", "rename", "chmod", "utime", "VLIBCExecl", "unlink"});
  }

  const std::string source_;
  const std::string temporary_ = StorePath(source_, "VEXAFILETMP_THUMB.jpg");
  const std::string stored_ = StorePath(source_, "VEXAFILE_THUMB_S.jpg");
  Thumb thumb_;
};

TEST_F(Saving, RenamesOpensToAllAndGivesTheSourcesTime) {
  EXPECT_EQ(thumb_.Convert({"small"}), 1);
  EXPECT_THAT(Saved(), ElementsAre(Call{"access", temporary_, {}, 0},
                                   Call{"rename", temporary_, {stored_}, 0},
                                   Call{"chmod", stored_, {}, 0777},
                                   Call{"utime", stored_, {"0", std::to_string(now_ - 777)}, 0}));
  struct stat st = {};
  ASSERT_EQ(stat(stored_.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777U, 0777U);
  EXPECT_EQ(st.st_mtime, now_ - 777);
  EXPECT_EQ(st.st_atime, 0);
}

TEST_F(Saving, ReplacesAnOlderThumbnail) {
  Store(source_, "VEXAFILE_THUMB_S.jpg", -10);
  EXPECT_EQ(thumb_.Convert({"small"}), 1);
  EXPECT_EQ(kit::ReadFile(stored_), "bmp");
}

TEST_F(Saving, SucceedsWithoutATimeWhenTheSourceIsGone) {
  platform_.SetTool("/usr/bin/djpeg", [this](const Vector& argv) {
    std::filesystem::remove(source_);
    return kit::Writes("bmp")(argv);
  });
  EXPECT_EQ(thumb_.Convert({"small"}), 1);
  EXPECT_EQ(thumb_.GetOutputFile(), stored_);
  EXPECT_THAT(Saved(), ElementsAre(Call{"access", temporary_, {}, 0},
                                   Call{"rename", temporary_, {stored_}, 0},
                                   Call{"chmod", stored_, {}, 0777}));
}

TEST_F(Saving, SucceedsWhenModeAndTimeCannotBeSet) {
  libc_.Fail("chmod", EPERM);
  libc_.Fail("utime", EPERM);
  EXPECT_EQ(thumb_.Convert({"small"}), 1);
  EXPECT_EQ(thumb_.GetOutputFile(), stored_);
  EXPECT_THAT(TakeMessages(), IsEmpty());
}

// Whatever fails, the type says where the file should have come from and no file is named.
void ExpectUnsaved(Thumb& thumb) {
  EXPECT_EQ(thumb.Convert({"small"}), 0);
  EXPECT_EQ(thumb.GetOutputFile(), "");
  EXPECT_EQ(thumb.GetOutputType(), "Docdeck");
}

TEST_F(Saving, FailsSilentlyWhenTheToolWroteNothing) {
  platform_.SetTool("/usr/bin/djpeg", kit::WritesNothing());
  ExpectUnsaved(thumb_);
  EXPECT_THAT(Saved(), ElementsAre(Call{"access", temporary_, {}, 0}));
  EXPECT_THAT(TakeMessages(), IsEmpty());
}

struct RenameCase {
  const char* name;
  int error;
};

class SavingRenameFailure : public Saving, public testing::WithParamInterface<RenameCase> {};

TEST_P(SavingRenameFailure, IsLoggedAndLeavesTheTemporary) {
  libc_.Fail("rename", GetParam().error);
  ExpectUnsaved(thumb_);
  EXPECT_THAT(Saved(), ElementsAre(Call{"access", temporary_, {}, 0},
                                   Call{"rename", temporary_, {stored_}, 0}));
  EXPECT_TRUE(Exists(temporary_));
  const std::vector<kit::LogLine> log = kit::TakeLog();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_EQ(log[0].priority, 3);
  EXPECT_EQ(log[0].format, "%s:%d (%s) \"failed to move tmp to ea\"");
  EXPECT_EQ(log[0].text.rfind("libvexathumb.cpp:", 0), 0U);
  EXPECT_NE(log[0].text.find("(SaveTmpThumbToEA)"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Of, SavingRenameFailure,
                         testing::ValuesIn<RenameCase>({
                             {"NoPermission", EACCES},
                             {"NoSpace", ENOSPC},
                             {"ADirectoryInItsPlace", EISDIR},
                             {"AReadOnlyVolume", EROFS},
                         }),
                         kit::CaseName());

TEST_F(Saving, MovesToAnotherFileSystemByTool) {
  libc_.Fail("rename", EXDEV);
  platform_.SetTool("/bin/mv", kit::Writes("moved"));
  EXPECT_EQ(thumb_.Convert({"small"}), 1);
  EXPECT_THAT(
      Saved(),
      ElementsAre(Call{"access", temporary_, {}, 0}, Call{"rename", temporary_, {stored_}, 0},
                  Call{"VLIBCExecl", "/bin/mv", {"/bin/mv", temporary_, stored_}, 0}));
  EXPECT_EQ(kit::ReadFile(thumb_.GetOutputFile()), "moved");
  EXPECT_EQ(thumb_.GetOutputType(), "Docdeck");
  EXPECT_THAT(TakeMessages(), IsEmpty());
}

TEST_F(Saving, FailsSilentlyWhenTheToolCannotMove) {
  libc_.Fail("rename", EXDEV);
  platform_.SetTool("/bin/mv", kit::Fails(1));
  ExpectUnsaved(thumb_);
  EXPECT_THAT(TakeMessages(), IsEmpty());
}

TEST_F(Saving, ThatFailedLeavesNothingToServe) {
  libc_.Fail("rename", EACCES);
  EXPECT_FALSE(Thumb(source_, 0).Output("small"));
  EXPECT_THAT(CallJournal::Get().Of({"puts", "HttpOutputFile"}), IsEmpty());
}

}  // namespace
}  // namespace vexathumb
