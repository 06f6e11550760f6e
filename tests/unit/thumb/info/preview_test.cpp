#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kit/case_name.h"
#include "kit/doubles/call_journal.h"
#include "kit/doubles/libc_double.h"
#include "kit/doubles/log_capture.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;
using kit::CaseName;
using kit::LogLine;
using kit::Size;
using testing::ElementsAre;
using testing::MatchesRegex;

constexpr uint32_t kNoLimit = 0x7FFFFFFF;

// Removes what a test knows to be left behind.
class Leftover {
 public:
  explicit Leftover(std::string path) : path_(std::move(path)) {}
  ~Leftover() { unlink(path_.c_str()); }
  Leftover(const Leftover&) = delete;
  Leftover& operator=(const Leftover&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class PreviewTest : public testing::Test {
 protected:
  PreviewTest() { kit::TakeLog(); }

  ThumbInfo Inspect(const ThumbDimension& box) const {
    ThumbInfo info(source_, kSmall, box);
    info.ExtractImgInfo(true);
    return info;
  }

  kit::TempDir dir_;
  const std::string source_ = dir_ / "source";
};

struct ChoiceCase {
  const char* name;
  ThumbDimension box;
  std::optional<Size> exif_thumbnail;
  std::optional<Size> xmp_preview;
  std::optional<Size> chosen;
};

class PreviewChoiceTest : public PreviewTest, public testing::WithParamInterface<ChoiceCase> {};

TEST_P(PreviewChoiceTest, IsTheLargestNearTheBox) {
  const ChoiceCase& c = GetParam();
  kit::WriteJpeg(source_, {{2000, 1200}, 0, c.exif_thumbnail, c.xmp_preview, {}});
  const ThumbInfo info = Inspect(c.box);
  const Leftover preview(info.GetEXIFPreviewTmpPath());
  ASSERT_EQ(!preview.path().empty(), c.chosen.has_value()) << preview.path();
  if (c.chosen) {
    const kit::PictureInfo picture = kit::Examine(preview.path());
    EXPECT_EQ(picture.width, c.chosen->width);
    EXPECT_EQ(picture.height, c.chosen->height);
    EXPECT_EQ(kit::Corners(preview.path()), kit::kPreviewCorners);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Boxes, PreviewChoiceTest,
    testing::Values(
        ChoiceCase{"NoPreview", {320, 240}, {}, {}, {}},
        ChoiceCase{"OneTooSmallOneTooLarge", {320, 240}, Size{160, 120}, Size{1920, 1080}, {}},
        ChoiceCase{"ExactlyTwice", {320, 240}, Size{160, 120}, Size{640, 480}, Size{640, 480}},
        ChoiceCase{"JustOverTwice", {320, 240}, Size{641, 481}, {}, {}},
        ChoiceCase{"WidthTwiceHeightOver", {320, 240}, Size{640, 481}, {}, Size{640, 481}},
        ChoiceCase{"HeightTwiceWidthOver", {320, 240}, Size{641, 480}, {}, Size{641, 480}},
        ChoiceCase{"WidthOverTwice", {800, 600}, {}, Size{1700, 1000}, Size{1700, 1000}},
        ChoiceCase{"HeightOverTwice", {320, 240}, Size{600, 900}, {}, Size{600, 900}},
        ChoiceCase{"ExactlyThreeQuarters", {320, 240}, Size{240, 240}, {}, Size{240, 240}},
        ChoiceCase{"JustBelowThreeQuarters", {320, 240}, Size{239, 240}, {}, {}},
        ChoiceCase{"LargerIsLater", {320, 240}, Size{320, 240}, Size{400, 300}, Size{400, 300}},
        ChoiceCase{"LargerIsEarlier", {320, 240}, Size{400, 300}, Size{320, 240}, Size{400, 300}},
        ChoiceCase{
            "NoLimit", {kNoLimit, kNoLimit}, Size{16, 16}, Size{1700, 1000}, Size{1700, 1000}},
        ChoiceCase{"NoLimitSmallPreview", {kNoLimit, kNoLimit}, Size{16, 16}, {}, Size{16, 16}},
        // Twice each side and the area wrap to 0: everything is too large.
        ChoiceCase{"BoxWhoseDoubleWraps", {0x80000000, 0x80000000}, Size{16, 16}, {}, {}},
        ChoiceCase{"BoxWhoseAreaWraps", {0x10000, 0x10000}, Size{16, 16}, {}, Size{16, 16}}),
    CaseName());

TEST_F(PreviewTest, EarlierOfEqualAreasInExiv2sListIsChosen) {
  kit::WriteJpeg(source_, {{2000, 1200}, 0, Size{320, 240}, Size{240, 320}, {}});
  const auto image = Exiv2::ImageFactory::open(source_);
  image->readMetadata();
  const auto list = Exiv2::PreviewManager(*image).getPreviewProperties();
  ASSERT_EQ(list.size(), 2U);
  ASSERT_EQ(list[0].width_ * list[0].height_, list[1].width_ * list[1].height_);

  const Leftover preview(Inspect({320, 240}).GetEXIFPreviewTmpPath());
  EXPECT_EQ(static_cast<uint32_t>(kit::Examine(preview.path()).width), list[0].width_);
}

TEST_F(PreviewTest, IsStoredAsThePictureIs) {
  kit::WriteJpeg(source_, {{2000, 1200}, 6, Size{320, 240}, {}, {}});
  const Leftover preview(Inspect({320, 240}).GetEXIFPreviewTmpPath());
  EXPECT_EQ(kit::Corners(preview.path()), kit::StoredCorners(kit::kPreviewCorners, 6));
}

TEST_F(PreviewTest, TiffPreviewOfACr2IsNotUsed) {
  kit::WriteCr2(source_, {320, 240}, {640, 480});
  const Leftover preview(Inspect({320, 240}).GetEXIFPreviewTmpPath());
  EXPECT_EQ(kit::Examine(preview.path()).width, 320);
}

TEST_F(PreviewTest, Cr2WithNothingButALargeTiffPreviewHasNone) {
  kit::WriteCr2(source_, {16, 16}, {640, 480});
  EXPECT_EQ(Inspect({320, 240}).GetEXIFPreviewTmpPath(), "");
}

TEST_F(PreviewTest, TiffPreviewOfAnotherRawFormatIsUsed) {
  kit::WriteDng(source_, {{400, 300}, kit::RawPreview::kPixels, {320, 240}});
  const Leftover preview(Inspect({320, 240}).GetEXIFPreviewTmpPath());
  EXPECT_THAT(preview.path(), MatchesRegex("/tmp/thumb\\..+\\.tif"));
}

struct ContainerCase {
  const char* name;
  std::function<void(const std::string& path, const kit::PictureOptions& options)> write;
};

class ContainerPreviewTest : public PreviewTest,
                             public testing::WithParamInterface<ContainerCase> {};

TEST_P(ContainerPreviewTest, IsNotUsedSinceNobodyTurnsIt) {
  GetParam().write(source_, {{400, 300}, 6});
  EXPECT_EQ(Inspect({kNoLimit, kNoLimit}).GetEXIFPreviewTmpPath(), "");
}

INSTANTIATE_TEST_SUITE_P(Types, ContainerPreviewTest,
                         testing::Values(ContainerCase{"Heic", kit::WriteHeic},
                                         ContainerCase{"Avif", kit::WriteAvif}),
                         CaseName());

TEST_F(PreviewTest, LiesInTmpUnderProcessTimeAndRandomNumber) {
  kit::LibcDouble libc;
  libc.time = 1700000000;
  libc.random = 1804289383;
  kit::WriteJpeg(source_, {{2000, 1200}, 0, Size{320, 240}, {}, {}});
  const Leftover preview(Inspect({320, 240}).GetEXIFPreviewTmpPath());
  EXPECT_EQ(preview.path(),
            "/tmp/thumb." + std::to_string(getpid()) + ".1700000000.1804289383.jpg");
  EXPECT_TRUE(std::filesystem::exists(preview.path()));
}

TEST_F(PreviewTest, CarriesTheSourcesTimes) {
  kit::WriteJpeg(source_, {{2000, 1200}, 0, Size{320, 240}, {}, {}});
  const timespec times[] = {{1500000001, 0}, {1400000002, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, source_.c_str(), times, 0), 0);
  const ThumbInfo info = Inspect({320, 240});
  const Leftover preview(info.GetEXIFPreviewTmpPath());
  struct stat st = {};
  ASSERT_EQ(stat(preview.path().c_str(), &st), 0);
  EXPECT_EQ(st.st_atime, 1500000001);
  EXPECT_EQ(st.st_mtime, 1400000002);
  EXPECT_TRUE(info.IsThumbUptoDate(preview.path()));
}

TEST_F(PreviewTest, IsNotWrittenUnlessAskedFor) {
  kit::WriteJpeg(source_, {{2000, 1200}, 0, Size{320, 240}, {}, {}});
  ThumbInfo info(source_, kSmall, {320, 240});
  info.ExtractImgInfo(false);
  EXPECT_EQ(info.GetEXIFPreviewTmpPath(), "");
}

TEST_F(PreviewTest, StaysWhenReadAgainWithoutAskingForIt) {
  kit::WriteJpeg(source_, {{2000, 1200}, 0, Size{320, 240}, {}, {}});
  ThumbInfo info = Inspect({320, 240});
  const Leftover preview(info.GetEXIFPreviewTmpPath());
  info.ExtractImgInfo(false);
  EXPECT_EQ(info.GetEXIFPreviewTmpPath(), preview.path());
}

TEST_F(PreviewTest, PathIsClearedWhenTheNextReadHasNone) {
  kit::WriteJpeg(source_, {{2000, 1200}, 0, Size{320, 240}, {}, {}});
  ThumbInfo info = Inspect({320, 240});
  const Leftover preview(info.GetEXIFPreviewTmpPath());
  info.SetDimension({1280, 1280});
  info.ExtractImgInfo(true);
  EXPECT_EQ(info.GetEXIFPreviewTmpPath(), "");
  EXPECT_TRUE(std::filesystem::exists(preview.path())) << "it is the caller's";
}

TEST_F(PreviewTest, OutlivesItsDescription) {
  kit::WriteJpeg(source_, {{2000, 1200}, 0, Size{320, 240}, {}, {}});
  const Leftover preview(Inspect({320, 240}).GetEXIFPreviewTmpPath());
  EXPECT_TRUE(std::filesystem::exists(preview.path()));
}

TEST_F(PreviewTest, StaysTheCallersWhenTheOrientationIsNoNumber) {
  kit::WriteJpeg(source_, {{2000, 1200},
                           0,
                           Size{320, 240},
                           {},
                           {{"Exif.Image.Orientation", "left", Exiv2::asciiString}}});
  ThumbInfo info(source_, kSmall, {320, 240});
  EXPECT_THROW(info.ExtractImgInfo(true), std::invalid_argument);
  const Leftover preview(info.GetEXIFPreviewTmpPath());
  EXPECT_TRUE(std::filesystem::exists(preview.path()));
  EXPECT_FALSE(info.IsGood());
}

// While it lives, no file grows beyond so many bytes, as on a full disk.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit = {bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_ = {};
  void (*handler_)(int);
};

TEST_F(PreviewTest, ShortWriteIsLoggedAndLeavesThePartBehind) {
  kit::WriteJpeg(source_, {{2000, 1200}, 0, {}, Size{1600, 1200}, {}});
  kit::LibcDouble libc;
  libc.time = 1;
  libc.random = 2;
  const std::string bare = "/tmp/thumb." + std::to_string(getpid()) + ".1.2";
  const Leftover part(bare + ".jpg");

  ThumbInfo info(source_, kSmall, {1600, 1200});
  {
    const FileSizeLimit limit(4096);
    info.ExtractImgInfo(true);
  }

  EXPECT_TRUE(info.IsGood());
  EXPECT_EQ(info.GetEXIFPreviewTmpPath(), "");
  EXPECT_EQ(std::filesystem::file_size(part.path()), 4096U);
  EXPECT_THAT(CallJournal::Get().Of({"unlink"}), ElementsAre(Call{"unlink", bare, {}, 0}));
  const std::vector<LogLine> log = kit::TakeLog();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_EQ(log[0].priority, LOG_ERR);
  EXPECT_EQ(log[0].format, "%s:%d (%s) \"Write preview to file failed, %s\"");
  EXPECT_THAT(log[0].text,
              MatchesRegex("thumb_info\\.cpp:[0-9]+ \\(ExtractEXIFPreviewInfo\\) \"Write preview "
                           "to file failed, " +
                           source_ + "\""));
}

TEST_F(PreviewTest, TargetThatCannotBeOpenedIsAnInternalFailure) {
  kit::WriteJpeg(source_, {{2000, 1200}, 0, Size{320, 240}, {}, {}});
  kit::LibcDouble libc;
  libc.time = 3;
  libc.random = 4;
  const std::string bare = "/tmp/thumb." + std::to_string(getpid()) + ".3.4";
  std::filesystem::create_directory(bare + ".jpg");
  ThumbInfo info(source_, kSmall, {320, 240});
  EXPECT_ANY_THROW(info.ExtractImgInfo(true));
  EXPECT_EQ(info.GetEXIFPreviewTmpPath(), bare);
  EXPECT_FALSE(info.IsGood());
  EXPECT_EQ(kit::TakeLog().size(), 1U);
  std::filesystem::remove(bare + ".jpg");
}

}  // namespace
}  // namespace vexathumb
