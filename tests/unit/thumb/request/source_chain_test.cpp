#include <stdexcept>

#include "kit/case_name.h"
#include "unit/thumb/request/request_test.h"

namespace vexathumb {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

enum class Kind { kJpeg, kText, kVideo };

struct Stored {
  const char* name;
  int seconds = 0;  // newer than the source
};

// Which of the stored files serves. Nothing is generated.
struct StoreCase {
  const char* name;
  Kind kind;
  int options;
  std::vector<Stored> stored;
  const char* output;
  const char* type;
  int share_status = SHARE_STATUS_INDEXED;
};

class StoreLookup : public RequestTest, public testing::WithParamInterface<StoreCase> {
 protected:
  std::string Make(Kind kind) const {
    if (kind == Kind::kJpeg) return Jpeg();
    return kind == Kind::kText ? Text() : Video();
  }
};

TEST_P(StoreLookup, ServesTheFirstUsableFile) {
  const StoreCase& test = GetParam();
  SetShareStatus(test.share_status);
  const std::string source = Make(test.kind);
  for (const Stored& file : test.stored) Store(source, file.name, file.seconds);
  Thumb thumb(source, test.options | Thumb::EA_ONLY);

  const std::string output = test.output[0] == '\0' ? "" : StorePath(source, test.output);
  EXPECT_EQ(thumb.CalcOutputFile("small"), output);
  EXPECT_EQ(thumb.GetOutputFile(), output);
  EXPECT_EQ(thumb.GetOutputType(), test.type);
  EXPECT_FALSE(thumb.IsNeedDelete());
  EXPECT_THAT(TakeTools(), IsEmpty());
  EXPECT_EQ(platform_.OpenShares(), 0);
  EXPECT_THAT(TakeMessages(), IsEmpty());
}

constexpr int kAll = Thumb::ALL_EA;
constexpr int kUnchecked = Thumb::ALL_EA | Thumb::NOT_CHECK_INDEX;
constexpr char kPixdeck[] = "VEXAPHOTO_THUMB_S.jpg";
constexpr char kPixdeckOld[] = "VEXAPHOTO:THUMB_S.jpg";
constexpr char kDocdeck[] = "VEXAFILE_THUMB_S.jpg";
constexpr char kReeldeck[] = "VEXAVIDEO_VIDEO_SCREENSHOT.jpg";
constexpr char kAvatar[] = "VEXAAVATAR_120x120.jpg";

const StoreCase kStoreCases[] = {
    {"Pixdeck", Kind::kJpeg, kAll, {{kPixdeck}}, kPixdeck, "Pixdeck"},
    {"PixdeckHoweverOld", Kind::kJpeg, kAll, {{kPixdeck, -1000}}, kPixdeck, "Pixdeck"},
    {"PixdeckUnderItsFormerName", Kind::kJpeg, kAll, {{kPixdeckOld, 5}}, kPixdeckOld, "Pixdeck"},
    {"PixdeckBeforeItsFormerName",
     Kind::kJpeg,
     kAll,
     {{kPixdeckOld}, {kPixdeck}},
     kPixdeck,
     "Pixdeck"},
    {"PixdeckBeforeDocdeck",
     Kind::kJpeg,
     kAll,
     {{kPixdeckOld}, {kDocdeck}},
     kPixdeckOld,
     "Pixdeck"},
    {"PixdeckNotAsked", Kind::kJpeg, Thumb::DOCDECK_EA, {{kPixdeck}, {kPixdeckOld}}, "", ""},
    {"PixdeckOfAShareNotIndexed",
     Kind::kJpeg,
     kAll,
     {{kPixdeck}, {kPixdeckOld}},
     "",
     "",
     SHARE_STATUS_READONLY},
    {"PixdeckOfAShareNotIndexedUnchecked",
     Kind::kJpeg,
     kUnchecked,
     {{kPixdeck}},
     kPixdeck,
     "Pixdeck",
     SHARE_STATUS_NORMAL},
    {"PixdeckOfAShareIndexedAndMore",
     Kind::kJpeg,
     kAll,
     {{kPixdeck}},
     kPixdeck,
     "Pixdeck",
     SHARE_STATUS_INDEXED | SHARE_STATUS_READONLY},
    {"PixdeckOfVideo", Kind::kVideo, kAll, {{kPixdeck}, {kReeldeck}}, kPixdeck, "Pixdeck"},
    {"Docdeck", Kind::kJpeg, kAll, {{kDocdeck}}, kDocdeck, "Docdeck"},
    {"DocdeckOfAShareNotIndexed",
     Kind::kJpeg,
     kAll,
     {{kPixdeck}, {kDocdeck}},
     kDocdeck,
     "Docdeck",
     SHARE_STATUS_NORMAL},
    {"DocdeckOlderByASecond", Kind::kJpeg, kAll, {{kDocdeck, -1}}, "", ""},
    {"DocdeckNewerByASecond", Kind::kJpeg, kAll, {{kDocdeck, 1}}, "", ""},
    {"DocdeckNotAsked", Kind::kJpeg, Thumb::PIXDECK_EA, {{kDocdeck}}, "", ""},
    {"DocdeckOfASourceWithoutMetadata", Kind::kText, kAll, {{kDocdeck}}, "", ""},
    {"DocdeckOfVideo", Kind::kVideo, kAll, {{kDocdeck}}, "", ""},
    {"Reeldeck", Kind::kVideo, kAll, {{kReeldeck, -1000}}, kReeldeck, "Reeldeck"},
    {"ReeldeckWithoutAnOption", Kind::kVideo, 0, {{kReeldeck}}, kReeldeck, "Reeldeck"},
    {"ReeldeckOfAShareNotIndexed", Kind::kVideo, kAll, {{kReeldeck}}, "", "", SHARE_STATUS_NORMAL},
    {"ReeldeckOfAShareNotIndexedUnchecked",
     Kind::kVideo,
     Thumb::NOT_CHECK_INDEX,
     {{kReeldeck}},
     kReeldeck,
     "Reeldeck",
     SHARE_STATUS_NORMAL},
    {"ReeldeckOfAnImage", Kind::kJpeg, kAll, {{kReeldeck}}, "", ""},
    {"ReeldeckBeforeAvatar",
     Kind::kVideo,
     Thumb::AVATAR,
     {{kReeldeck}, {kAvatar}},
     kReeldeck,
     "Reeldeck"},
    {"Avatar", Kind::kJpeg, Thumb::AVATAR, {{kAvatar}}, kAvatar, "Docdeck"},
    {"AvatarOfAShareNotIndexed",
     Kind::kJpeg,
     Thumb::AVATAR,
     {{kAvatar}},
     kAvatar,
     "Docdeck",
     SHARE_STATUS_NORMAL},
    {"AvatarOfASourceWithoutMetadata", Kind::kText, Thumb::AVATAR, {{kAvatar}}, kAvatar, "Docdeck"},
    {"AvatarOfVideo", Kind::kVideo, Thumb::AVATAR, {{kAvatar}}, kAvatar, "Docdeck"},
    {"AvatarOlderByASecond", Kind::kJpeg, Thumb::AVATAR, {{kAvatar, -1}}, "", ""},
    {"AvatarNotAsked", Kind::kJpeg, kAll, {{kAvatar}}, "", ""},
    {"AvatarIsNotTheApplications",
     Kind::kJpeg,
     Thumb::AVATAR | kAll,
     {{kPixdeck}, {kDocdeck}},
     "",
     ""},
    {"NothingOfVideo", Kind::kVideo, kUnchecked, {}, "", ""},
};

INSTANTIATE_TEST_SUITE_P(Of, StoreLookup, testing::ValuesIn(kStoreCases), kit::CaseName());

class SourceChain : public RequestTest {};

TEST_F(SourceChain, AsksForTheShareBeforeAnyPathIsFormed) {
  SetShareStatus(SHARE_STATUS_NORMAL);
  Thumb thumb(Jpeg(), Thumb::PIXDECK_EA | Thumb::EA_ONLY);
  thumb.CalcOutputFile("small");
  EXPECT_THAT(TakeSteps(), ElementsAre("share", "share", "name VEXAFILE_THUMB_S.jpg"));
}

TEST_F(SourceChain, GoesOnWhereAStorePathCannotBeFormed) {
  platform_.store_directory = [](const std::string&) { return ""; };
  Thumb thumb(Jpeg(), Thumb::ALL_EA | Thumb::NOT_CHECK_INDEX | Thumb::EA_ONLY);
  EXPECT_EQ(thumb.CalcOutputFile("small"), "");
  EXPECT_THAT(TakeSteps(), ElementsAre("name VEXAPHOTO_THUMB_S.jpg", "name VEXAPHOTO:THUMB_S.jpg",
                                       "name VEXAFILE_THUMB_S.jpg", "name VEXAFILE_THUMB_S.jpg"));
  EXPECT_EQ(TakeMessages(), (Vector{"GetEAPath: Get EA path for VEXAPHOTO_THUMB_S.jpg failed",
                                    "GetEAPath: Get EA path for VEXAPHOTO:THUMB_S.jpg failed",
                                    "GetEAPath: Get EA path for VEXAFILE_THUMB_S.jpg failed",
                                    "GetEAPath: Get EA path for VEXAFILE_THUMB_S.jpg failed"}));
}

TEST_F(SourceChain, NamesTheTurnsOfFileAndCallerInTheFileManagersSlot) {
  kit::JpegOptions turned;
  turned.orientation = 6;
  const std::string source = Jpeg(turned);
  Store(source, "VEXAFILE_THUMB_S_r3.jpg");
  Thumb thumb(source, Thumb::DOCDECK_EA);
  EXPECT_EQ(thumb.Rotate(2).CalcOutputFile("small"), StorePath(source, "VEXAFILE_THUMB_S_r3.jpg"));
}

TEST_F(SourceChain, KeepsTypeAndEmptiesFileWhenALaterRequestFindsNothing) {
  const std::string source = Jpeg();
  Store(source, "VEXAFILE_THUMB_S.jpg");
  Thumb thumb(source, Thumb::DOCDECK_EA | Thumb::EA_ONLY);
  EXPECT_NE(thumb.CalcOutputFile("small"), "");
  EXPECT_EQ(thumb.CalcOutputFile("medium"), "");
  EXPECT_EQ(thumb.GetOutputFile(), "");
  EXPECT_EQ(thumb.GetOutputType(), "Docdeck");
}

TEST_F(SourceChain, EmptiesTheFileForAShareThatIsNotIndexed) {
  const std::string source = Jpeg();
  Store(source, "VEXAFILE_THUMB_S.jpg");
  Thumb thumb(source, Thumb::DOCDECK_EA);
  EXPECT_NE(thumb.CalcOutputFile("small"), "");
  thumb.SetOption(Thumb::PIXDECK_EA | Thumb::EA_ONLY);
  EXPECT_EQ(thumb.CalcOutputFile("small"), "");
  EXPECT_EQ(thumb.GetOutputFile(), "");
}

TEST_F(SourceChain, ReadsNoMetadataOfVideos) {
  const std::string source = Video();
  kit::WriteJpeg(source);
  Thumb thumb(source, 0);
  EXPECT_EQ(thumb.CalcOutputFile("original"), "");
}

// "original" is the source itself or nothing.
struct OriginalCase {
  const char* name;
  std::string (RequestTest::*make)() const;
  bool served;
};

class OriginalOf : public RequestTest, public testing::WithParamInterface<OriginalCase> {};

TEST_P(OriginalOf, AsksNoOtherSource) {
  SetShareStatus(SHARE_STATUS_INDEXED);
  const std::string source = (this->*GetParam().make)();
  Thumb thumb(source, Thumb::ALL_EA);
  EXPECT_EQ(thumb.CalcOutputFile("original"), GetParam().served ? source : "");
  EXPECT_EQ(thumb.GetOutputType(), GetParam().served ? "Original" : "");
  EXPECT_THAT(TakeSteps(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Kind, OriginalOf,
                         testing::ValuesIn<OriginalCase>({
                             {"Png", &RequestTest::Png, true},
                             {"Gif", &RequestTest::Gif, true},
                             {"Bmp", &RequestTest::Bmp, true},
                             {"Tiff", &RequestTest::Tiff, false},
                             {"Text", &RequestTest::Text, false},
                             {"Video", &RequestTest::Video, false},
                         }),
                         kit::CaseName());

class OriginalImage : public RequestTest {
 protected:
  // Fits the box of "small".
  std::string SmallJpeg() const {
    kit::JpegOptions picture;
    picture.size = {120, 90};
    return Jpeg(picture);
  }
};

TEST_F(OriginalImage, ServesWhereNoConversionIsNeeded) {
  const std::string source = SmallJpeg();
  Thumb thumb(source, Thumb::DOCDECK_EA | Thumb::NO_ORIG_IMAGE);
  EXPECT_EQ(thumb.CalcOutputFile("small"), source);
  EXPECT_EQ(thumb.GetOutputType(), "Original");
  EXPECT_THAT(TakeSteps(), ElementsAre("name VEXAFILE_THUMB_S.jpg", "stat VEXAFILE_THUMB_S.jpg",
                                       "name VEXAFILE_THUMB_S.jpg"));
}

TEST_F(OriginalImage, IsLastAfterTheStores) {
  const std::string source = SmallJpeg();
  Store(source, "VEXAFILE_THUMB_S.jpg");
  Thumb thumb(source, Thumb::DOCDECK_EA);
  EXPECT_EQ(thumb.CalcOutputFile("small"), StorePath(source, "VEXAFILE_THUMB_S.jpg"));
}

TEST_F(OriginalImage, DoesNotServeARequestForStoredFilesOnly) {
  Thumb thumb(SmallJpeg(), Thumb::EA_ONLY);
  EXPECT_EQ(thumb.CalcOutputFile("small"), "");
  EXPECT_EQ(thumb.GetOutputType(), "");
}

TEST_F(OriginalImage, ServesForALargerSizeThatTheSourceFits) {
  const std::string source = Jpeg();
  Thumb thumb(source, 0);
  EXPECT_EQ(thumb.CalcOutputFile("big"), source);
}

TEST_F(OriginalImage, OfAnEarlierRequestServesWhenEverythingElseFails) {
  const std::string source = Jpeg();
  Thumb thumb(source, 0);
  EXPECT_EQ(thumb.CalcOutputFile("original"), source);
  EXPECT_EQ(thumb.CalcOutputFile("small"), source);
  EXPECT_THAT(TakeTools(), ElementsAre("djpeg", "convert"));
}

class ChainException : public RequestTest {};

TEST_F(ChainException, OfASourceThatIsGonePassesAsACopyOfItself) {
  const std::string source = Jpeg();
  Thumb thumb(source, Thumb::ALL_EA);
  std::filesystem::remove(source);
  TakeSteps();
  try {
    thumb.Output("small");
    FAIL() << "answered";
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), Error::kFileNotFound);
    EXPECT_NE(error.msg_, "");
    EXPECT_EQ(error.what(), "(E603) " + error.msg_);
  }
  EXPECT_THAT(TakeSteps(), IsEmpty());
}

TEST_F(ChainException, OfAFifoPasses) {
  kit::WriteFifo(dir_ / "fifo.jpg");
  Thumb thumb(dir_ / "fifo.jpg", Thumb::ALL_EA);
  try {
    thumb.Output("original");
    FAIL() << "answered";
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), Error::kInternalError);
  }
  EXPECT_THAT(TakeSteps(), IsEmpty());
}

