#include "service/base/output_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <system_error>

#include "kit/files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class OutputFileTest : public ServiceTest {
 protected:
  static void Write(const OutputFile& file, const std::string& text) {
    EXPECT_EQ(write(file.descriptor(), text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
  }

  const std::string path_ = share_ / "out.jpg";
};

TEST_F(OutputFileTest, ReplacesWhatWasThereWhenItIsCommitted) {
  kit::WriteFile(path_, "before");
  OutputFile file(path_);
  Write(file, "after");
  EXPECT_EQ(kit::ReadFile(path_), "before");
  file.Commit();
  EXPECT_EQ(kit::ReadFile(path_), "after");
  EXPECT_THAT(NamesIn(share_.path()), ElementsAre("out.jpg"));
}

TEST_F(OutputFileTest, WithoutCommitNothingRemains) {
  { Write(OutputFile(path_), "x"); }
  EXPECT_THAT(NamesIn(share_.path()), IsEmpty());
}

TEST_F(OutputFileTest, HasTheUsualMode) {
  const mode_t mask = umask(022);
  OutputFile file(path_);
  file.Commit();
  umask(mask);
  struct stat st = {};
  ASSERT_EQ(stat(path_.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0644U);
}

TEST_F(OutputFileTest, WhatALinkLeadsToIsReplacedAndTheLinkStays) {
  kit::WriteFile(share_ / "real", "before");
  fs::create_symlink("real", path_);
  OutputFile file(path_);
  Write(file, "after");
  file.Commit();
  EXPECT_TRUE(fs::is_symlink(path_));
  EXPECT_EQ(kit::ReadFile(share_ / "real"), "after");
}

TEST_F(OutputFileTest, APipeIsWrittenTo) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const posix::UniqueFd reader(open(path_.c_str(), O_RDONLY | O_NONBLOCK));
  OutputFile file(path_);
  Write(file, "through");
  file.Commit();
  std::array<char, 16> text = {};
  EXPECT_EQ(read(reader.get(), text.data(), text.size()), 7);
  EXPECT_STREQ(text.data(), "through");
  EXPECT_TRUE(fs::is_fifo(path_));
}

TEST_F(OutputFileTest, AFolderAndAMissingFolderAreRefused) {
  EXPECT_THROW(OutputFile(share_.path()), std::system_error);
  EXPECT_THROW(OutputFile(share_ / "missing/out.jpg"), std::system_error);
}

}  // namespace
}  // namespace vexathumb::service
