#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "kit/case_name.h"
#include "unit/thumb/command/command_test.h"

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;
using testing::ElementsAre;
using testing::IsEmpty;

int OpenDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<int>(std::distance(begin(entries), end(entries)));
}

class DcrawCmdTest : public CommandTest {
 protected:
  DcrawCmdTest() {
    std::filesystem::create_directories(dir_ / ".vexaea/a.dng");
    kit::JpegOptions picture;
    picture.size = {320, 240};
    kit::WriteJpeg(dir_ / "preview.jpg", picture);
    preview_ = kit::ReadFile(dir_ / "preview.jpg");
    picture.size = {16, 16};
    kit::WriteJpeg(source_, picture);
  }

  // A description of a source whose metadata were read, of this size.
  ThumbInfo Good(const kit::Size& pixels = {0, 0}) {
    ThumbInfo info(source_, "small", {120, 120});
    info.ExtractImgInfo(false);
    info.SetWidth(static_cast<uint32_t>(pixels.width));
    info.SetHeight(static_cast<uint32_t>(pixels.height));
    CallJournal::Get().Clear();
    return info;
  }

  // One whose metadata were not read.
  ThumbInfo Unread() { return {source_, "small", {120, 120}}; }

  void DcrawYields(const std::string& content) {
    platform_.SetStreamTool("/usr/bin/dcraw", kit::Streams(content));
  }

  const std::string source_ = dir_ / "a.dng";
  const std::string destination_ = dir_ / ".vexaea/a.dng/THUMB.jpg";
  const std::string raw_ = destination_ + "_1234_" + std::to_string(now_);
  std::string preview_;
};

TEST_F(DcrawCmdTest, ExtractsThePreviewBesideTheDestination) {
  DcrawYields(preview_);
  const DcrawCmd command(Good(), source_, destination_);
  EXPECT_EQ(CallJournal::Get().Of({"VEXAEAPath", "VLIBCPopenv"}),
            (std::vector<Call>{{"VEXAEAPath", source_, {"THUMB.jpg", "4096", "0"}, 0},
                               {"VLIBCPopenv",
                                "/usr/bin/dcraw",
                                {"/usr/bin/dcraw", "-6", "-w", "-c", "-e", source_},
                                'r'}}));
  EXPECT_EQ(kit::ReadFile(raw_), preview_);
}

TEST_F(DcrawCmdTest, NamesThePreviewInTheStoreOfItsSourceWhateverTheDestinationsFolder) {
  DcrawYields(preview_);
  const DcrawCmd command(Good(), source_, dir_ / "elsewhere/THUMB.jpg");
  EXPECT_TRUE(Exists(raw_));
}

TEST_F(DcrawCmdTest, HoldsItsStreamsUntilItIsDestroyedAndThenKeepsThePreview) {
  DcrawYields(preview_);
  const int before = OpenDescriptors();
  {
    const DcrawCmd command(Good(), source_, destination_);
    EXPECT_EQ(platform_.OpenStreams(), 1);
    EXPECT_EQ(OpenDescriptors(), before + 2);
  }
  EXPECT_EQ(platform_.OpenStreams(), 0);
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_TRUE(Exists(raw_));
  EXPECT_THAT(Unlinked(), IsEmpty());
}

TEST_F(DcrawCmdTest, CopiesPreviewsOfMoreThanOneBuffer) {
  std::string large = preview_;
  for (int i = 0; i < 10000; ++i) large += "0123456789";
  DcrawYields(large);
  const DcrawCmd command(Good({4000, 3000}), source_, destination_);
  EXPECT_EQ(kit::ReadFile(raw_), large);
}

// What somebody with rights in the share has put under the name beforehand.
struct PlantedCase {
  const char* name;
  void (*plant)(const std::string& path, const std::string& victim);
};

class DcrawCmdPlanted : public DcrawCmdTest, public testing::WithParamInterface<PlantedCase> {};

TEST_P(DcrawCmdPlanted, NameIsNotWrittenThrough) {
  DcrawYields(preview_);
  const std::string victim = dir_ / "victim.jpg";
  if (GetParam().name != std::string("DanglingLink")) kit::WriteFile(victim, "a photograph");
  GetParam().plant(raw_, victim);
  const DcrawCmd command(Good(), source_, destination_);
  EXPECT_EQ(Exists(victim) ? kit::ReadFile(victim) : "",
            GetParam().name == std::string("DanglingLink") ? "" : "a photograph");
  EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(raw_)));
  EXPECT_EQ(kit::ReadFile(raw_), preview_);
}

INSTANTIATE_TEST_SUITE_P(
    , DcrawCmdPlanted,
    testing::Values(PlantedCase{"Link",
                                [](const std::string& path, const std::string& victim) {
                                  std::filesystem::create_symlink(victim, path);
                                }},
                    PlantedCase{"DanglingLink",
                                [](const std::string& path, const std::string& victim) {
                                  std::filesystem::create_symlink(victim, path);
                                }},
                    PlantedCase{"HardLink",
                                [](const std::string& path, const std::string& victim) {
                                  std::filesystem::create_hard_link(victim, path);
                                }},
                    PlantedCase{"Fifo",
                                [](const std::string& path, const std::string&) {
                                  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
                                }}),
    kit::CaseName());

