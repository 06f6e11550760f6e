#include "kit/case_name.h"
#include "unit/thumb/request/request_test.h"

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;
using testing::ElementsAre;
using testing::IsEmpty;

// Sends the source itself whatever was chosen before. Nothing in the library calls it, so the test
// reaches past its being private, which an explicit instantiation may.
using SendOperation = bool (Thumb::*)();
SendOperation SendOriginalImage();
template <SendOperation kOperation>
struct Reach {
  friend SendOperation SendOriginalImage() { return kOperation; }
};
template struct Reach<&Thumb::OutputOriginalImage>;

const char* const kCacheControl = "Cache-Control: max-age=300, must-revalidate\r";

class HttpOutput : public RequestTest {
 protected:
  static std::vector<Call> Sent() {
    return CallJournal::Get().Of({"puts", "HttpOutputFile", "HttpOutputStream", "VLIBCPopenv"});
  }
};

TEST_F(HttpOutput, SendsTheCacheLineAndThenTheFile) {
  const std::string source = Jpeg();
  const std::string stored = Store(source, "VEXAFILE_THUMB_S.jpg");
  Thumb thumb(source, Thumb::DOCDECK_EA);
  EXPECT_TRUE(thumb.Output("small"));
  EXPECT_THAT(Sent(), ElementsAre(Call{"puts", kCacheControl, {}, 0},
                                  Call{"HttpOutputFile", stored, {"image/jpeg"}, 0}));
}

TEST_F(HttpOutput, SendsTheCacheLineOfEveryRequest) {
  const std::string source = Jpeg();
  Store(source, "VEXAFILE_THUMB_S.jpg");
  Thumb thumb(source, Thumb::DOCDECK_EA);
  thumb.Output("small");
  thumb.Output("small");
  EXPECT_EQ(CallJournal::Get().Of({"puts"}).size(), 2U);
}

