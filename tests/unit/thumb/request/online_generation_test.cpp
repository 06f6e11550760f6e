#include <set>
#include <stdexcept>

#include "kit/case_name.h"
#include "unit/thumb/request/request_test.h"

namespace vexathumb {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Which commands run for a kind of source, and in which order, by the tools that fail.
struct CommandCase {
  const char* name;
  std::string (RequestTest::*make)() const;
  std::set<std::string> failing;
  std::vector<std::string> tools;
  int options;
  bool result;
};

class OnlineCommands : public RequestTest, public testing::WithParamInterface<CommandCase> {
 protected:
  void SetTools(const std::set<std::string>& failing) {
    kit::WriteJpeg(dir_ / "preview.jpg");
    const std::string picture = kit::ReadFile(dir_ / "preview.jpg");
    for (const char* const tool : {"djpeg", "convert"}) {
      platform_.SetTool(std::string("/usr/bin/") + tool,
                        failing.count(tool) != 0 ? kit::Fails(1) : kit::Writes(picture));
    }
    platform_.SetStreamTool("/usr/bin/dcraw",
                            kit::Streams(failing.count("dcraw") != 0 ? "" : picture));
  }
};

TEST_P(OnlineCommands, AreTriedInTurn) {
  const CommandCase& test = GetParam();
  const std::string source = (this->*test.make)();
  Thumb thumb(source, test.options);
  thumb.CalcOutputFile("original");
  SetTools(test.failing);
  TakeSteps();

  EXPECT_EQ(thumb.Convert({"small"}), test.result ? 1 : 0);
  EXPECT_EQ(TakeTools(), test.tools);
  EXPECT_EQ(thumb.GetOutputFile().empty(), !test.result);
  EXPECT_EQ(platform_.OpenStreams(), 0);
}

const CommandCase kCommandCases[] = {
    {"Png", &RequestTest::Png, {}, {"convert"}, 0, true},
    {"PngFails", &RequestTest::Png, {"convert"}, {"convert"}, 0, false},
    {"Bmp", &RequestTest::Bmp, {}, {"convert"}, 0, true},
    {"Gif", &RequestTest::Gif, {}, {"convert"}, 0, true},
    {"AnimatedGif", &RequestTest::Gif, {}, {"convert", "convert"}, Thumb::ANIMATE_GIF, true},
    // Coalescing fails, then the still conversion.
    {"AnimatedGifFails",
     &RequestTest::Gif,
     {"convert"},
     {"convert", "convert"},
     Thumb::ANIMATE_GIF,
     false},
    {"CroppedGifIsNotAnimated",
     &RequestTest::Gif,
     {},
     {"convert"},
     Thumb::ANIMATE_GIF | Thumb::AVATAR,
     true},
    {"Tiff", &RequestTest::Tiff, {"dcraw"}, {"dcraw", "convert"}, 0, true},
    {"TiffFails", &RequestTest::Tiff, {"dcraw", "convert"}, {"dcraw", "convert"}, 0, false},
    {"TiffWithAPreview", &RequestTest::Tiff, {}, {"dcraw", "djpeg"}, 0, true},
    {"TextWithoutAPreview", &RequestTest::Text, {"dcraw"}, {"dcraw"}, 0, false},
    // Unread, so that the preview is not scaled.
    {"TextWithAPreview", &RequestTest::Text, {}, {"dcraw"}, 0, true},
    {"VideoWithoutAPreview", &RequestTest::Video, {"dcraw"}, {"dcraw"}, 0, false},
};

INSTANTIATE_TEST_SUITE_P(Of, OnlineCommands, testing::ValuesIn(kCommandCases), kit::CaseName());

class OnlineGeneration : public RequestTest {
 protected:
  // A request for "small" of the source, inspected, with the steps so far forgotten.
  void Inspect(Thumb& thumb) const {
    thumb.CalcOutputFile("original");
    TakeSteps();
  }
};

TEST_F(OnlineGeneration, DecodesAJpegIntoTheStore) {
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  const std::string source = Jpeg();
  Thumb thumb(source, 0);
  Inspect(thumb);
  EXPECT_EQ(thumb.Convert({"small"}), 1);
  EXPECT_THAT(TakeSteps(),
              ElementsAre("volume", "name VEXAFILETMP_THUMB.jpg", "store", "make store",
                          "run djpeg", "name VEXAFILE_THUMB_S.jpg", "access VEXAFILETMP_THUMB.jpg",
                          "rename VEXAFILETMP_THUMB.jpg -> VEXAFILE_THUMB_S.jpg",
                          "chmod VEXAFILE_THUMB_S.jpg", "utime VEXAFILE_THUMB_S.jpg"));
  EXPECT_EQ(thumb.GetOutputFile(), StorePath(source, "VEXAFILE_THUMB_S.jpg"));
  EXPECT_EQ(thumb.GetOutputType(), "Docdeck");
  EXPECT_EQ(kit::ReadFile(thumb.GetOutputFile()), "bmp");
}

TEST_F(OnlineGeneration, ConvertsAJpegThatCannotBeDecoded) {
  platform_.SetTool("/usr/bin/djpeg", kit::FailsAfterWriting("par", 2));
  platform_.SetTool("/usr/bin/convert", kit::Writes("picture"));
  Thumb thumb(Jpeg(), 0);
  Inspect(thumb);
  EXPECT_EQ(thumb.Convert({"small"}), 1);
  EXPECT_THAT(TakeTools(), ElementsAre("djpeg", "convert"));
  EXPECT_EQ(kit::ReadFile(thumb.GetOutputFile()), "picture");
  EXPECT_FALSE(thumb.IsNeedDelete());
}

TEST_F(OnlineGeneration, ConvertsAnAnimationThatCannotBeScaledAsAStill) {
  platform_.SetTool("/usr/bin/convert",
                    kit::InTurn({kit::Writes("full frames"), kit::Fails(1), kit::Writes("still")}));
  const std::string source = Gif();
  Thumb thumb(source, Thumb::ANIMATE_GIF);
  Inspect(thumb);
  EXPECT_EQ(thumb.Rotate(1).Convert({"small"}), 1);
  const std::string coalesced = "/var/tmp/convert_thumbnail__" + std::to_string(now_) + "photo.gif";
  EXPECT_THAT(
      TakeSteps(),
      ElementsAre("volume", "name VEXAFILETMP_THUMB_r1.gif", "store", "make store", "run convert",
                  "run convert", "unlink VEXAFILETMP_THUMB_r1.gif", "run convert",
                  "name VEXAFILE_THUMB_S_r1.gif", "access VEXAFILETMP_THUMB_r1.gif",
                  "rename VEXAFILETMP_THUMB_r1.gif -> VEXAFILE_THUMB_S_r1.gif",
                  "chmod VEXAFILE_THUMB_S_r1.gif", "utime VEXAFILE_THUMB_S_r1.gif"));
  EXPECT_EQ(kit::ReadFile(coalesced), "full frames");
  std::filesystem::remove(coalesced);
}

TEST_F(OnlineGeneration, AsksForTheVolumeOfTheSourcesFolder) {
  Thumb thumb(Jpeg(), 0);
  Inspect(thumb);
  thumb.Convert({"small"});
  EXPECT_EQ(kit::CallJournal::Get().Of({"VEXAGetFSType"}),
            (std::vector<kit::Call>{{"VEXAGetFSType", dir_.path(), {}, 0}}));
}

TEST_F(OnlineGeneration, SavesAnAvatarUnderTheAvatarsName) {
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  const std::string source = Jpeg();
  Thumb thumb(source, Thumb::AVATAR);
  Inspect(thumb);
  EXPECT_EQ(thumb.Convert({ThumbDimension(96, 96)}), 1);
  EXPECT_EQ(thumb.GetOutputFile(), StorePath(source, "VEXAAVATAR_96x96.jpg"));
  EXPECT_EQ(thumb.GetOutputType(), "Docdeck");
}

TEST_F(OnlineGeneration, NamesTurnsInTemporaryAndStoredFile) {
  platform_.SetTool("/usr/bin/convert", kit::Writes("picture"));
  const std::string source = Png();
  Thumb thumb(source, 0);
  Inspect(thumb);
  EXPECT_EQ(thumb.Rotate(-1).Convert({"medium"}), 1);
  EXPECT_THAT(TakeSteps(),
              testing::Contains("rename VEXAFILETMP_THUMB_r-1.png -> VEXAFILE_THUMB_M_r-1.png"));
}

TEST_F(OnlineGeneration, OfASourceThatNeedsNoConversionDoesNothing) {
  const std::string source = Jpeg();
  Thumb thumb(source, 0);
  Inspect(thumb);
  EXPECT_EQ(thumb.Convert({"big"}), 0);
  EXPECT_FALSE(thumb.SetOutOnline());
  EXPECT_EQ(thumb.GetOutputType(), "Original");
  EXPECT_THAT(TakeSteps(), IsEmpty());
}

// Where a thumbnail goes, by the type of the volume.
struct VolumeCase {
  const char* name;
  FSTYPE type;
  bool stored;
};

class OnlineVolume : public OnlineGeneration, public testing::WithParamInterface<VolumeCase> {};

TEST_P(OnlineVolume, DecidesWhereTheThumbnailStays) {
  platform_.volume_type = GetParam().type;
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  const std::string source = Jpeg();
  Thumb thumb(source, 0);
  Inspect(thumb);
  EXPECT_EQ(thumb.Convert({"small"}), 1);
  const std::string temporary = "/var/tmp/vexathumb_VEXAFILETMP_THUMB.jpg_" +
                                std::to_string(getpid()) + "_" + std::to_string(now_);
  EXPECT_EQ(thumb.GetOutputFile(),
            GetParam().stored ? StorePath(source, "VEXAFILE_THUMB_S.jpg") : temporary);
  EXPECT_EQ(thumb.GetOutputType(), GetParam().stored ? "Docdeck" : "DocdeckVarTmp");
  EXPECT_TRUE(thumb.IsNeedDelete());
  EXPECT_EQ(kit::ReadFile(thumb.GetOutputFile()), "bmp");
  if (!GetParam().stored) {
    EXPECT_THAT(TakeSteps(), ElementsAre("volume", "run djpeg"));
    EXPECT_FALSE(Exists(dir_ / ".vexaea"));
    std::filesystem::remove(temporary);
  }
}

INSTANTIATE_TEST_SUITE_P(Of, OnlineVolume,
                         testing::ValuesIn<VolumeCase>({
                             {"Ext4", FSTYPE_EXT4, true},
                             {"Unknown", FSTYPE_UNKOWN, true},
                             {"Unreadable", FSTYPE_ERR, true},
                             {"Cifs", FSTYPE_CIFS, false},
                             {"Nfs", FSTYPE_NFS, false},
                             {"Iso", FSTYPE_ISO, false},
                             {"Gvfs", FSTYPE_GVFS, false},
                         }),
                         kit::CaseName());

TEST_F(OnlineGeneration, LogsAVolumeThatCannotBeReadAndGoesOn) {
  platform_.volume_type = FSTYPE_ERR;
  platform_.volume_errno = EACCES;
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  Thumb thumb(Jpeg(), 0);
  Inspect(thumb);
  EXPECT_EQ(thumb.Convert({"small"}), 1);
  EXPECT_EQ(TakeMessages(), (Vector{"IsDestSupportEAWrite: failed to statfs " + dir_.path() +
                                    ", reason=[(13)Permission denied]"}));
}

TEST_F(OnlineGeneration, WithoutAStoreDirectoryRunsNothingAndLeavesTheOutput) {
  platform_.make_directory_result = -1;
  Thumb thumb(Jpeg(), 0);
  const std::string before = thumb.CalcOutputFile("original");
  TakeSteps();
  EXPECT_EQ(thumb.Convert({"small"}), 0);
  EXPECT_THAT(TakeSteps(),
              ElementsAre("volume", "name VEXAFILETMP_THUMB.jpg", "store", "make store"));
  EXPECT_EQ(thumb.GetOutputFile(), before);
}

TEST_F(OnlineGeneration, WithoutAStorePathRunsNothing) {
  platform_.store_directory = [](const std::string&) { return ""; };
  Thumb thumb(Jpeg(), 0);
  Inspect(thumb);
  EXPECT_EQ(thumb.Convert({"small"}), 0);
  EXPECT_THAT(TakeSteps(), ElementsAre("volume", "name VEXAFILETMP_THUMB.jpg", "store"));
}

TEST_F(OnlineGeneration, ThatFailsEmptiesTheOutputAndLeavesWhatTheDecoderWrote) {
  platform_.SetTool("/usr/bin/djpeg", kit::FailsAfterWriting("par", 1));
  libc_.Fail("unlink", EACCES);
  const std::string source = Jpeg();
  Thumb thumb(source, 0);
  Inspect(thumb);
  EXPECT_NE(thumb.GetOutputFile(), "");
  EXPECT_EQ(thumb.Convert({"small"}), 0);
  EXPECT_EQ(thumb.GetOutputFile(), "");
  EXPECT_TRUE(Exists(StorePath(source, "VEXAFILETMP_THUMB.jpg")));
  EXPECT_THAT(TakeMessages(), IsEmpty());
}

// Whether the output is one to delete is a matter of the last decoding that worked.
TEST_F(OnlineGeneration, KeepsTheAnswerWhetherToDeleteUntilTheNextDecoding) {
  const std::string source = Jpeg();
  Thumb thumb(source, 0);
  Inspect(thumb);
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  thumb.Convert({"small"});
  EXPECT_TRUE(thumb.IsNeedDelete());
  platform_.SetTool("/usr/bin/djpeg", kit::Fails(1));
  platform_.SetTool("/usr/bin/convert", kit::Writes("picture"));
  thumb.Convert({"small"});
  EXPECT_TRUE(thumb.IsNeedDelete());
}

TEST_F(OnlineGeneration, NeedsNoDeletingOfAPictureSmallAgainstItsSource) {
  const std::string source = Jpeg();
  // Trailing bytes do not disturb a JPEG.
  kit::WriteFile(source, kit::ReadFile(source) + std::string(1 << 20, '\0'));
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  Thumb thumb(source, 0);
  Inspect(thumb);
  EXPECT_EQ(thumb.Convert({"small"}), 1);
  EXPECT_FALSE(thumb.IsNeedDelete());
}

TEST_F(OnlineGeneration, PassesExceptionsOfACommandOn) {
  kit::JpegOptions broken;
  broken.exif = {{"Exif.Image.Orientation", "north", Exiv2::asciiString}};
  platform_.SetStreamTool("/usr/bin/dcraw", kit::Streams(kit::ReadFile(Jpeg(broken))));
  Thumb thumb(Text(), 0);
  EXPECT_THROW(thumb.CalcOutputFile("small"), std::invalid_argument);
}

}  // namespace
}  // namespace vexathumb
