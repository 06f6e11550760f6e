#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

constexpr int kFolderSize = 500;

// Photos so small that they are their own thumbnails, and one in a hundred that needs one.
void WritePhotos(const Album& album, int count) {
  kit::WriteJpeg(album.Aside("small.jpg"), {{60, 40}});
  kit::WriteJpeg(album.Aside("large.jpg"), {{160, 120}});
  const std::string small = kit::ReadFile(album.Aside("small.jpg"));
  const std::string large = kit::ReadFile(album.Aside("large.jpg"));
  for (int i = 0; i < count; ++i) {
    const std::string folder = album / std::to_string(i / kFolderSize);
    if (i % kFolderSize == 0) fs::create_directory(folder);
    kit::WriteFile(folder + "/" + std::to_string(i) + ".jpg", i % 100 == 0 ? large : small);
  }
}

RunResult BuildTwice(int count) {
  const Album album;
  WritePhotos(album, count);
  RunResult first = album.Run({"build", album.pictures()});
  EXPECT_EQ(first.exit_code, 0) << first.err;
  EXPECT_THAT(first.out, HasSubstr(std::to_string(count / 100) + " built, "));
  const std::string journal = album.Aside("journal");
  const RunResult second =
      album.Run({"build", album.pictures()}, {"", album.Spied("SPY_JOURNAL", journal)});
  EXPECT_THAT(second.out, HasSubstr("Nothing to do: 0 built, " + std::to_string(5 * count)));
  EXPECT_FALSE(fs::exists(journal)) << kit::ReadFile(journal);
  return first;
}

TEST(BuildLoad, TenThousandPhotosNeedNoMoreMemoryThanAThousand) {
  const RunResult few = BuildTwice(1000);
  const RunResult many = BuildTwice(10000);
  EXPECT_LE(static_cast<double>(many.peak_kilobytes),
            1.2 * static_cast<double>(few.peak_kilobytes));
}

}  // namespace
}  // namespace vexathumb::system_test
