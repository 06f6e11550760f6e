#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "common/error/error.h"
#include "kit/case_name.h"
#include "kit/doubles/log_capture.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

using kit::CaseName;
using kit::LogLine;
using testing::ContainsRegex;
using testing::IsEmpty;
using testing::MatchesRegex;

// What reading the source throws; 0 for nothing.
int CodeOf(ThumbInfo& info) {
  try {
    info.ExtractImgInfo(true);
  } catch (const Error& error) {
    EXPECT_NE(error.msg_, "");
    return error.Code();
  }
  return 0;
}

class RefusedSourceTest : public testing::Test {
 protected:
  RefusedSourceTest() { kit::TakeLog(); }

  void ExpectSilentRefusal(const std::string& path, int code) const {
    ThumbInfo info(path, kSmall, {120, 120});
    EXPECT_EQ(CodeOf(info), code);
    EXPECT_FALSE(info.IsGood());
    EXPECT_EQ(info.GetMimeType(), "");
    EXPECT_THAT(kit::TakeLog(), IsEmpty());
    ASSERT_TRUE(ThumbInfo::exiv2_mutex_.try_lock());
    ThumbInfo::exiv2_mutex_.unlock();
  }

  kit::TempDir dir_;
  const std::string path_ = dir_ / "source.jpg";
};

struct ContentCase {
  const char* name;
  std::string content;
};

class UnknownContentTest : public RefusedSourceTest,
                           public testing::WithParamInterface<ContentCase> {};

TEST_P(UnknownContentTest, HasNoReadableMetadata) {
  kit::WriteFile(path_, GetParam().content);
  ExpectSilentRefusal(path_, Error::kNoExifMeta);
}

INSTANTIATE_TEST_SUITE_P(
    Contents, UnknownContentTest,
    testing::Values(ContentCase{"Text", "This is no picture, whatever its name says it is.\n"},
                    ContentCase{"Zeros", std::string(4096, '\0')},
                    ContentCase{"Eps", kit::EpsContent()}, ContentCase{"Avi", kit::AviContent()},
                    ContentCase{"Matroska", kit::MatroskaContent()},
                    ContentCase{"QuickTime", kit::QuickTimeContent()},
                    ContentCase{"Asf", kit::AsfContent()}),
    CaseName());

struct SpecialFileCase {
  const char* name;
  std::function<void(const std::string& path)> make;
};

class SpecialFileTest : public RefusedSourceTest,
                        public testing::WithParamInterface<SpecialFileCase> {};

TEST_P(SpecialFileTest, IsRefusedUnopened) {
  GetParam().make(path_);
  ExpectSilentRefusal(path_, Error::kInternalError);
}

INSTANTIATE_TEST_SUITE_P(Kinds, SpecialFileTest,
                         testing::Values(SpecialFileCase{"Fifo", kit::WriteFifo},
                                         SpecialFileCase{"Socket", kit::WriteSocket},
                                         SpecialFileCase{"LinkToADevice",
                                                         [](const std::string& path) {
                                                           std::filesystem::create_symlink(
                                                               "/dev/null", path);
                                                         }},
                                         SpecialFileCase{"LinkToAFifo",
                                                         [](const std::string& path) {
                                                           kit::WriteFifo(path + ".fifo");
                                                           std::filesystem::create_symlink(
                                                               path + ".fifo", path);
                                                         }}),
                         CaseName());

TEST_F(RefusedSourceTest, DeviceIsRefused) { ExpectSilentRefusal("/dev/null", 601); }

TEST_F(RefusedSourceTest, SourceThatBecameAFifoIsRefused) {
  kit::WriteJpeg(path_, {{16, 16}, 0, {}, {}, {}});
  ThumbInfo info(path_, kSmall, {120, 120});
  std::filesystem::remove(path_);
  kit::WriteFifo(path_);
  EXPECT_EQ(CodeOf(info), Error::kInternalError);
}

