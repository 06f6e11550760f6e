#include "service/store/sweeping.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;
using std::filesystem::exists;

constexpr time_t kJustUnderAnHour = 60 * 60 - 60;
constexpr time_t kOverAnHour = 60 * 60 + 60;

struct SweptCase {
  const char* name;
  const char* entry;
  bool swept;
};

class SweepStoreTest : public ServiceTest, public testing::WithParamInterface<SweptCase> {
 protected:
  SweepStoreTest() { WritePhoto(source_, {40, 30}); }

  const std::string source_ = Picture("a.jpg");
};

TEST_P(SweepStoreTest, TakesOldTemporariesOnly) {
  const std::string path = StorePath(source_, GetParam().entry);
  WriteStored(source_, GetParam().entry, "x");
  machine_.folder_clock_ahead = kJustUnderAnHour;
  SweepStoreDirectory(source_);
  EXPECT_TRUE(exists(path)) << "still young";
  machine_.folder_clock_ahead = kOverAnHour;
  SweepStoreDirectory(source_);
  EXPECT_EQ(exists(path), !GetParam().swept);
}

INSTANTIATE_TEST_SUITE_P(
    Names, SweepStoreTest,
    testing::Values(SweptCase{"LibrarysTemporary", "VEXAFILETMP_THUMB.jpg", true},
                    SweptCase{"LibrarysTurned", "VEXAFILETMP_THUMB_r1.png", true},
                    SweptCase{"DecodersIntermediate", "VEXAFILETMP_THUMB_r1.jpg_1700000000", true},
                    SweptCase{"RawPreview", "VEXAFILETMP_THUMB.jpg_42_1700000000", true},
                    SweptCase{"UniqueName", "VEXAFILE_THUMB_S.jpg_42_1700000000", true},
                    SweptCase{"Ours", "VEXATHUMBTMP_abcdefghijklm012_VEXAFILE_THUMB_S.jpg", true},
                    SweptCase{"FormerlyOurs", "VEXATHUMBTMP_42_1700000000_0_VEXAFILE_THUMB_S.jpg",
                              true},
                    SweptCase{"PictureOfSomebody", "VEXAFILETMP_THUMB 2024.jpg", false},
                    SweptCase{"SomebodysCopy", "VEXAFILE_THUMB_S.jpg_12_25", false},
                    SweptCase{"Copy", ".vexacopy.aB3xYz", true},
                    SweptCase{"Thumbnail", "VEXAFILE_THUMB_S.jpg", false},
                    SweptCase{"TurnedThumbnail", "VEXAFILE_THUMB_XL_r3.jpg", false},
                    SweptCase{"FreeBox", "VEXAFILE_THUMB_320x240_r1.jpg", false},
                    SweptCase{"Avatar", "VEXAAVATAR_96x96.jpg", false},
                    SweptCase{"PhotoAlbum", "VEXAPHOTO_THUMB_S.jpg", false},
                    SweptCase{"OldPhotoAlbum", "VEXAPHOTO:THUMB_S.jpg", false},
                    SweptCase{"Screenshot", "VEXAVIDEO_VIDEO_SCREENSHOT.jpg", false},
                    SweptCase{"Failure", "VEXATHUMB_FAILURE.json", false},
                    SweptCase{"OtherProgramsFile", "notes.txt", false}),
    CaseName());

class SweepStaleTest : public SweepStoreTest {};

TEST_P(SweepStaleTest, TakesFreeBoxesOfAnOlderSource) {
  WriteStored(source_, GetParam().entry, "x", kSourceTime - 1);
  machine_.folder_clock_ahead = kOverAnHour;
  SweepStoreDirectory(source_);
  EXPECT_EQ(exists(StorePath(source_, GetParam().entry)), !GetParam().swept);
}

INSTANTIATE_TEST_SUITE_P(Names, SweepStaleTest,
                         testing::Values(SweptCase{"FreeBox", "VEXAFILE_THUMB_320x240.jpg", true},
                                         SweptCase{"Avatar", "VEXAAVATAR_96x96_r1.jpg", true},
                                         SweptCase{"NamedSize", "VEXAFILE_THUMB_S.jpg", false},
                                         SweptCase{"PhotoAlbum", "VEXAPHOTO_THUMB_S.jpg", false}),
                         CaseName());

constexpr char kTemporary[] = "VEXAFILETMP_THUMB.jpg";
constexpr char kLink[] = "VEXATHUMBTMP_abcdefghijklmnop_a.jpg";
constexpr char kFolder[] = "VEXATHUMBTMP_ponmlkjihgfedcba_a.jpg";

