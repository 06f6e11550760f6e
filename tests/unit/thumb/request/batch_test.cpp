#include <stdexcept>

#include "kit/case_name.h"
#include "unit/thumb/request/request_test.h"

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;
using testing::ElementsAre;
using testing::IsEmpty;

class Batch : public RequestTest {
 protected:
  // The names under which thumbnails were stored, in order.
  static Vector Stored() {
    Vector names;
    for (const Call& call : CallJournal::Get().Of({"rename"})) {
      names.push_back(call.arguments[0].substr(call.arguments[0].rfind('/') + 1));
    }
    return names;
  }

  static void ExpectInternalErrors(const std::vector<int>& lines) {
    const std::vector<kit::LogLine> log = kit::TakeLog();
    ASSERT_EQ(log.size(), lines.size());
    for (size_t i = 0; i < lines.size(); ++i) {
      EXPECT_EQ(log[i].priority, 3);
      EXPECT_EQ(log[i].format, "%s:%d (%s) \"Unknown Internal Error\"");
      EXPECT_EQ(log[i].text, "libvexathumb.cpp:" + std::to_string(lines[i]) +
                                 " (Convert) \"Unknown Internal Error\"");
    }
  }
};

TEST_F(Batch, OfNothingDoesNothing) {
  Thumb thumb(Jpeg(), 0);
  TakeSteps();
  EXPECT_EQ(thumb.Convert(std::initializer_list<std::string>{}), 0);
  EXPECT_EQ(thumb.Convert(std::initializer_list<ThumbDimension>{}), 0);
  EXPECT_THAT(CallJournal::Get().All(), IsEmpty());
}

TEST_F(Batch, ReadsNoMetadataSoThatOnlyRawDevelopmentIsTried) {
  platform_.SetTool("/usr/bin/djpeg", kit::Writes("bmp"));
  platform_.SetTool("/usr/bin/convert", kit::Writes("picture"));
  Thumb thumb(Jpeg(), 0);
  EXPECT_EQ(thumb.Convert({"small", "medium"}), 0);
  EXPECT_THAT(TakeTools(), ElementsAre("dcraw", "dcraw"));
}

// Requests whose source was inspected, turned once by the caller so that every size is converted.
class InspectedBatch : public Batch {
 protected:
  InspectedBatch() : source_(Png()), thumb_(source_, 0) {
    platform_.SetTool("/usr/bin/convert", kit::Writes("picture"));
    thumb_.CalcOutputFile("original");
    thumb_.Rotate(1);
    CallJournal::Get().Clear();
  }

  const std::string source_;
  Thumb thumb_;
};

TEST_F(InspectedBatch, BuildsSizesInTheirOrder) {
  EXPECT_EQ(thumb_.Convert({"medium", "small", "medium"}), 3);
  EXPECT_THAT(Stored(), ElementsAre("VEXAFILE_THUMB_M_r1.png", "VEXAFILE_THUMB_S_r1.png",
                                    "VEXAFILE_THUMB_M_r1.png"));
  const std::vector<Vector> vectors = CallJournal::Get().ToolVectors();
  ASSERT_EQ(vectors.size(), 3U);
  EXPECT_EQ(vectors[0][6], "360x300");
  EXPECT_EQ(vectors[1][6], "120x120");
  EXPECT_THAT(TakeMessages(), IsEmpty());
}

TEST_F(InspectedBatch, BuildsBoxesInTheirOrder) {
  EXPECT_EQ(thumb_.Convert({ThumbDimension(300, 200), ThumbDimension(50, 60)}), 2);
  EXPECT_THAT(Stored(),
              ElementsAre("VEXAFILE_THUMB_200x300_r1.png", "VEXAFILE_THUMB_60x50_r1.png"));
}

TEST_F(InspectedBatch, CountsWhatWasBuilt) {
  platform_.SetTool("/usr/bin/convert",
                    kit::InTurn({kit::Fails(1), kit::Writes("picture"), kit::Fails(1)}));
  EXPECT_EQ(thumb_.Convert({"small", "medium", "big"}), 1);
  EXPECT_THAT(TakeMessages(), IsEmpty());
}

