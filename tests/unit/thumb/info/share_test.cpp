#include "vexa/share.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "kit/case_name.h"
#include "kit/doubles/call_journal.h"
#include "kit/doubles/platform_double.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "thumb/thumb_info.h"

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;
using kit::CaseName;
using testing::ElementsAre;

bool IsIndexed(const std::string& path) {
  return ThumbInfo(path, kSmall, {120, 120}).IsThumbShareIndexed();
}

// A folder of its own as working directory, so that relative paths of any form can be sources.
class WorkingDirectory {
 public:
  WorkingDirectory() : before_(std::filesystem::current_path()) {
    std::filesystem::current_path(dir_.path());
  }
  ~WorkingDirectory() { std::filesystem::current_path(before_); }

 private:
  kit::TempDir dir_;
  std::filesystem::path before_;
};

struct LookupCase {
  const char* name;
  const char* path;  // exists everywhere, or is made in the working directory
  const char* share;
};

class ShareLookupTest : public testing::TestWithParam<LookupCase> {
 protected:
  kit::PlatformDouble platform_;
};

TEST_P(ShareLookupTest, IsForTheSecondComponent) {
  const WorkingDirectory working_directory;
  const std::filesystem::path path = GetParam().path;
  if (path.is_relative()) {
    if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
    kit::WriteFile(path, "");
  }
  EXPECT_FALSE(IsIndexed(path));
  EXPECT_THAT(CallJournal::Get().Of({"VEXAShareGet"}),
              ElementsAre(Call{"VEXAShareGet", GetParam().share, {}, 0}));
}

INSTANTIATE_TEST_SUITE_P(Paths, ShareLookupTest,
                         testing::Values(LookupCase{"VolumeShareRest", "/proc/self/status", "self"},
                                         LookupCase{"VolumeShareDeepRest", "/proc/self/net/dev",
                                                    "self"},
                                         LookupCase{"ShareIsTheSource", "/dev/null", "null"},
                                         LookupCase{"VolumeIsTheSource", "/proc", "roc"},
                                         LookupCase{"SlashBehindTheVolume", "/proc/", ""},
                                         LookupCase{"DoubleSlash", "//dev//null", "dev"},
                                         LookupCase{"EmptyComponent", "/dev//null", ""},
                                         LookupCase{"Relative", "abcd/photo/x.jpg", "photo"},
                                         LookupCase{"RelativeWithoutSlash", "abc", "c"}),
                         CaseName());

struct StatusCase {
  const char* name;
  int status;
  bool indexed;
};

class ShareStatusTest : public testing::TestWithParam<StatusCase> {};

TEST_P(ShareStatusTest, HasTheIndexedFlagOrNot) {
  kit::PlatformDouble platform;
  platform.shares["self"] = GetParam().status;
  EXPECT_EQ(IsIndexed("/proc/self/status"), GetParam().indexed);
  EXPECT_EQ(platform.OpenShares(), 0);
}

INSTANTIATE_TEST_SUITE_P(Shares, ShareStatusTest,
                         testing::Values(StatusCase{"Normal", SHARE_STATUS_NORMAL, false},
                                         StatusCase{"Indexed", SHARE_STATUS_INDEXED, true},
                                         StatusCase{"IndexedAmongOthers", 0x1FFFF, true},
                                         StatusCase{"AllButIndexed",
                                                    0x1FFFF & ~SHARE_STATUS_INDEXED, false}),
                         CaseName());

TEST(ShareTest, RecordOfAMissingShareIsReleasedAndNotRead) {
  kit::PlatformDouble platform;
  platform.record_of_missing_share = true;
  EXPECT_FALSE(IsIndexed("/proc/self/status"));
  EXPECT_EQ(platform.OpenShares(), 0);
  EXPECT_THAT(CallJournal::Get().Operations(), ElementsAre("VEXAShareGet", "VEXAShareFree"));
}

TEST(ShareTest, NothingIsReleasedWithoutARecord) {
  kit::PlatformDouble platform;
  EXPECT_FALSE(IsIndexed("/proc/self/status"));
  EXPECT_THAT(CallJournal::Get().Operations(), ElementsAre("VEXAShareGet"));
}

TEST(ShareTest, PathOfOneByteHasNoShare) {
  kit::PlatformDouble platform;
  EXPECT_THROW(IsIndexed("/"), std::out_of_range);
}

}  // namespace
}  // namespace vexathumb