TEST_F(SweepStoreTest, LinksAndFoldersStay) {
  WriteStored(source_, "kept", "x");
  const std::string target = StorePath(source_, "kept");
  std::filesystem::create_symlink(target, StorePath(source_, kLink));
  std::filesystem::create_directory(StorePath(source_, kFolder));
  machine_.folder_clock_ahead = kOverAnHour;
  SweepStoreDirectory(source_);
  EXPECT_TRUE(exists(target));
  EXPECT_TRUE(exists(StorePath(source_, kLink)));
  EXPECT_TRUE(exists(StorePath(source_, kFolder)));
}

TEST_F(SweepStoreTest, WhetherAFileIsOldIsNotSaidByTheTimeOfItsContent) {
  WriteStored(source_, kTemporary, "x", kSourceTime);  // years ago, and yet just written
  SweepStoreDirectory(source_);
  EXPECT_TRUE(exists(StorePath(source_, kTemporary)));
}

// The clock of a machine that builds beside the one that has the files.
TEST_F(SweepStoreTest, WhetherAFileIsOldIsNotSaidByThisMachinesClock) {
  const std::string being_made = StorePath(source_, kTemporary);
  WriteStored(source_, kTemporary, "x");
  machine_.clock_ahead = 2 * kOverAnHour;
  SweepStoreDirectory(source_);
  EXPECT_TRUE(exists(being_made)) << "another machine's work";
  machine_.clock_ahead = -2 * kOverAnHour;
  machine_.folder_clock_ahead = kOverAnHour;
  SweepStoreDirectory(source_);
  EXPECT_FALSE(exists(being_made)) << "left for an hour";
  EXPECT_THAT(Stored(source_), testing::IsEmpty());
}

TEST_F(SweepStoreTest, OtherUsersFilesStay) {
  WriteStored(source_, kTemporary, "x");
  if (geteuid() == 0) {
    ASSERT_EQ(chown(StorePath(source_, kTemporary).c_str(), 12345, 12345), 0);
    machine_.folder_clock_ahead = kOverAnHour;
    SweepStoreDirectory(source_);
    EXPECT_TRUE(exists(StorePath(source_, kTemporary)));
  }
  std::filesystem::remove(StorePath(source_, kTemporary));
}

TEST_F(SweepStoreTest, AMissingStoreIsNoFault) {
  SweepStoreDirectory(Picture("other.jpg"));
  SweepStoreDirectory("relative.jpg");
  EXPECT_FALSE(exists(share_ / ".vexaea"));
}

// In /tmp and /var/tmp, which others use too: so only names with this process's own number.
struct TemporaryCase {
  const char* name;
  std::string before;  // the number
  std::string after;
  bool swept;
};

class SweepTemporariesTest : public ServiceTest,
                             public testing::WithParamInterface<TemporaryCase> {};

TEST_P(SweepTemporariesTest, TakesOldLeftoversOnly) {
  const std::string path = GetParam().before + std::to_string(getpid()) + GetParam().after;
  kit::WriteFile(path, "x");
  machine_.removable = path;  // the clock makes everybody's files old
  machine_.folder_clock_ahead = kJustUnderAnHour;
  SweepTemporaryDirectories();
  EXPECT_TRUE(exists(path)) << "still young";
  machine_.folder_clock_ahead = kOverAnHour;
  SweepTemporaryDirectories();
  EXPECT_EQ(exists(path), !GetParam().swept);
  std::filesystem::remove(path);
}

INSTANTIATE_TEST_SUITE_P(
    Names, SweepTemporariesTest,
    testing::Values(
        TemporaryCase{"Result", "/var/tmp/vexathumb_VEXAFILETMP_THUMB.jpg_", "_1700000000", true},
        TemporaryCase{"Ours", "/var/tmp/VEXATHUMBTMP_abcdefghijklmnop_", "a.jpg", true},
        TemporaryCase{"FormerlyOurs", "/var/tmp/VEXATHUMBTMP_", "_1700000000_0_a.jpg", true},
        TemporaryCase{"Animation", "/var/tmp/convert_thumbnail__1700000000", "a.gif", true},
        TemporaryCase{"AnimationWithALineBreak", "/var/tmp/convert_thumbnail__1700000000",
                      "a\nb.gif", true},
        TemporaryCase{"Preview", "/tmp/thumb.", ".1700000000.1804289383.jpg", true},
        TemporaryCase{"PreviewWithoutExtension", "/tmp/thumb.", ".1700000000.1804289383", true},
        TemporaryCase{"PhotographOfADay", "/tmp/thumb.", ".12.25.jpg", false},
        TemporaryCase{"PhotographOfADayInVarTmp", "/var/tmp/vexathumb_party_", "_20241225", false},
        TemporaryCase{"OtherInVarTmp", "/var/tmp/vexathumb-", ".txt", false},
        TemporaryCase{"OtherInTmp", "/tmp/thumb-", ".jpg", false},
        TemporaryCase{"ResultInTheWrongPlace", "/tmp/vexathumb_VEXAFILETMP_THUMB.jpg_", "_17",
                      false}),
    CaseName());

}  // namespace
}  // namespace vexathumb::service
