#include "platform/tool/private_folder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexaplatform {
namespace {

namespace fs = std::filesystem;
using vexathumb::kit::TempDir;
using vexathumb::kit::WriteFile;

class SweepPrivateFoldersTest : public testing::Test {
 protected:
  // As a tool leaves it: a link to its source, a result, and a folder of its own.
  std::string MakeFolder() const {
    std::string path = PrivateFolderName(parent_.path());
    fs::create_directories(path + "/magick");
    WriteFile(path + "/magick/cache", "x");
    WriteFile(path + "/destination.jpg", "x");
    fs::create_symlink(parent_ / "source.jpg", path + "/source.jpg");
    return path;
  }

  const TempDir parent_;
};

TEST_F(SweepPrivateFoldersTest, TakesWhatNobodyHasUsedForThatLong) {
  WriteFile(parent_ / "source.jpg", "x");
  const std::string folder = MakeFolder();
  SweepPrivateFolders(parent_.path(), 60);
  EXPECT_TRUE(fs::exists(folder + "/destination.jpg")) << "still young";
  SweepPrivateFolders(parent_.path(), 0);
  EXPECT_FALSE(fs::exists(folder));
  EXPECT_TRUE(fs::exists(parent_ / "source.jpg"));
}

TEST_F(SweepPrivateFoldersTest, LeavesEverythingElse) {
  const std::string name = "vexathumb-tool.abcdefghijklmnop";
  for (const char* other :
       {"vexathumb-tool.", "vexathumb-tool.abc", "xvexathumb-tool.abcdefghijklmnop",
        "vexathumb-tool.ABCDEFGHIJKLMNOP"}) {
    fs::create_directory(parent_ / other);
  }
  fs::create_directory(parent_ / "target");
  fs::create_symlink(parent_ / "target", parent_ / name);
  WriteFile(parent_ / "vexathumb-tool.bbcdefghijklmnop", "a file");
  if (geteuid() == 0) {
    fs::create_directory(parent_ / "vexathumb-tool.cbcdefghijklmnop");
    ASSERT_EQ(chown((parent_ / "vexathumb-tool.cbcdefghijklmnop").c_str(), 12345, 12345), 0);
  }
  const auto names = [this] {
    return std::distance(fs::directory_iterator(parent_.path()), fs::directory_iterator());
  };
  const auto before = names();
  SweepPrivateFolders(parent_.path(), 0);
  EXPECT_EQ(names(), before);
}

TEST_F(SweepPrivateFoldersTest, AMissingFolderIsNoFault) {
  SweepPrivateFolders(parent_ / "missing", 0);
}

}  // namespace
}  // namespace vexaplatform