TEST_F(InspectedBatch, GoesOnAfterAnUnknownLabel) {
  EXPECT_EQ(thumb_.Convert({"small", "bogus", "big"}), 2);
  ExpectInternalErrors({94});
  EXPECT_THAT(Stored(), ElementsAre("VEXAFILE_THUMB_S_r1.png", "VEXAFILE_THUMB_B_r1.png"));
  EXPECT_THAT(CallJournal::Get().ToolVectors(), testing::SizeIs(2));
}

TEST_F(InspectedBatch, KeepsAnUnknownLabelAsTheSize) {
  thumb_.Convert({"bogus"});
  EXPECT_THROW(thumb_.SetOutOnline(), std::out_of_range);
}

TEST_F(InspectedBatch, CannotStoreTheOriginalSize) {
  EXPECT_EQ(thumb_.Convert({"original"}), 0);
  ExpectInternalErrors({94});
  EXPECT_EQ(CallJournal::Get().ToolVectors().at(0).at(6), "400x300");
}

TEST_F(InspectedBatch, BuildsTheOriginalSizeOnAVolumeWithoutStore) {
  platform_.volume_type = FSTYPE_NFS;
  EXPECT_EQ(thumb_.Convert({"original"}), 1);
  EXPECT_EQ(thumb_.GetOutputType(), "DocdeckVarTmp");
  std::filesystem::remove(thumb_.GetOutputFile());
}

TEST_F(InspectedBatch, OfAllSizesBuildsTheFiveFromTheSmallest) {
  EXPECT_TRUE(thumb_.ConvertAll());
  EXPECT_THAT(Stored(), ElementsAre("VEXAFILE_THUMB_S_r1.png", "VEXAFILE_THUMB_M_r1.png",
                                    "VEXAFILE_THUMB_B_r1.png", "VEXAFILE_THUMB_XL_r1.png",
                                    "VEXAFILE_THUMB_XL_r1.png"));
}

TEST_F(InspectedBatch, OfAllSizesSucceedsWithOne) {
  platform_.SetTool("/usr/bin/convert", kit::InTurn({kit::Fails(1), kit::Fails(1), kit::Fails(1),
                                                     kit::Fails(1), kit::Writes("picture")}));
  EXPECT_TRUE(thumb_.ConvertAll());
  EXPECT_THAT(Stored(), ElementsAre("VEXAFILE_THUMB_XL_r1.png"));
}

TEST_F(InspectedBatch, OfAllSizesFailsWithNone) {
  platform_.SetTool("/usr/bin/convert", kit::Fails(1));
  EXPECT_FALSE(thumb_.ConvertAll());
  EXPECT_EQ(CallJournal::Get().ToolVectors().size(), 5U);
}

TEST_F(Batch, LogsAndSkipsWhateverACommandThrows) {
  kit::JpegOptions broken;
  broken.exif = {{"Exif.Image.Orientation", "north", Exiv2::asciiString}};
  platform_.SetStreamTool("/usr/bin/dcraw", kit::Streams(kit::ReadFile(Jpeg(broken))));
  Thumb thumb(Text(), 0);
  EXPECT_EQ(thumb.Convert({"small", "big"}), 0);
  ExpectInternalErrors({94, 94});
  EXPECT_EQ(thumb.Convert({ThumbDimension(50, 60), ThumbDimension(70, 80)}), 0);
  ExpectInternalErrors({112, 112});
  EXPECT_EQ(platform_.OpenStreams(), 0);
}

// Which sizes CalcOutputFile tries, by the store names that it looks up.
struct FallbackCase {
  const char* name;
  const char* size;
  int options;
  std::vector<std::string> names;
};

class Fallback : public Batch, public testing::WithParamInterface<FallbackCase> {};

TEST_P(Fallback, GoesToSmallerSizesOnly) {
  const std::string source = Tiff();
  Thumb thumb(source, GetParam().options | Thumb::DOCDECK_EA | Thumb::EA_ONLY);
  TakeSteps();
  EXPECT_EQ(thumb.CalcOutputFile(GetParam().size), "");
  Vector names;
  for (const Call& call : CallJournal::Get().Of({"stat"})) {
    const std::string name = call.path.substr(call.path.rfind('/') + 1);
    if (name.rfind("VEXA", 0) == 0) names.push_back(name);
  }
  EXPECT_EQ(names, GetParam().names);
}

