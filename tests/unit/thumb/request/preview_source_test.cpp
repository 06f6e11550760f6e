#include <sys/stat.h>

#include "kit/case_name.h"
#include "unit/thumb/request/request_test.h"

namespace vexathumb {
namespace {

using kit::CallJournal;
using testing::ElementsAre;
using testing::IsEmpty;

// An embedded preview as the thumbnail. "small" takes those of 160 x 120 pixels.
class PreviewSource : public RequestTest {
 protected:
  std::string JpegWithPreview(int orientation = 0) const {
    kit::JpegOptions picture;
    picture.orientation = orientation;
    picture.exif_thumbnail = kit::Size{160, 120};
    return Jpeg(picture);
  }
};

TEST_F(PreviewSource, IsMovedIntoTheStoreAsItIs) {
  const std::string source = JpegWithPreview();
  SetModifiedAt(source, now_ - 5000);
  Thumb thumb(source, Thumb::EA_ONLY);
  const std::string stored = StorePath(source, "VEXAFILE_THUMB_S.jpg");
  EXPECT_EQ(thumb.CalcOutputFile("small"), stored);
  EXPECT_EQ(thumb.GetOutputType(), "Docdeck");
  EXPECT_FALSE(thumb.IsNeedDelete());
  EXPECT_THAT(
      TakeSteps(),
      ElementsAre("name VEXAFILE_THUMB_S.jpg", "store", "make store", "name VEXAFILE_THUMB_S.jpg",
                  "access preview", "rename preview -> VEXAFILE_THUMB_S.jpg",
                  "chmod VEXAFILE_THUMB_S.jpg", "utime VEXAFILE_THUMB_S.jpg", "unlink preview"));
  EXPECT_TRUE(Exists(stored));
  EXPECT_EQ(ModifiedAt(stored), now_ - 5000);
  EXPECT_EQ(PreviewsInTmp(), 0);
}

TEST_F(PreviewSource, IsServedFromTheStoreTheNextTime) {
  const std::string source = JpegWithPreview();
  { EXPECT_NE(Thumb(source, Thumb::DOCDECK_EA).CalcOutputFile("small"), ""); }
  TakeSteps();
  Thumb thumb(source, Thumb::DOCDECK_EA);
  EXPECT_EQ(thumb.CalcOutputFile("small"), StorePath(source, "VEXAFILE_THUMB_S.jpg"));
  EXPECT_THAT(TakeSteps(), ElementsAre("name VEXAFILE_THUMB_S.jpg", "stat VEXAFILE_THUMB_S.jpg"));
}

// Whether the preview is moved or converted, by the turns.
struct TurnCase {
  const char* name;
  int orientation;
  int user_rotate;
  const char* stored;
  std::vector<std::string> tools;
};

class PreviewTurn : public PreviewSource, public testing::WithParamInterface<TurnCase> {};

TEST_P(PreviewTurn, DecidesWhetherThePreviewIsConverted) {
  platform_.SetTool("/usr/bin/convert", kit::Writes("turned"));
  const std::string source = JpegWithPreview(GetParam().orientation);
  Thumb thumb(source, 0);
  EXPECT_EQ(thumb.Rotate(GetParam().user_rotate).CalcOutputFile("small"),
            StorePath(source, GetParam().stored));
  EXPECT_EQ(thumb.GetOutputType(), "Docdeck");
  EXPECT_EQ(TakeTools(), GetParam().tools);
  EXPECT_EQ(PreviewsInTmp(), 0);
}

INSTANTIATE_TEST_SUITE_P(Of, PreviewTurn,
                         testing::ValuesIn<TurnCase>({
                             {"Upright", 1, 0, "VEXAFILE_THUMB_S.jpg", {}},
                             // A mirror alone does not count.
                             {"Mirrored", 2, 0, "VEXAFILE_THUMB_S.jpg", {}},
                             {"TurnedByFile", 6, 0, "VEXAFILE_THUMB_S_r1.jpg", {"convert"}},
                             {"TurnedByCaller", 1, 1, "VEXAFILE_THUMB_S_r1.jpg", {"convert"}},
                             {"TurnedByCallerTwice", 1, 2, "VEXAFILE_THUMB_S_r2.jpg", {"convert"}},
                             {"TurnedByCallerBack", 1, -1, "VEXAFILE_THUMB_S_r-1.jpg", {"convert"}},
                             {"TurnedByFileAndBackByCaller", 6, -1, "VEXAFILE_THUMB_S.jpg", {}},
                             {"TurnedByBothToACircle", 6, 3, "VEXAFILE_THUMB_S.jpg", {}},
                             {"TurnedByCallerFullCircleBack", 1, -4, "VEXAFILE_THUMB_S.jpg", {}},
                         }),
                         kit::CaseName());

TEST_F(PreviewSource, IsConvertedWithTheWholeDescriptionStraightIntoTheStore) {
  platform_.SetTool("/usr/bin/convert", kit::Writes("turned"));
  const std::string source = JpegWithPreview(7);
  Thumb thumb(source, 0);
  const std::string stored = StorePath(source, "VEXAFILE_THUMB_S_r3.jpg");
  EXPECT_EQ(thumb.CalcOutputFile("small"), stored);
  const std::vector<Vector> vectors = CallJournal::Get().ToolVectors();
  ASSERT_EQ(vectors.size(), 1U);
  const std::string preview = vectors[0][4];
  EXPECT_EQ(preview.rfind("/tmp/thumb." + std::to_string(getpid()) + "." + std::to_string(now_), 0),
            0U);
  EXPECT_THAT(vectors[0], ElementsAre("/usr/bin/convert", "-strip", "-colorspace", "sRGB", preview,
                                      "-thumbnail", "120x120", "-rotate", "270", "-flop", "-rotate",
                                      "0", stored));
  EXPECT_THAT(TakeSteps(), ElementsAre("name VEXAFILE_THUMB_S_r3.jpg", "store", "make store",
                                       "run convert", "unlink preview"));
}

TEST_F(PreviewSource, OfATypeThatIsNoJpegIsConverted) {
  platform_.SetTool("/usr/bin/convert", kit::Writes("converted"));
  const std::string source = dir_ / "photo.dng";
  kit::DngOptions raw;
  raw.preview_size = {400, 300};
  kit::WriteDng(source, raw);
  Thumb thumb(source, Thumb::EA_ONLY);
  EXPECT_EQ(thumb.CalcOutputFile("medium"), StorePath(source, "VEXAFILE_THUMB_M.jpg"));
  EXPECT_THAT(TakeTools(), ElementsAre("convert"));
}

TEST_F(PreviewSource, ThatCannotBeConvertedIsRemovedAndThePictureItselfUsed) {
  platform_.SetTool("/usr/bin/convert", kit::Fails(1));
  const std::string source = JpegWithPreview(6);
  Thumb thumb(source, 0);
  EXPECT_EQ(thumb.CalcOutputFile("small"), "");
  EXPECT_THAT(TakeSteps(),
              ElementsAre("name VEXAFILE_THUMB_S_r1.jpg", "store", "make store", "run convert",
                          "unlink VEXAFILE_THUMB_S_r1.jpg", "unlink preview", "volume",
                          "name VEXAFILETMP_THUMB_r1.jpg", "store", "run djpeg", "run convert",
                          "unlink VEXAFILETMP_THUMB_r1.jpg"));
  EXPECT_EQ(PreviewsInTmp(), 0);
  const std::vector<kit::LogLine> log = kit::TakeLog();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_EQ(log[0].format,
            "%s:%d (%s) \"failed to rotate or convert tmp file to web accepatable img %s -> %s\"");
  EXPECT_EQ(log[0].text.rfind("libvexathumb.cpp:", 0), 0U);
  EXPECT_NE(log[0].text.find("(SetOutFromEXIFPreview)"), std::string::npos);
  EXPECT_NE(log[0].text.find("/tmp/thumb."), std::string::npos);
  EXPECT_NE(log[0].text.find("-> " + StorePath(source, "VEXAFILE_THUMB_S_r1.jpg") + "\""),
            std::string::npos);
}

TEST_F(PreviewSource, ThatCannotBeMovedStaysUntilTheRequestIsDropped) {
  libc_.Fail("rename", EACCES);
  {
    Thumb thumb(JpegWithPreview(), Thumb::EA_ONLY);
    EXPECT_FALSE(thumb.Output("small"));
    EXPECT_EQ(thumb.GetOutputType(), "");
    EXPECT_EQ(PreviewsInTmp(), 1);
  }
  EXPECT_EQ(PreviewsInTmp(), 0);
  EXPECT_EQ(TakeMessages(), (Vector{"SaveTmpThumbToEA: failed to move tmp to ea",
                                    "SetOutFromEXIFPreview: failed to save to EA"}));
}

TEST_F(PreviewSource, WithoutAStoreDirectoryIsRemoved) {
  platform_.make_directory_result = -1;
  Thumb thumb(JpegWithPreview(), Thumb::EA_ONLY);
  EXPECT_EQ(thumb.CalcOutputFile("small"), "");
  EXPECT_THAT(TakeSteps(),
              ElementsAre("name VEXAFILE_THUMB_S.jpg", "store", "make store", "unlink preview"));
  EXPECT_THAT(TakeMessages(), IsEmpty());
}

TEST_F(PreviewSource, ThatDoesNotSuitTheBoxIsNotUsed) {
  Thumb thumb(JpegWithPreview(), Thumb::EA_ONLY);
  EXPECT_EQ(thumb.CalcOutputFile("medium"), "");
  EXPECT_THAT(TakeSteps(), ElementsAre("name VEXAFILE_THUMB_M.jpg"));
}

TEST_F(PreviewSource, OfAnAvatarIsMovedToTheAvatarsNameAndAnsweredUnderTheFileManagers) {
  const std::string source = JpegWithPreview();
  Thumb thumb(source, Thumb::AVATAR | Thumb::EA_ONLY);
  EXPECT_EQ(thumb.CalcOutputFile("small"), StorePath(source, "VEXAFILE_THUMB_S.jpg"));
  EXPECT_TRUE(Exists(StorePath(source, "VEXAAVATAR_120x120.jpg")));
  EXPECT_FALSE(Exists(StorePath(source, "VEXAFILE_THUMB_S.jpg")));
}

TEST_F(PreviewSource, OfAnEarlierInspectionIsLostByTheNext) {
  const std::string source = JpegWithPreview();
  Store(source, "VEXAFILE_THUMB_S.jpg");
  libc_.random = 7;
  Thumb thumb(source, Thumb::DOCDECK_EA | Thumb::EA_ONLY);
  thumb.CalcOutputFile("small");
  EXPECT_EQ(PreviewsInTmp(), 1);
  // No preview suits "big", so the object names none any more.
  thumb.CalcOutputFile("big");
  EXPECT_EQ(PreviewsInTmp(), 1);
  const std::string preview =
      "/tmp/thumb." + std::to_string(getpid()) + "." + std::to_string(now_) + ".7.jpg";
  EXPECT_TRUE(Exists(preview));
  std::filesystem::remove(preview);
}

}  // namespace
}  // namespace vexathumb
