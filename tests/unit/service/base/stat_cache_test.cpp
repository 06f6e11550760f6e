#include "service/base/stat_cache.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using kit::CaseName;

class StatCacheTest : public ServiceTest {
 protected:
  StatCacheTest() {
    kit::WriteFile(file_, "content");
    machine_.clock_ahead = 60;  // the file is not new
  }

  static struct stat StatusOf(const std::string& path) {
    struct stat status = {};
    stat(path.c_str(), &status);
    return status;
  }

  const std::string file_ = Picture("a");
  StatCache<std::string> cache_;
};

TEST_F(StatCacheTest, KnowsNothingAtFirst) {
  EXPECT_EQ(cache_.Get(file_, StatusOf(file_)), std::nullopt);
}

TEST_F(StatCacheTest, FindsWhatWasReadLast) {
  cache_.Put(file_, StatusOf(file_), "one");
  cache_.Put(file_, StatusOf(file_), "other");
  EXPECT_EQ(cache_.Get(file_, StatusOf(file_)), "other");
}

TEST_F(StatCacheTest, DoesNotTakeUpAFileThatHasJustChanged) {
  machine_.clock_ahead = 0;
  cache_.Put(file_, StatusOf(file_), "content");
  EXPECT_EQ(cache_.Get(file_, StatusOf(file_)), std::nullopt);
}

TEST_F(StatCacheTest, StaysBounded) {
  constexpr int kMore = 3000;
  for (int i = 0; i < kMore; ++i) {
    cache_.Put(file_ + std::to_string(i), StatusOf(file_), "content");
  }
  int recalled = 0;
  for (int i = 0; i < kMore; ++i) {
    if (cache_.Get(file_ + std::to_string(i), StatusOf(file_))) ++recalled;
  }
  EXPECT_GT(recalled, 0);
  EXPECT_LE(recalled, 1024);
}

struct ChangeCase {
  const char* name;
  std::function<void(const std::string& file)> make;
};

class ChangedFileTest : public StatCacheTest, public testing::WithParamInterface<ChangeCase> {};

TEST_P(ChangedFileTest, IsForgotten) {
  cache_.Put(file_, StatusOf(file_), "content");
  ASSERT_EQ(cache_.Get(file_, StatusOf(file_)), "content");
  GetParam().make(file_);
  EXPECT_EQ(cache_.Get(file_, StatusOf(file_)), std::nullopt);
}

void KeepTime(const std::string& file, const std::function<void()>& change) {
  const auto time = std::filesystem::last_write_time(file);
  change();
  std::filesystem::last_write_time(file, time);
}

INSTANTIATE_TEST_SUITE_P(AfterItIs, ChangedFileTest,
                         testing::Values(ChangeCase{"WrittenAnewWithTheSameSizeAndTime",
                                                    [](const auto& file) {
                                                      KeepTime(file, [&] {
                                                        kit::WriteFile(file, "CONTENT");
                                                      });
                                                    }},
                                         ChangeCase{"ReplacedByOneOfTheSameSizeAndTime",
                                                    [](const auto& file) {
                                                      KeepTime(file, [&] {
                                                        kit::WriteFile(file + ".new", "CONTENT");
                                                        std::filesystem::rename(file + ".new",
                                                                                file);
                                                      });
                                                    }},
                                         ChangeCase{"GivenAnotherTime",
                                                    [](const auto& file) {
                                                      SetModificationTime(file, kSourceTime + 1);
                                                    }}),
                         CaseName());

}  // namespace
}  // namespace vexathumb::service
