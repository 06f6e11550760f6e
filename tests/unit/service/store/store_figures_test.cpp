#include "service/store/store_figures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kit/files.h"
#include "service/picture/content_type.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using Kind = StoreFigures::Kind;

class StoreFiguresTest : public ServiceTest {
 protected:
  StoreFigures Figures() const {
    StoreFigures figures;
    AddStoreFigures(share_.path(), &figures,
                    [](const std::string& folder, const std::string& cause) {
                      ADD_FAILURE() << folder << ": " << cause;
                    });
    return figures;
  }

  static void StorePicture(const std::string& source, const std::string& entry, time_t time) {
    WritePhoto(StorePath(source, entry), {30, 20});
    SetModificationTime(StorePath(source, entry), time);
  }
};

TEST_F(StoreFiguresTest, CountsByApplicationSizeAndContent) {
  const std::string source = Picture("a.jpg");
  WritePhoto(source, {400, 300});
  WriteStored(source, "notes.txt", "12345");
  StorePicture(source, "VEXAPHOTO_THUMB_S.jpg", 1);
  StorePicture(source, "VEXAFILE_THUMB_S.jpg", kSourceTime);
  StorePicture(source, "VEXAFILE_THUMB_S_r1.jpg", kSourceTime - 1);
  WriteDecodedJpeg(StorePath(source, "VEXAFILE_THUMB_M.jpg"));

  StoreFigures figures = Figures();
  EXPECT_EQ(figures.directories, 1);
  EXPECT_EQ(figures.kinds.size(), 4);
  const FileCount small = figures.kinds[Kind{StoreOwner::kFileManager, "small", kJpegType}];
  EXPECT_EQ(small.files, 2);
  EXPECT_EQ(small.current, 1);
  EXPECT_EQ(small.bytes, kit::ReadFile(StorePath(source, "VEXAFILE_THUMB_S.jpg")).size() * 2);
  const FileCount medium = figures.kinds[Kind{StoreOwner::kFileManager, "medium", kBmpType}];
  EXPECT_EQ(medium.files, 1);
  EXPECT_EQ(medium.current, 0);
  const FileCount other = figures.kinds[Kind{StoreOwner::kOther, "", ""}];
  EXPECT_EQ(other.bytes, 5);
}

TEST_F(StoreFiguresTest, CountsOrphansApart) {
  WriteStored(Picture("gone.jpg"), "VEXAFILE_THUMB_S.jpg", "123");
  WriteStored(Picture("gone.jpg"), "VEXAFILE_THUMB_M.jpg", "12345");
  const StoreFigures figures = Figures();
  EXPECT_EQ(figures.orphans, 1);
  EXPECT_EQ(figures.in_orphans.files, 2);
  EXPECT_EQ(figures.in_orphans.bytes, 8);
  EXPECT_EQ(figures.directories, 0);
  EXPECT_TRUE(figures.kinds.empty());
}

}  // namespace
}  // namespace vexathumb::service
