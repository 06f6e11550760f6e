#include "service/store/store_names.h"

#include <gtest/gtest.h>

#include "kit/case_name.h"
#include "service/base/atomic_file.h"

namespace vexathumb::service {
namespace {

struct EntryCase {
  const char* name;
  std::string entry;
  StoreOwner owner;
  const char* size;
};

class StoreEntryTest : public testing::TestWithParam<EntryCase> {};

TEST_P(StoreEntryTest, IsKnownByItsName) {
  const StoreEntryKind entry = ClassifyStoreEntry(GetParam().entry);
  EXPECT_EQ(entry.owner, GetParam().owner);
  EXPECT_EQ(entry.size, GetParam().size);
}

INSTANTIATE_TEST_SUITE_P(
    Names, StoreEntryTest,
    testing::Values(
        EntryCase{"PhotoAlbum", "VEXAPHOTO_THUMB_S.jpg", StoreOwner::kPhotoAlbum, "small"},
        EntryCase{"FormerPhotoAlbum", "VEXAPHOTO:THUMB_XL.jpg", StoreOwner::kPhotoAlbum, "xlarge"},
        EntryCase{"PhotoAlbumsOther", "VEXAPHOTO_FILM.mp4", StoreOwner::kPhotoAlbum, ""},
        EntryCase{"FileManager", "VEXAFILE_THUMB_M.png", StoreOwner::kFileManager, "medium"},
        EntryCase{"Turned", "VEXAFILE_THUMB_B_r1.jpg", StoreOwner::kFileManager, "big"},
        EntryCase{"TurnedBack", "VEXAFILE_THUMB_B_r-3.gif", StoreOwner::kFileManager, "big"},
        EntryCase{"FreeBox", "VEXAFILE_THUMB_320x240_r2.jpg", StoreOwner::kFileManager, "free"},
        EntryCase{"Avatar", "VEXAAVATAR_96x96_r1.jpg", StoreOwner::kAvatar, ""},
        EntryCase{"Screenshot", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg", StoreOwner::kVideo, ""},
        EntryCase{"Failure", "VEXATHUMB_FAILURE.json", StoreOwner::kFailure, ""},
        EntryCase{"BeingMade", "VEXAFILETMP_THUMB_r1.jpg", StoreOwner::kTemporary, ""},
        EntryCase{"UniqueName", "VEXAPHOTO_THUMB_S.jpg_42_1700000000", StoreOwner::kTemporary, ""},
        EntryCase{"Ours", "VEXATHUMBTMP_4_1700000000_0_VEXAFILE_THUMB_S.jpg",
                  StoreOwner::kTemporary, ""},
        EntryCase{"AnyOfOurs", TemporaryFor("VEXAFILE_THUMB_S.jpg"), StoreOwner::kTemporary, ""},
        EntryCase{"Copy", ".vexacopy.aB3xYz", StoreOwner::kTemporary, ""},
        EntryCase{"OtherProgram", "notes.txt", StoreOwner::kOther, ""},
        EntryCase{"UnknownApplication", "VEXAMUSIC_COVER.jpg", StoreOwner::kOther, ""},
        EntryCase{"OtherExtension", "VEXAFILE_THUMB_S.exe", StoreOwner::kOther, ""},
        EntryCase{"LineBreakBehind", "VEXAFILE_THUMB_S.jpg\n", StoreOwner::kOther, ""},
        EntryCase{"NotUtf8", "VEXAFILE_THUMB_\xff.jpg", StoreOwner::kOther, ""}),
    kit::CaseName());

struct NameCase {
  const char* name;
  std::string entry;
  bool (*is_meant)(const std::string&);
  bool expected;
};

class StoreNamesTest : public testing::TestWithParam<NameCase> {};

TEST_P(StoreNamesTest, AreToldApart) {
  EXPECT_EQ(GetParam().is_meant(GetParam().entry), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    FreeBoxes, StoreNamesTest,
    testing::Values(NameCase{"Box", "VEXAFILE_THUMB_320x240.jpg", IsFreeBox, true},
                    NameCase{"TurnedBack", "VEXAFILE_THUMB_3x2_r-1.gif", IsFreeBox, true},
                    NameCase{"Avatar", "VEXAAVATAR_96x96_r1.jpg", IsFreeBox, true},
                    NameCase{"NamedSize", "VEXAFILE_THUMB_XL.jpg", IsFreeBox, false},
                    NameCase{"PhotoAlbums", "VEXAPHOTO_THUMB_320x240.jpg", IsFreeBox, false},
                    NameCase{"BeingMade", "VEXAFILE_THUMB_3x2.jpg_1_2", IsFreeBox, false}),
    kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Derived, StoreNamesTest,
    testing::Values(NameCase{"Thumbnail", "VEXAFILE_THUMB_S.jpg", IsDerived, true},
                    NameCase{"Failure", kFailureEntryName, IsDerived, true},
                    NameCase{"Temporary", "VEXAFILETMP_THUMB.jpg", IsDerived, true},
                    NameCase{"Album", "VEXAPHOTO:THUMB_XL.jpg", IsDerived, true},
                    NameCase{"Screenshot", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg", IsDerived, true},
                    NameCase{"LikeAnAlbums", "VEXAPHOTO_summer.jpg", IsDerived, false},
                    NameCase{"LikeAVideos", "VEXAVIDEO_1.jpg", IsDerived, false},
                    NameCase{"OtherProgram", "notes.txt", IsDerived, false}),
    kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Tmp, StoreNamesTest,
    testing::Values(NameCase{"Preview", "thumb.42.1700000000.7.jpg", IsTmpName, true},
                    NameCase{"WithoutExtension", "thumb.42.1700000000.7", IsTmpName, true},
                    NameCase{"OtherProgram", "thumb.jpg", IsTmpName, false},
                    NameCase{"PhotographOfADay", "thumb.2024.12.25.jpg", IsTmpName, false},
                    NameCase{"Ours", TemporaryFor("a.jpg"), IsTmpName, true}),
    kit::CaseName());

INSTANTIATE_TEST_SUITE_P(
    VarTmp, StoreNamesTest,
    testing::Values(
        NameCase{"Result", "vexathumb_VEXAFILETMP_THUMB.jpg_42_1700000000", IsVarTmpName, true},
        NameCase{"Ours", TemporaryFor("a.jpg"), IsVarTmpName, true},
        NameCase{"Animation", "convert_thumbnail__1700000000a\nb.gif", IsVarTmpName, true},
        NameCase{"OtherProgram", "vexathumb-tool.x", IsVarTmpName, false}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::service
