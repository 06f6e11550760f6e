#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "common/util/util.h"
#include "kit/case_name.h"

namespace vexathumb {
namespace {

using testing::UnorderedElementsAre;

std::set<std::string> Texts(const std::unordered_set<const char*>& set) {
  return {set.begin(), set.end()};
}

struct ExtensionCase {
  const char* name;
  std::string path;
  std::string extension;
};

class FileExtensionTest : public testing::TestWithParam<ExtensionCase> {};

TEST_P(FileExtensionTest, IsWhatFollowsTheLastDot) {
  EXPECT_EQ(file::GetFileExt(GetParam().path), GetParam().extension);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, FileExtensionTest,
    testing::Values(ExtensionCase{"Plain", "/photo/a.jpg", "jpg"},
                    ExtensionCase{"UpperCase", "IMG_0001.JPG", "jpg"},
                    ExtensionCase{"OnlyTheLast", "archive.tar.gz", "gz"},
                    ExtensionCase{"NoDotGivesTheWholePathLowered", "/X/NoExt", "/x/noext"},
                    ExtensionCase{"EndsWithADot", "file.", ""}, ExtensionCase{"Empty", "", ""},
                    ExtensionCase{"DotInADirectory", "/a/b.c/Name", "c/name"},
                    ExtensionCase{"HiddenFile", "/a/.jpg", "jpg"},
                    ExtensionCase{"OtherBytesAreKept", "/a/x.J\xC3\x84G", "j\xC3\x84g"},
                    ExtensionCase{"BytesThatAreNoText", "\xFF\xFE.PNG", "png"},
                    ExtensionCase{"NullByte", std::string("a\0.B\0C", 6), std::string("b\0c", 3)}),
    kit::CaseName());

enum class Media { kImage, kVideo, kNeither };

struct MediaCase {
  const char* name;
  const char* path;
  Media media;
};

class MediaTypeTest : public testing::TestWithParam<MediaCase> {};

TEST_P(MediaTypeTest, IsToldByTheNameAlone) {
  EXPECT_EQ(IsSupportImage(GetParam().path), GetParam().media == Media::kImage);
  EXPECT_EQ(IsSupportVideo(GetParam().path), GetParam().media == Media::kVideo);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, MediaTypeTest,
    testing::Values(MediaCase{"UpperCaseImage", "IMG_0001.JPG", Media::kImage},
                    MediaCase{"MixedCaseImage", "/photo/a.HeIc", Media::kImage},
                    MediaCase{"UpperCaseVideo", "/v/clip.MTS", Media::kVideo},
                    MediaCase{"AudioCountsAsVideo", "song.m4a", Media::kVideo},
                    MediaCase{"HyphenInAnExtension", "tv.dvr-ms", Media::kVideo},
                    MediaCase{"DiscImageIsVideo", "disc.iso", Media::kVideo},
                    MediaCase{"LongVideoExtension", "movie.mpeg4", Media::kVideo},
                    MediaCase{"UnknownMpeg", "movie.mpeg3", Media::kNeither},
                    MediaCase{"NoExtension", "/x/noext", Media::kNeither},
                    MediaCase{"NameIsAnExtension", "jpg", Media::kImage},
                    MediaCase{"EmptyExtension", "file.", Media::kNeither},
                    MediaCase{"OnlyTheLastExtension", "archive.tar.gz", Media::kNeither},
                    MediaCase{"DotInADirectory", "/dir.jpg/readme", Media::kNeither},
                    MediaCase{"WebpIsUnlisted", "a.webp", Media::kNeither},
                    MediaCase{"LongerThanAnEntry", "a.jpgx", Media::kNeither},
                    MediaCase{"ShorterThanAnEntry", "a.jp", Media::kNeither},
                    MediaCase{"BlankBehind", "a.jpg ", Media::kNeither}),
    kit::CaseName());

TEST(ExtensionSetTest, ImagesAreFixed) {
  EXPECT_EQ(kImageExt.size(), 32U);
  EXPECT_THAT(Texts(kImageExt),
              UnorderedElementsAre("jpg", "jpeg", "jpe", "bmp", "png", "tif", "tiff", "gif", "arw",
                                   "srf", "sr2", "dcr", "k25", "kdc", "cr2", "crw", "nef", "mrw",
                                   "ptx", "pef", "raf", "3fr", "erf", "mef", "mos", "orf", "rw2",
                                   "dng", "x3f", "raw", "heic", "heif"));
}

TEST(ExtensionSetTest, VideosAreFixed) {
  EXPECT_EQ(kVideoExt.size(), 48U);
  EXPECT_THAT(
      Texts(kVideoExt),
      UnorderedElementsAre("3gp", "3g2", "asf", "dat", "divx", "dvr-ms", "m2t", "m2ts", "mk3d",
                           "mka", "mks", "m4a", "m4v", "mkv", "mp4", "mts", "m4p", "m4b", "m4r",
                           "mov", "qt", "tp", "trp", "ts", "vob", "wmv", "xvid", "ac3", "amr", "rm",
                           "rmvb", "ifo", "mpeg", "mpg", "mpe", "m1v", "m2v", "mpeg1", "mpeg2",
                           "mpeg4", "ogv", "webm", "flv", "f4v", "avi", "swf", "vdr", "iso"));
}

TEST(ExtensionSetTest, EveryEntryClassifiesAFile) {
  for (const char* extension : kImageExt) {
    EXPECT_TRUE(IsSupportImage(std::string("/d/a.") + extension)) << extension;
    EXPECT_FALSE(IsSupportVideo(std::string("/d/a.") + extension)) << extension;
  }
  for (const char* extension : kVideoExt) {
    EXPECT_TRUE(IsSupportVideo(std::string("/d/a.") + extension)) << extension;
    EXPECT_FALSE(IsSupportImage(std::string("/d/a.") + extension)) << extension;
  }
}

TEST(ExtensionSetTest, ComparesTextsNotAddresses) {
  const std::string mine = "abc";
  const std::string same_text = "abc";
  const std::unordered_set<const char*> set = {mine.c_str()};
  ASSERT_NE(mine.c_str(), same_text.c_str());
  EXPECT_TRUE(IsSupportExt(set, "/d/a." + same_text));
}

TEST(ExtensionSetTest, AnEmptySetHoldsNothing) { EXPECT_FALSE(IsSupportExt({}, "a.jpg")); }

TEST(ExtensionSetTest, EntriesAreNotLowered) { EXPECT_FALSE(IsSupportExt({"JPG"}, "a.JPG")); }

}  // namespace
}  // namespace vexathumb
