#include "service/index/farm_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <system_error>

#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;

class FarmLogTest : public testing::Test {
 protected:
  static ManifestFigures Manifest(uint64_t shards, uint32_t checksum) {
    return {shards, 2 * shards, 0, checksum};
  }

  kit::TempDir dir_;
  const std::string folder_ = dir_ / "new/log";
  const FarmLog log_{folder_};
  const FarmBuild build_ = {"vexathumb", "/manifest", {"--sizes", "small"}};
};

TEST_F(FarmLogTest, HasWhatGnuParallelIsTold) {
  log_.Prepare(Manifest(3, 1), {{":", ""}, {"root@nas", "/a=/b"}}, build_, "sh -c '…' {}");
  EXPECT_EQ(kit::ReadFile(folder_ + "/hosts"), "1/:\n1/root@nas\n");
  EXPECT_EQ(kit::ReadFile(folder_ + "/shards"), "1\n2\n3\n");
  EXPECT_EQ(kit::ReadFile(folder_ + "/command"), "sh -c '…' {}\n");
  EXPECT_EQ(log_.Shards(), 3);
}

TEST_F(FarmLogTest, HasNoShardsWhenThereIsNothingToDo) {
  log_.Prepare(Manifest(0, 1), {}, build_, "");
  EXPECT_EQ(kit::ReadFile(folder_ + "/shards"), "");
  EXPECT_EQ(log_.Shards(), 0);
}

TEST_F(FarmLogTest, KeepsWhatWasDoneForTheSameManifest) {
  log_.Prepare(Manifest(3, 1), {{":", ""}}, build_, "");
  kit::WriteFile(log_.joblog(), "x");
  kit::WriteFile(log_.sources(), "x");
  log_.Prepare(Manifest(3, 1), {{"nas", ""}}, build_, "other");
  EXPECT_TRUE(fs::exists(log_.joblog()));
  EXPECT_TRUE(fs::exists(log_.sources()));
}

TEST_F(FarmLogTest, BeginsAnewForAnotherManifest) {
  log_.Prepare(Manifest(3, 1), {{":", ""}}, build_, "");
  kit::WriteFile(log_.joblog(), "x");
  kit::WriteFile(log_.sources(), "x");
  log_.Prepare(Manifest(3, 2), {{":", ""}}, build_, "");
  EXPECT_FALSE(fs::exists(log_.joblog()));
  EXPECT_FALSE(fs::exists(log_.sources()));
}

TEST_F(FarmLogTest, BeginsAnewForOtherOptions) {
  log_.Prepare(Manifest(3, 1), {{":", ""}}, build_, "");
  for (const char* sizes : {"small,big", "\xff"}) {
    kit::WriteFile(log_.joblog(), "x");
    FarmBuild other = build_;
    other.options = {"--sizes", sizes};
    log_.Prepare(Manifest(3, 1), {{":", ""}}, other, "");
    EXPECT_FALSE(fs::exists(log_.joblog())) << sizes;
  }
}

TEST_F(FarmLogTest, WithoutAPlanIsNone) {
  EXPECT_THROW(log_.Shards(), FarmError);
  fs::create_directories(folder_);
  for (const char* text : {"", "{", "[]", "{}", R"({"shards": "3", "checksum": 1})"}) {
    kit::WriteFile(folder_ + "/plan.json", text);
    EXPECT_THROW(log_.Shards(), FarmError) << text;
  }
}

TEST_F(FarmLogTest, TellsOfAFolderThatCannotBe) {
  kit::WriteFile(dir_ / "new", "");
  EXPECT_THROW(log_.Prepare(Manifest(1, 1), {{":", ""}}, build_, ""), std::system_error);
}

}  // namespace
}  // namespace vexathumb::service