INSTANTIATE_TEST_SUITE_P(
    Of, Fallback,
    testing::ValuesIn<FallbackCase>({
        {"Original",
         "original",
         Thumb::FALLBACK_SMALLER,
         {"VEXAFILE_THUMB_XL.jpg", "VEXAFILE_THUMB_XL.jpg", "VEXAFILE_THUMB_B.jpg",
          "VEXAFILE_THUMB_M.jpg", "VEXAFILE_THUMB_S.jpg"}},
        {"XLarge",
         "xlarge",
         Thumb::FALLBACK_SMALLER,
         {"VEXAFILE_THUMB_XL.jpg", "VEXAFILE_THUMB_XL.jpg", "VEXAFILE_THUMB_B.jpg",
          "VEXAFILE_THUMB_M.jpg", "VEXAFILE_THUMB_S.jpg"}},
        {"Large",
         "large",
         Thumb::FALLBACK_SMALLER,
         {"VEXAFILE_THUMB_XL.jpg", "VEXAFILE_THUMB_B.jpg", "VEXAFILE_THUMB_M.jpg",
          "VEXAFILE_THUMB_S.jpg"}},
        {"Medium",
         "medium",
         Thumb::FALLBACK_SMALLER,
         {"VEXAFILE_THUMB_M.jpg", "VEXAFILE_THUMB_S.jpg"}},
        {"Small", "small", Thumb::FALLBACK_SMALLER, {"VEXAFILE_THUMB_S.jpg"}},
        {"OriginalNotAllowed", "original", 0, {}},
        {"MediumNotAllowed", "medium", 0, {"VEXAFILE_THUMB_M.jpg"}},
        {"AStoreSuffix", "XL", Thumb::FALLBACK_SMALLER, {}},
        {"AnotherCase", "Small", Thumb::FALLBACK_SMALLER, {}},
        {"TheFreeBox", "__CUSTOM_SIZE__", Thumb::FALLBACK_SMALLER, {}},
        {"NoLabel", "", Thumb::FALLBACK_SMALLER, {}},
    }),
    kit::CaseName());

TEST_F(Batch, FallsBackToTheNextSizeThatIsThere) {
  const std::string source = Tiff();
  Store(source, "VEXAFILE_THUMB_S.jpg");
  const std::string medium = Store(source, "VEXAFILE_THUMB_M.jpg");
  Thumb thumb(source, Thumb::DOCDECK_EA | Thumb::EA_ONLY | Thumb::FALLBACK_SMALLER);
  EXPECT_EQ(thumb.CalcOutputFile("original"), medium);
  EXPECT_EQ(thumb.GetOutputFile(), medium);
}

TEST_F(Batch, DoesNotTouchTheRequestForAnUnknownLabel) {
  const std::string source = Tiff();
  const std::string stored = Store(source, "VEXAFILE_THUMB_S.jpg");
  Thumb thumb(source, Thumb::DOCDECK_EA);
  thumb.CalcOutputFile("small");
  TakeSteps();
  EXPECT_EQ(thumb.CalcOutputFile("XL"), "");
  EXPECT_EQ(thumb.GetOutputFile(), stored);
  EXPECT_THAT(CallJournal::Get().All(), IsEmpty());
}

TEST_F(Batch, AnswersTheFileOfAnEarlierRequestWhenNothingIsTriedForThis) {
  const std::string source = Tiff();
  const std::string stored = Store(source, "VEXAFILE_THUMB_S.jpg");
  Thumb thumb(source, Thumb::DOCDECK_EA);
  EXPECT_EQ(thumb.CalcOutputFile("small"), stored);
  // A TIFF cannot be sent as it is, and no other source is asked for "original".
  EXPECT_EQ(thumb.CalcOutputFile("original"), stored);
}

TEST_F(Batch, StopsFallingBackAtAnError) {
  const std::string source = Tiff();
  Thumb thumb(source, Thumb::DOCDECK_EA | Thumb::FALLBACK_SMALLER);
  std::filesystem::remove(source);
  TakeSteps();
  EXPECT_THROW(thumb.CalcOutputFile("large"), Error);
  EXPECT_THAT(TakeSteps(), IsEmpty());
}

}  // namespace
}  // namespace vexathumb