TEST_F(RefusedSourceTest, SpecialFileNamedAsAVideoIsLeftAlone) {
  const std::string path = dir_ / "fifo.mp4";
  kit::WriteFifo(path);
  ThumbInfo info(path, kSmall, {120, 120});
  EXPECT_EQ(CodeOf(info), 0);
  EXPECT_FALSE(info.IsGood());
}

TEST_F(RefusedSourceTest, SourceThatIsGoneIsNotFound) {
  kit::WriteJpeg(path_, {{16, 16}, 0, {}, {}, {}});
  ThumbInfo info(path_, kSmall, {120, 120});
  std::filesystem::remove(path_);
  EXPECT_EQ(CodeOf(info), Error::kFileNotFound);
  EXPECT_THAT(kit::TakeLog(), IsEmpty());
}

TEST_F(RefusedSourceTest, UnreadableSourceIsNotFoundExceptForRoot) {
  kit::WriteJpeg(path_, {{16, 16}, 0, {}, {}, {}});
  ThumbInfo info(path_, kSmall, {120, 120});
  ASSERT_EQ(chmod(path_.c_str(), 0), 0);
  EXPECT_EQ(CodeOf(info), access(path_.c_str(), R_OK) == 0 ? 0 : Error::kFileNotFound);
  EXPECT_THAT(kit::TakeLog(), IsEmpty());
}

TEST_F(RefusedSourceTest, EarlierResultStaysGoodAfterAFailure) {
  kit::WriteJpeg(path_, {{16, 16}, 6, {}, {}, {}});
  ThumbInfo info(path_, kSmall, {120, 120});
  ASSERT_EQ(CodeOf(info), 0);
  std::filesystem::remove(path_);
  EXPECT_EQ(CodeOf(info), Error::kFileNotFound);
  EXPECT_EQ(info.GetMimeType(), "image/jpeg");
  EXPECT_EQ(info.GetRotate(), 1);
}

// Content that Exiv2 takes on and then gives up.
class DamagedSourceTest : public RefusedSourceTest,
                          public testing::WithParamInterface<ContentCase> {};

TEST_P(DamagedSourceTest, IsAnInternalFailureThatIsLogged) {
  kit::WriteFile(path_, GetParam().content);
  ThumbInfo info(path_, kSmall, {120, 120});
  EXPECT_EQ(CodeOf(info), Error::kInternalError);
  EXPECT_FALSE(info.IsGood());
  const std::vector<LogLine> log = kit::TakeLog();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_EQ(log[0].priority, LOG_ERR);
  EXPECT_EQ(log[0].format, "%s:%d (%s) \"Exiv2 exception: E%d %s\"");
  EXPECT_THAT(log[0].text,
              MatchesRegex("thumb_info\\.cpp:[0-9]+ \\(ExtractImgInfo\\) \"Exiv2 exception: "
                           "E[0-9]+ .+\""));
}

INSTANTIATE_TEST_SUITE_P(
    Contents, DamagedSourceTest,
    testing::Values(ContentCase{"Empty", ""}, ContentCase{"OneByte", "x"},
                    ContentCase{"JpegCutInTheHeader", "\xFF\xD8\xFF\xE1\x10"},
                    ContentCase{"JpegWithoutContent", "\xFF\xD8" + std::string(100, '\0')},
                    ContentCase{"PngSignatureAlone", "\x89PNG\r\n\x1A\n" + std::string(30, '\0')}),
    CaseName());

TEST_F(RefusedSourceTest, MessageIsExiv2sText) {
  kit::WriteFile(path_, "This is no picture, whatever its name says it is.\n");
  ThumbInfo info(path_, kSmall, {120, 120});
  try {
    info.ExtractImgInfo(false);
    FAIL() << "no exception";
  } catch (const Error& error) {
    EXPECT_THAT(error.msg_, ContainsRegex("unknown image type"));
    EXPECT_EQ(std::string(error.what()), "(E602) " + error.msg_);
  }
}

}  // namespace
}  // namespace vexathumb