TEST_F(ChainException, OfAnOrientationThatIsNoNumberPasses) {
  kit::JpegOptions picture;
  picture.exif = {{"Exif.Image.Orientation", "north", Exiv2::asciiString}};
  Thumb thumb(Jpeg(picture), 0);
  EXPECT_THROW(thumb.Output("small"), std::invalid_argument);
}

TEST_F(ChainException, OfASourceWithoutMetadataIsSwallowedAndRawDevelopmentTried) {
  Thumb thumb(Text(), Thumb::DOCDECK_EA);
  EXPECT_FALSE(thumb.Output("small"));
  EXPECT_THAT(TakeSteps(),
              ElementsAre("name VEXAFILE_THUMB_S.jpg", "volume", "name VEXAFILETMP_THUMB.jpg",
                          "store", "make store", "name VEXAFILETMP_THUMB.jpg", "open dcraw"));
}

TEST_F(ChainException, OfAnUnknownLabelComesAfterTheLabelIsSet) {
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  Thumb thumb(Jpeg(), 0);
  thumb.CalcOutputFile("small");
  try {
    thumb.Output("Small");
    FAIL() << "answered";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "map::at");
  }
  EXPECT_THROW(thumb.SetOutOnline(), std::out_of_range);
}

TEST_F(ChainException, OfAFreeBoxForThePhotoAlbumPasses) {
  SetShareStatus(SHARE_STATUS_INDEXED);
  Thumb thumb(Jpeg(), Thumb::PIXDECK_EA);
  EXPECT_THROW(thumb.Output(100, 100), std::out_of_range);
}

TEST_F(ChainException, IsNoneForAFreeBoxOnAShareThatIsNotIndexed) {
  Thumb thumb(Jpeg(), Thumb::PIXDECK_EA);
  EXPECT_FALSE(thumb.Output(100, 100));
}

}  // namespace
}  // namespace vexathumb
