#include "programs/vexathumb-web/folder_listing.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "posix/unique_fd.h"

namespace vexathumb::web {
namespace {

using kit::TempDir;
using kit::WriteFile;
using testing::ElementsAre;

constexpr Page kAll = {0, 1000};

void SetTime(const std::string& path, time_t time) {
  const timespec times[] = {{time, 0}, {time, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

std::optional<FolderListing> List(const TempDir& folder, SortOrder order, const Page& page) {
  const posix::UniqueFd handle(open(folder.path().c_str(), O_PATH | O_DIRECTORY));
  return ListFolder(handle.get(), folder.path(), order, page);
}

std::vector<std::string> Names(const FolderListing& listing) {
  std::vector<std::string> names;
  for (const Entry& entry : listing.entries) names.push_back(entry.name);
  return names;
}

TEST(FolderListing, HoldsFoldersPicturesAndVideosInThisOrder) {
  const TempDir folder;
  for (const char* name : {"b.mp4", "a.JPG", "c.webp", "d.cr3"}) WriteFile(folder / name, "x");
  std::filesystem::create_directory(folder / "z");
  const auto listing = List(folder, SortOrder::kName, kAll);
  ASSERT_TRUE(listing);
  EXPECT_EQ(listing->total, 5U);
  EXPECT_THAT(Names(*listing), ElementsAre("z", "a.JPG", "b.mp4", "c.webp", "d.cr3"));
  EXPECT_EQ(listing->entries[0].kind, EntryKind::kFolder);
  EXPECT_EQ(listing->entries[1].kind, EntryKind::kImage);
  EXPECT_EQ(listing->entries[2].kind, EntryKind::kVideo);
  EXPECT_EQ(listing->entries[1].size, 1);
}

TEST(FolderListing, LeavesEverythingElseOut) {
  const TempDir folder;
  for (const char* name : {"notes.txt", "Makefile", ".hidden.jpg", "jpg"}) {
    WriteFile(folder / name, "x");
  }
  std::filesystem::create_directories(folder / ".vexaea/a.jpg");
  std::filesystem::create_symlink("notes.txt", folder / "link.jpg");
  std::filesystem::create_directory_symlink(".", folder / "loop");
  kit::WriteFifo(folder / "fifo.jpg");
  kit::WriteSocket(folder / "socket.jpg");
  const auto listing = List(folder, SortOrder::kName, kAll);
  ASSERT_TRUE(listing);
  EXPECT_EQ(listing->total, 0U);
  EXPECT_TRUE(listing->entries.empty());
}

TEST(FolderListing, SortsNumbersByTheirValue) {
  const TempDir folder;
  for (const char* name : {"IMG_10.jpg", "IMG_9.jpg", "IMG_100.jpg"}) WriteFile(folder / name, "");
  EXPECT_THAT(Names(*List(folder, SortOrder::kName, kAll)),
              ElementsAre("IMG_9.jpg", "IMG_10.jpg", "IMG_100.jpg"));
}

TEST(FolderListing, SortsTheNewestFirstAndEqualTimesByName) {
  const TempDir folder;
  for (const char* name : {"old.jpg", "b.jpg", "a.jpg"}) WriteFile(folder / name, "");
  std::filesystem::create_directory(folder / "ancient");
  SetTime(folder / "ancient", 1);
  SetTime(folder / "old.jpg", 1000);
  SetTime(folder / "b.jpg", 2000);
  SetTime(folder / "a.jpg", 2000);
  const auto listing = List(folder, SortOrder::kNewestFirst, kAll);
  EXPECT_THAT(Names(*listing), ElementsAre("ancient", "a.jpg", "b.jpg", "old.jpg"));
  EXPECT_EQ(listing->entries[3].mtime.tv_sec, 1000);
}

struct Cut {
  const char* name;
  Page page;
  std::vector<std::string> names;
};

class PageOfAFolder : public testing::TestWithParam<Cut> {};

TEST_P(PageOfAFolder, IsCutOutOfTheWhole) {
  const TempDir folder;
  for (const char* name : {"a.jpg", "b.jpg", "c.jpg"}) WriteFile(folder / name, "");
  const auto listing = List(folder, SortOrder::kName, GetParam().page);
  EXPECT_EQ(listing->total, 3U);
  EXPECT_EQ(Names(*listing), GetParam().names);
}

INSTANTIATE_TEST_SUITE_P(, PageOfAFolder,
                         testing::Values(Cut{"First", {0, 2}, {"a.jpg", "b.jpg"}},
                                         Cut{"Last", {2, 2}, {"c.jpg"}}, Cut{"Behind", {3, 2}, {}},
                                         Cut{"FarBehind", {1'000'000'000, 1000}, {}},
                                         Cut{"More", {1, 1000}, {"b.jpg", "c.jpg"}}),
                         kit::CaseName());

TEST(FolderListing, TellsThePixelsOfPictures) {
  const TempDir folder;
  kit::WriteJpeg(folder / "a.jpg", {{64, 48}, 6, {}, {}, {}});
  const auto listing = List(folder, SortOrder::kName, kAll);
  ASSERT_EQ(listing->entries.size(), 1U);
  ASSERT_TRUE(listing->entries[0].pixels);
  EXPECT_EQ(listing->entries[0].pixels->width, 64U);
  EXPECT_EQ(listing->entries[0].pixels->height, 48U);
}

TEST(FolderListing, LeavesPixelsOutWhereTheyAreNotKnown) {
  const TempDir folder;
  WriteFile(folder / "a.jpg", "not a picture");
  WriteFile(folder / "b.mp4", "");
  const auto listing = List(folder, SortOrder::kName, kAll);
  ASSERT_EQ(listing->entries.size(), 2U);
  EXPECT_FALSE(listing->entries[0].pixels);
  EXPECT_FALSE(listing->entries[1].pixels);
}

TEST(FolderListing, KeepsNamesThatAreNotUtf8) {
  const TempDir folder;
  WriteFile(folder / "\xff\xfe.jpg", "");
  EXPECT_THAT(Names(*List(folder, SortOrder::kName, kAll)), ElementsAre("\xff\xfe.jpg"));
}

TEST(FolderListing, IsNothingForWhatIsNoFolder) {
  const TempDir folder;
  WriteFile(folder / "a.jpg", "");
  EXPECT_FALSE(ListFolder(posix::UniqueFd(open((folder / "a.jpg").c_str(), O_PATH)).get(),
                          folder.path(), SortOrder::kName, kAll));
  EXPECT_FALSE(ListFolder(-1, folder.path(), SortOrder::kName, kAll));
}

}  // namespace
}  // namespace vexathumb::web