// How the extraction can fail, and what is left of the extracted file.
struct ExtractionCase {
  const char* name;
  void (*arrange)(DcrawCmdTest& test, kit::PlatformDouble& platform, kit::LibcDouble& libc,
                  const std::string& store);
  bool started;
  bool left_behind;
};

class DcrawCmdExtraction : public DcrawCmdTest,
                           public testing::WithParamInterface<ExtractionCase> {};

TEST_P(DcrawCmdExtraction, FailureIsToldByExec) {
  DcrawYields(preview_);
  GetParam().arrange(*this, platform_, libc_, dir_ / ".vexaea/a.dng");
  const int before = OpenDescriptors();
  DcrawCmd command(Good(), source_, destination_);
  // Nothing stays open, though the object lives on.
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(platform_.OpenStreams(), 0);
  EXPECT_FALSE(command.exec());
  EXPECT_EQ(ToolVectors().size(), GetParam().started ? 1U : 0U);
  EXPECT_EQ(Exists(raw_), GetParam().left_behind);
}

const ExtractionCase kExtractionCases[] = {
    {"NoStorePath",
     [](DcrawCmdTest&, kit::PlatformDouble& platform, kit::LibcDouble&, const std::string&) {
       platform.store_directory = [](const std::string&) { return ""; };
     },
     false, false},
    {"NoStoreDirectory",
     [](DcrawCmdTest&, kit::PlatformDouble&, kit::LibcDouble&, const std::string& store) {
       std::filesystem::remove_all(store);
     },
     false, false},
    {"ToolCannotBeStarted",
     [](DcrawCmdTest&, kit::PlatformDouble& platform, kit::LibcDouble&, const std::string&) {
       platform.SetStreamTool("/usr/bin/dcraw", kit::CannotStart());
     },
     true, true},
    {"NoPreview",
     [](DcrawCmdTest&, kit::PlatformDouble& platform, kit::LibcDouble&, const std::string&) {
       platform.SetStreamTool("/usr/bin/dcraw", kit::Streams(""));
     },
     true, false},
    {"ReadFails",
     [](DcrawCmdTest&, kit::PlatformDouble& platform, kit::LibcDouble&, const std::string&) {
       platform.SetStreamTool("/usr/bin/dcraw", kit::FailsToRead());
     },
     true, false},
    {"ReadIsInterrupted",
     [](DcrawCmdTest&, kit::PlatformDouble&, kit::LibcDouble& libc, const std::string&) {
       libc.Fail("read", EINTR);
     },
     true, false},
    {"WriteFails",
     [](DcrawCmdTest&, kit::PlatformDouble&, kit::LibcDouble& libc, const std::string&) {
       libc.Fail("write", ENOSPC);
     },
     true, false},
    {"WriteFallsShort",
     [](DcrawCmdTest&, kit::PlatformDouble&, kit::LibcDouble& libc, const std::string&) {
       libc.WriteShort();
     },
     true, false},
    {"PreviewIsNoPicture",
     [](DcrawCmdTest&, kit::PlatformDouble& platform, kit::LibcDouble&, const std::string&) {
       platform.SetStreamTool("/usr/bin/dcraw", kit::Streams("no picture"));
     },
     true, true},
};

INSTANTIATE_TEST_SUITE_P(When, DcrawCmdExtraction, testing::ValuesIn(kExtractionCases),
                         kit::CaseName());

TEST_F(DcrawCmdTest, PassesOnWhatIsNoErrorOfTheLibraryAndHoldsNothingOpen) {
  kit::JpegOptions broken;
  broken.exif = {{"Exif.Image.Orientation", "north", Exiv2::asciiString}};
  kit::WriteJpeg(dir_ / "broken.jpg", broken);
  DcrawYields(kit::ReadFile(dir_ / "broken.jpg"));
  const int before = OpenDescriptors();
  EXPECT_THROW(DcrawCmd(Good(), source_, destination_), std::invalid_argument);
  EXPECT_EQ(platform_.OpenStreams(), 0);
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_TRUE(Exists(raw_));
}

struct MeasureCase {
  const char* name;
  kit::Size described;
  const char* scale;
};

class DcrawCmdMeasure : public DcrawCmdTest, public testing::WithParamInterface<MeasureCase> {};

// For the box of 120 pixels the preview of 320 x 240 is decoded at 1/2; what is described as larger
// is decoded at 1/8.
TEST_P(DcrawCmdMeasure, IsTakenOfThePreviewOnlyWhereTheSourceHasNone) {
  DcrawYields(preview_);
  DcrawCmd(Good(GetParam().described), source_, destination_).exec();
  ASSERT_GE(ToolVectors().size(), 2U);
  EXPECT_EQ(ToolVectors()[1][2], GetParam().scale);
}

INSTANTIATE_TEST_SUITE_P(Of, DcrawCmdMeasure,
                         testing::ValuesIn<MeasureCase>({
                             {"UnknownSize", {0, 0}, "1/2"},
                             {"UnknownWidth", {0, 3000}, "1/2"},
                             {"UnknownHeight", {4000, 0}, "1/2"},
                             {"KnownSize", {4000, 3000}, "1/8"},
                         }),
                         kit::CaseName());