TEST_F(HttpOutput, WritesNothingWithoutAFile) {
  Thumb thumb(Jpeg(), Thumb::EA_ONLY);
  EXPECT_FALSE(thumb.Output("small"));
  EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(HttpOutput, FailsWhenTheResponderDoes) {
  platform_.http_result = 1;
  const std::string source = Jpeg();
  Thumb thumb(source, 0);
  EXPECT_FALSE(thumb.Output("original"));
  EXPECT_EQ(thumb.GetOutputFile(), source);
  EXPECT_EQ(Sent().size(), 2U);
}

// The type under which a file is sent is that of the output.
struct MimeCase {
  const char* name;
  std::string (RequestTest::*make)() const;
  int options;
  const char* mime;
  const char* source_mime;
};

class HttpMime : public HttpOutput, public testing::WithParamInterface<MimeCase> {};

TEST_P(HttpMime, IsThatOfTheOutput) {
  const std::string source = (this->*GetParam().make)();
  Thumb thumb(source, GetParam().options);
  EXPECT_TRUE(thumb.Output("original"));
  EXPECT_EQ(thumb.GetOutputMimeType(), GetParam().mime);
  EXPECT_EQ(Sent().back(), (Call{"HttpOutputFile", source, {GetParam().mime}, 0}));
}

INSTANTIATE_TEST_SUITE_P(Of, HttpMime,
                         testing::ValuesIn<MimeCase>({
                             {"Png", &RequestTest::Png, 0, "image/png", "image/png"},
                             {"Gif", &RequestTest::Gif, 0, "image/jpeg", "image/gif"},
                             {"AnimatedGif", &RequestTest::Gif, Thumb::ANIMATE_GIF, "image/gif",
                              "image/gif"},
                             {"CroppedGif", &RequestTest::Gif, Thumb::ANIMATE_GIF | Thumb::AVATAR,
                              "image/jpeg", "image/gif"},
                             {"Bmp", &RequestTest::Bmp, 0, "image/jpeg", "image/x-ms-bmp"},
                         }),
                         kit::CaseName());

TEST_P(HttpMime, IsThatOfTheSourceForTheSourceItself) {
  const std::string source = (this->*GetParam().make)();
  Thumb thumb(source, GetParam().options);
  thumb.CalcOutputFile("original");
  EXPECT_TRUE((thumb.*SendOriginalImage())());
  EXPECT_EQ(thumb.GetOutputFile(), source);
  EXPECT_EQ(Sent().back(), (Call{"HttpOutputFile", source, {GetParam().source_mime}, 0}));
}

TEST_F(HttpOutput, DoesNotSendASourceThatBrowsersDoNotShow) {
  Thumb thumb(Tiff(), 0);
  thumb.CalcOutputFile("original");
  EXPECT_FALSE((thumb.*SendOriginalImage())());
  EXPECT_THAT(Sent(), IsEmpty());
}

// A stored thumbnail and the caller's turns.
struct TurnCase {
  const char* name;
  const char* stored;
  int options;
  int user_rotate;
  const char* degrees;  // none: sent as a file
};

class HttpTurn : public HttpOutput, public testing::WithParamInterface<TurnCase> {};

TEST_P(HttpTurn, IsMadeOnTheWayOutForThePhotoAlbumAlone) {
  const TurnCase& test = GetParam();
  platform_.SetStreamTool("/usr/bin/jpegtran", kit::Streams("turned"));
  // Turned by the file besides, which the stored thumbnail already is.
  kit::JpegOptions picture;
  picture.orientation = 8;
  const std::string source = Jpeg(picture);
  const std::string stored = Store(source, test.stored);
  Thumb thumb(source, test.options | Thumb::NOT_CHECK_INDEX);
  EXPECT_TRUE(thumb.Rotate(test.user_rotate).Output("small"));

  const Call cache_line = {"puts", kCacheControl, {}, 0};
  if (test.degrees == nullptr) {
    EXPECT_THAT(Sent(), ElementsAre(cache_line, Call{"HttpOutputFile", stored, {"image/jpeg"}, 0}));
  } else {
    EXPECT_THAT(Sent(),
                ElementsAre(cache_line,
                            Call{"VLIBCPopenv",
                                 "/usr/bin/jpegtran",
                                 {"/usr/bin/jpegtran", "-trim", "-rotate", test.degrees, stored},
                                 'r'},
                            Call{"HttpOutputStream", test.stored, {"image/jpeg", "turned"}, 0}));
  }
  EXPECT_EQ(platform_.OpenStreams(), 0);
  EXPECT_EQ(kit::ReadFile(stored), "stored");
}

INSTANTIATE_TEST_SUITE_P(
    Of, HttpTurn,
    testing::ValuesIn<TurnCase>({
        {"PixdeckNone", "VEXAPHOTO_THUMB_S.jpg", Thumb::ALL_EA, 0, nullptr},
        {"PixdeckOnce", "VEXAPHOTO_THUMB_S.jpg", Thumb::ALL_EA, 1, "90"},
        {"PixdeckTwice", "VEXAPHOTO_THUMB_S.jpg", Thumb::ALL_EA, 2, "180"},
        {"PixdeckThreeTimes", "VEXAPHOTO_THUMB_S.jpg", Thumb::ALL_EA, 3, "270"},
        {"PixdeckFourTimes", "VEXAPHOTO_THUMB_S.jpg", Thumb::ALL_EA, 4, nullptr},
        {"PixdeckFiveTimes", "VEXAPHOTO_THUMB_S.jpg", Thumb::ALL_EA, 5, "90"},
        {"PixdeckBackFourTimes", "VEXAPHOTO_THUMB_S.jpg", Thumb::ALL_EA, -4, nullptr},
        {"PixdeckBack", "VEXAPHOTO_THUMB_S.jpg", Thumb::ALL_EA, -1, "-90"},
        {"PixdeckFormerName", "VEXAPHOTO:THUMB_S.jpg", Thumb::ALL_EA, 2, "180"},
        {"Docdeck", "VEXAFILE_THUMB_S.jpg", Thumb::ALL_EA, 1, nullptr},
    }),
    kit::CaseName());

TEST_F(HttpOutput, FailsWhenTheTurnCannotBeStarted) {
  platform_.SetStreamTool("/usr/bin/jpegtran", kit::CannotStart());
  const std::string source = Jpeg();
  Store(source, "VEXAPHOTO_THUMB_S.jpg");
  Thumb thumb(source, Thumb::PIXDECK_EA | Thumb::NOT_CHECK_INDEX);
  EXPECT_FALSE(thumb.Rotate(1).Output("small"));
  EXPECT_THAT(TakeSteps(), ElementsAre("name VEXAPHOTO_THUMB_S.jpg", "access VEXAPHOTO_THUMB_S.jpg",
                                       "puts", "open jpegtran", "stream VEXAPHOTO_THUMB_S.jpg"));
}

// Free boxes, in pixels as displayed.
struct BoxCase {
  const char* name;
  int width;
  int height;
  int user_rotate;
  const char* stored;  // none: the source serves as it is
};

class HttpBox : public HttpOutput, public testing::WithParamInterface<BoxCase> {};

TEST_P(HttpBox, NamesItsStoreFile) {
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  platform_.SetTool("/usr/bin/convert", kit::Writes("picture"));
  const std::string source = Jpeg();
  Thumb thumb(source, 0);
  EXPECT_TRUE(thumb.Rotate(GetParam().user_rotate).Output(GetParam().width, GetParam().height));
  EXPECT_EQ(thumb.GetOutputFile(),
            GetParam().stored == nullptr ? source : StorePath(source, GetParam().stored));
}

INSTANTIATE_TEST_SUITE_P(Of, HttpBox,
                         testing::ValuesIn<BoxCase>({
                             {"Landscape", 200, 100, 0, "VEXAFILE_THUMB_200x100.jpg"},
                             {"LandscapeTurned", 200, 100, 1, "VEXAFILE_THUMB_100x200_r1.jpg"},
                             {"HigherThanTheSource", 200, 999, 0, "VEXAFILE_THUMB_200x300.jpg"},
                             {"Nothing", 0, 0, 0, "VEXAFILE_THUMB_0x0.jpg"},
                             {"LargerThanTheSource", 500, 500, 0, nullptr},
                             {"Negative", -1, -1, 0, nullptr},
                         }),
                         kit::CaseName());

TEST_F(HttpOutput, TakesOneSideForASquare) {
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  const std::string source = Jpeg();
  Thumb thumb(source, 0);
  EXPECT_TRUE(thumb.Output(150));
  EXPECT_EQ(thumb.GetOutputFile(), StorePath(source, "VEXAFILE_THUMB_150x150.jpg"));
}

}  // namespace
}  // namespace vexathumb
