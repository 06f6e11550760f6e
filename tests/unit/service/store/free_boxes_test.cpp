#include "service/store/free_boxes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kit/files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void NobodyIsTold(const std::string& /*folder*/, const std::string& /*cause*/) {}

class FreeBoxesTest : public ServiceTest {
 protected:
  // Of a hundred bytes, in the order in which they are used.
  void StoreBox(const std::string& picture, const std::string& entry) {
    const std::string path = Picture(picture);
    kit::WriteFile(path, "a picture");
    WriteStored(path, entry, std::string(100, 'x'));
    const std::string stored = StorePath(path, entry);
    const auto is_later = [&] {
      const struct timespec now = StatusOf(stored).st_ctim;
      return std::pair(now.tv_sec, now.tv_nsec) > std::pair(last_.tv_sec, last_.tv_nsec);
    };
    while (!is_later()) chmod(stored.c_str(), 0600);
    last_ = StatusOf(stored).st_ctim;
  }

  FreeBoxEviction Evict(uint64_t bytes_of_store, bool dry_run = false) const {
    FreeBoxLimits limits;
    limits.bytes_of_store = bytes_of_store;
    return EvictFreeBoxesBelow(share_.path(), limits, dry_run, NobodyIsTold);
  }

 private:
  struct timespec last_ = {};
};

TEST_F(FreeBoxesTest, StayWhereTheyTakeNoMoreThanAllowed) {
  StoreBox("a.jpg", "VEXAFILE_THUMB_1x1.jpg");
  StoreBox("b.jpg", "VEXAAVATAR_1x1.jpg");
  const FreeBoxEviction eviction = Evict(200);
  EXPECT_EQ(eviction.before.files, 2);
  EXPECT_EQ(eviction.before.bytes, 200);
  EXPECT_EQ(eviction.removed.files, 0);
  EXPECT_THAT(Stored(Picture("a.jpg")), ElementsAre("VEXAFILE_THUMB_1x1.jpg"));
}

TEST_F(FreeBoxesTest, ThoseUsedLongestAgoGoUntilAQuarterIsFree) {
  StoreBox("a.jpg", "VEXAFILE_THUMB_1x1.jpg");
  StoreBox("b.jpg", "VEXAAVATAR_1x1.jpg");
  StoreBox("a.jpg", "VEXAFILE_THUMB_2x2.jpg");
  StoreBox("a.jpg", "VEXAFILE_THUMB_S.jpg");
  StoreBox("b.jpg", "VEXAFILE_THUMB_3x3_r1.png");
  StoreBox("b.jpg", "VEXAFILE_THUMB_4x4.jpg");
  for (const bool dry_run : {true, false}) {
    const FreeBoxEviction eviction = Evict(400, dry_run);
    EXPECT_EQ(eviction.before.bytes, 500);
    EXPECT_EQ(eviction.removed.files, 2);
    EXPECT_EQ(eviction.removed.bytes, 200);
  }
  EXPECT_THAT(Stored(Picture("a.jpg")),
              ElementsAre("VEXAFILE_THUMB_2x2.jpg", "VEXAFILE_THUMB_S.jpg"));
  EXPECT_THAT(Stored(Picture("b.jpg")),
              ElementsAre("VEXAFILE_THUMB_3x3_r1.png", "VEXAFILE_THUMB_4x4.jpg"));
}

TEST_F(FreeBoxesTest, OnlyFilesOfStoresGo) {
  StoreBox("a.jpg", "VEXAFILE_THUMB_1x1.jpg");
  kit::WriteFile(Picture("VEXAFILE_THUMB_1x1.jpg"), std::string(1000, 'x'));
  std::filesystem::create_symlink("../../VEXAFILE_THUMB_1x1.jpg",
                                  StorePath(Picture("a.jpg"), "VEXAFILE_THUMB_2x2.jpg"));
  EXPECT_EQ(Evict(1).removed.files, 1);
  EXPECT_TRUE(std::filesystem::exists(Picture("VEXAFILE_THUMB_1x1.jpg")));
  EXPECT_THAT(Stored(Picture("a.jpg")), ElementsAre("VEXAFILE_THUMB_2x2.jpg"));
}

TEST_F(FreeBoxesTest, AreNotKnownUntilSomebodyHasLooked) {
  FreeBoxTally tally(options_.lock_directory, share_.path());
  EXPECT_GE(tally.Add(10), FreeBoxTally::kUnknown);
  EXPECT_GE(tally.Add(10), FreeBoxTally::kUnknown);
  tally.Set(1000);
  EXPECT_EQ(tally.Add(10), 1010);
  EXPECT_EQ(FreeBoxTally(options_.lock_directory, share_.path()).Add(1), 1011);
  EXPECT_GE(FreeBoxTally(options_.lock_directory, "/another").Add(1), FreeBoxTally::kUnknown);
}

}  // namespace
}  // namespace vexathumb::service