// What becomes of an extracted preview.
struct ExecCase {
  const char* name;
  const char* djpeg;    // what the tool writes to its output: "" for failure
  const char* convert;  // "P": the preview, a readable picture
  std::vector<std::string> tools;
  const char* destination;
  bool good;
  bool result;
};

class DcrawCmdExec : public DcrawCmdTest, public testing::WithParamInterface<ExecCase> {
 protected:
  std::string Content(const std::string& text) const { return text == "P" ? preview_ : text; }
  kit::PlatformDouble::Tool ToolOf(const std::string& text) const {
    return text.empty() ? kit::Fails(1) : kit::Writes(Content(text));
  }
};

TEST_P(DcrawCmdExec, ScalesThePreviewOrMovesItAsItIs) {
  const std::string marked = preview_ + "as it was extracted";
  DcrawYields(marked);
  platform_.SetTool("/usr/bin/djpeg", ToolOf(GetParam().djpeg));
  platform_.SetTool("/usr/bin/convert", ToolOf(GetParam().convert));
  DcrawCmd command(GetParam().good ? Good() : Unread(), source_, destination_);
  EXPECT_EQ(command.exec(), GetParam().result);

  Vector tools;
  for (const Vector& vector : ToolVectors()) tools.push_back(vector[0].substr(9));
  EXPECT_EQ(tools, GetParam().tools);
  const std::string expected = GetParam().destination;
  EXPECT_EQ(kit::ReadFile(destination_), expected == "moved" ? marked : Content(expected));
  EXPECT_FALSE(Exists(raw_));
  EXPECT_EQ(Unlinked().back(), raw_);
  EXPECT_EQ(platform_.OpenStreams(), 1);
}

const ExecCase kExecCases[] = {
    {"Decoded", "P", "", {"dcraw", "djpeg"}, "P", true, true},
    {"Converted", "", "P", {"dcraw", "djpeg", "convert"}, "P", true, true},
    {"NeitherScaled", "", "", {"dcraw", "djpeg", "convert"}, "moved", true, true},
    {"SourceNotRead", "P", "P", {"dcraw"}, "moved", false, true},
    {"DecodedIntoNoPicture", "text", "", {"dcraw", "djpeg"}, "text", true, false},
    {"ConvertedIntoNoPicture", "", "text", {"dcraw", "djpeg", "convert"}, "text", true, false},
};

INSTANTIATE_TEST_SUITE_P(When, DcrawCmdExec, testing::ValuesIn(kExecCases), kit::CaseName());

TEST_F(DcrawCmdTest, HandsThePreviewToBothToolsWithTheSourcesTurns) {
  DcrawYields(preview_);
  ThumbInfo info = Good();
  info.SetUserRotate(1);
  DcrawCmd(info, source_, destination_).exec();
  EXPECT_THAT(
      ToolVectors(),
      ElementsAre(
          testing::_,
          ElementsAre("/usr/bin/djpeg", "-scale", "1/2", "-dct", "fast", "-fast", "-onepass",
                      "-bmp", "-outfile", destination_ + "_" + std::to_string(now_), raw_),
          ElementsAre("/usr/bin/convert", "-strip", "-colorspace", "sRGB", raw_ + "[0]",
                      "-thumbnail", "120x120", "-rotate", "0", "-rotate", "90", destination_)));
}

TEST_F(DcrawCmdTest, MovesAPreviewThatIsNoPictureAndFails) {
  DcrawYields("no picture");
  DcrawCmd command(Good({4000, 3000}), source_, destination_);
  EXPECT_FALSE(command.exec());
  EXPECT_EQ(kit::ReadFile(destination_), "no picture");
}

TEST_F(DcrawCmdTest, RemovesThePreviewThatCannotBeMoved) {
  libc_.Fail("rename", EXDEV);
  DcrawYields(preview_);
  DcrawCmd command(Unread(), source_, destination_);
  EXPECT_FALSE(command.exec());
  EXPECT_FALSE(Exists(raw_));
  EXPECT_FALSE(Exists(destination_));
  EXPECT_THAT(CallJournal::Get().Of({"rename", "unlink"}),
              ElementsAre(Call{"rename", raw_, {destination_}, 0}, Call{"unlink", raw_, {}, 0}));
}

TEST_F(DcrawCmdTest, FailsWithoutADestinationEvenWhenTheToolSucceeds) {
  DcrawYields(preview_);
  platform_.SetTool("/usr/bin/djpeg", kit::WritesNothing());
  EXPECT_FALSE(DcrawCmd(Good(), source_, "").exec());
}

TEST_F(DcrawCmdTest, FailsWhenTheToolSucceedsAndWritesNothing) {
  DcrawYields(preview_);
  platform_.SetTool("/usr/bin/djpeg", kit::WritesNothing());
  EXPECT_FALSE(DcrawCmd(Good(), source_, destination_).exec());
  EXPECT_FALSE(Exists(raw_));
}

}  // namespace
}  // namespace vexathumb
