#include <gtest/gtest.h>

#include <cerrno>

#include "unit/platform/scoped_settings.h"
#include "vexa/share.h"

namespace vexaplatform {
namespace {

class Share : public testing::Test {
 protected:
  ScopedSettings settings_{
      "[share photo]\npath = /volume1/photo\nindexed = yes\n"
      "[share music]\npath = /volume1/music\n"};
  VEXASHARE* share_ = nullptr;
};

TEST_F(Share, ThatIsIndexedHasTheFlag) {
  ASSERT_EQ(VEXAShareGet("photo", &share_), 0);
  EXPECT_EQ(share_->status, SHARE_STATUS_INDEXED);
  VEXAShareFree(share_);
}

TEST_F(Share, ThatIsNotIndexedHasNone) {
  ASSERT_EQ(VEXAShareGet("music", &share_), 0);
  EXPECT_EQ(share_->status, SHARE_STATUS_NORMAL);
  VEXAShareFree(share_);
}

TEST_F(Share, ThatIsUnknownIsNotFound) {
  for (const char* name : {"", "phot", "photo ", "Photo", static_cast<const char*>(nullptr)}) {
    VEXASHARE unset{};
    share_ = &unset;
    EXPECT_EQ(VEXAShareGet(name, &share_), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(share_, nullptr);
  }
}

TEST_F(Share, NeedsAPlaceForTheAnswer) {
  EXPECT_EQ(VEXAShareGet("photo", nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(Share, RecordMayBeNullWhenReleased) { VEXAShareFree(nullptr); }

TEST_F(Share, FollowsTheSettings) {
  settings_.Write("[share music]\npath = /volume1/music\nindexed = 1\n");
  EXPECT_EQ(VEXAShareGet("photo", &share_), -1);
  ASSERT_EQ(VEXAShareGet("music", &share_), 0);
  EXPECT_EQ(share_->status, SHARE_STATUS_INDEXED);
  VEXAShareFree(share_);
}

}  // namespace
}  // namespace vexaplatform
