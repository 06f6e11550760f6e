#include "service/store/cleaning.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/files.h"
#include "service/store/build_slot.h"
#include "service/store/store_files.h"
#include "unit/service/processes.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr char kThumbnail[] = "VEXAFILE_THUMB_S.jpg";

class CleaningTest : public ServiceTest {
 protected:
  CleaningTest() {
    cleaning_.removal.lock_directory = options_.lock_directory;
    events_.on_removed = [this](const StoreDirectory& directory, const Freed& freed) {
      removed_.push_back(directory.path());
      freed_ += freed;
    };
    events_.on_refused = [this](const std::string& folder, uint64_t orphans, const Cause&) {
      refused_.push_back(folder);
      refused_orphans_ += orphans;
    };
    events_.on_unreadable = [this](const std::string& folder, const std::string&) {
      unreadable_.push_back(folder);
    };
  }

  // Stores lie under a root of their own.
  void UseCentralStore(const std::string& more = "") const {
    kit::WriteFile(elsewhere_ / "platform.ini",
                   "[store]\nlayout = central\nroot = " + elsewhere_ / "root" + "\n" + more);
  }

  std::string WriteSource(const std::string& name) const {
    const std::string path = Picture(name);
    fs::create_directories(fs::path(path).parent_path());
    kit::WriteFile(path, "a picture");
    SetModificationTime(path, kSourceTime);
    return path;
  }

  // What is stored for a source that is not there.
  std::string WriteOrphan(const std::string& name) const {
    const std::string path = Picture(name);
    WriteStored(path, kThumbnail, "1234567890");
    return path;
  }

  void Clean() { service::Clean(share_.path(), cleaning_, events_); }

  static bool IsStored(const std::string& source) { return fs::exists(StoreDirectoryOf(source)); }

  CleaningOptions cleaning_;
  CleaningEvents events_;
  std::vector<std::string> removed_;
  std::vector<std::string> refused_;
  std::vector<std::string> unreadable_;
  uint64_t refused_orphans_ = 0;
  Freed freed_;
};

// Wherever stores lie.
struct Layout {
  const char* name;
  bool central;
};

class CleaningLayoutTest : public CleaningTest, public testing::WithParamInterface<Layout> {
 protected:
  CleaningLayoutTest() {
    if (GetParam().central) UseCentralStore();
  }
};

TEST_P(CleaningLayoutTest, RemovesWhatIsStoredForSourcesThatAreGone) {
  const std::string kept = WriteSource("kept.jpg");
  WriteStored(kept, kThumbnail, "x");
  const std::string gone = WriteOrphan("sub/deeper/gone.jpg");
  fs::create_directories(Picture("sub/deeper"));
  Clean();
  EXPECT_TRUE(fs::exists(StorePath(kept, kThumbnail)));
  EXPECT_FALSE(IsStored(gone));
  EXPECT_THAT(removed_, ElementsAre(StoreDirectoryOf(gone)));
  EXPECT_EQ(freed_.directories, 1);
  EXPECT_EQ(freed_.files, 1);
  EXPECT_EQ(freed_.bytes, 10);
  EXPECT_EQ(kit::ReadFile(kept), "a picture");
}

TEST_P(CleaningLayoutTest, ADryRunTellsTheSameAndRemovesNothing) {
  WriteStored(WriteSource("kept.jpg"), "VEXAFILETMP_THUMB.jpg", "12");
  const std::string gone = WriteOrphan("gone.jpg");
  machine_.clock_ahead = machine_.folder_clock_ahead = 3700;
  cleaning_.removal.dry_run = true;
  Clean();
  EXPECT_TRUE(fs::exists(StorePath(gone, kThumbnail)));
  EXPECT_TRUE(fs::exists(StorePath(Picture("kept.jpg"), "VEXAFILETMP_THUMB.jpg")));
  const Freed foreseen = freed_;
  freed_ = {};
  cleaning_.removal.dry_run = false;
  Clean();
  EXPECT_FALSE(IsStored(gone));
  EXPECT_EQ(freed_.directories, foreseen.directories);
  EXPECT_EQ(freed_.files, foreseen.files);
  EXPECT_EQ(freed_.bytes, foreseen.bytes);
  EXPECT_EQ(foreseen.bytes, 12);
}

TEST_P(CleaningLayoutTest, ASecondRunFindsNothing) {
  WriteOrphan("gone.jpg");
  WriteStored(WriteSource("kept.jpg"), kThumbnail, "x");
  Clean();
  removed_.clear();
  Clean();
  EXPECT_THAT(removed_, IsEmpty());
}

TEST_P(CleaningLayoutTest, ManyThatAreGoneAtOnceStayUnlessForced) {
  WriteStored(WriteSource("kept.jpg"), kThumbnail, "x");
  fs::create_directories(Picture("usb"));
  for (uint64_t i = 0; i < kManyOrphans; ++i) {
    WriteStored(Picture("usb/" + std::to_string(i) + ".jpg"), kThumbnail, "x");
  }
  Clean();
  EXPECT_THAT(refused_, ElementsAre(Picture("usb")));
  EXPECT_EQ(refused_orphans_, kManyOrphans);
  EXPECT_THAT(removed_, IsEmpty());
  EXPECT_TRUE(IsStored(Picture("usb/0.jpg")));
  cleaning_.force = true;
  Clean();
  EXPECT_EQ(freed_.directories, kManyOrphans);
  EXPECT_FALSE(IsStored(Picture("usb/0.jpg")));
}

TEST_P(CleaningLayoutTest, ManyAreRemovedWhereSomeSourceIsLeft) {
  WriteStored(WriteSource("usb/kept.jpg"), kThumbnail, "x");
  for (uint64_t i = 0; i < kManyOrphans; ++i) {
    WriteStored(Picture("usb/" + std::to_string(i) + ".jpg"), kThumbnail, "x");
  }
  Clean();
  EXPECT_THAT(refused_, IsEmpty());
  EXPECT_EQ(freed_.directories, kManyOrphans);
}

TEST_P(CleaningLayoutTest, HostileNamesAreNamesLikeOthers) {
  WriteStored(WriteSource("kept.jpg"), kThumbnail, "x");
  const std::vector<std::string> names = {"-rf", "a\nb.jpg",  "\xff\xfe.jpg", "$(reboot).jpg",
                                          "*",   "%d.jpg[0]", ".hidden.jpg",  std::string(255, 'n'),
                                          "...", "a b ' \" c"};
  for (const std::string& name : names) WriteOrphan(name);
  Clean();
  EXPECT_EQ(freed_.directories, names.size());
  for (const std::string& name : names) EXPECT_FALSE(IsStored(Picture(name))) << name;
  EXPECT_TRUE(IsStored(Picture("kept.jpg")));
}

INSTANTIATE_TEST_SUITE_P(Layouts, CleaningLayoutTest,
                         testing::Values(Layout{"Beside", false}, Layout{"Central", true}),
                         kit::CaseName());

TEST_F(CleaningTest, ASourceThatIsALinkToNothingIsThere) {
  const std::string source = WriteOrphan("a.jpg");
  fs::create_symlink("/nowhere/a.jpg", source);
  Clean();
  EXPECT_TRUE(IsStored(source));
}

struct OtherFile {
  const char* name;
  const char* entry;
};

class OthersFileTest : public CleaningTest, public testing::WithParamInterface<OtherFile> {};

// A folder that somebody keeps files in may lie where stores do.
TEST_P(OthersFileTest, KeepsItsWholeDirectory) {
  const std::string gone = WriteOrphan("gone.jpg");
  WriteStored(gone, GetParam().entry, "a photograph");
  Clean();
  EXPECT_THAT(Stored(gone), UnorderedElementsAre(kThumbnail, GetParam().entry));
  EXPECT_TRUE(freed_.kept_foreign);
  EXPECT_EQ(freed_.files, 0);
}

INSTANTIATE_TEST_SUITE_P(, OthersFileTest,
                         testing::Values(OtherFile{"Photograph", "IMG_1.jpg"},
                                         OtherFile{"NamedLikeAnAlbums", "VEXAPHOTO_summer.jpg"},
                                         OtherFile{"NamedLikeAVideos", "VEXAVIDEO_1.jpg"},
                                         OtherFile{"OfALongerName", "VEXAFILE_THUMB_S.jpg.jpg"}),
                         kit::CaseName());

TEST_F(CleaningTest, OtherProgramsFilesStayAndTheirDirectory) {
  const std::string gone = WriteOrphan("gone.jpg");
  WriteStored(gone, "notes.txt", "x");
  fs::create_directory(StorePath(gone, "folder"));
  fs::create_symlink(share_.path(), StorePath(gone, "VEXAFILE_THUMB_M.jpg"));
  Clean();
  EXPECT_THAT(Stored(gone),
              UnorderedElementsAre("notes.txt", "folder", "VEXAFILE_THUMB_M.jpg", kThumbnail));
  EXPECT_TRUE(freed_.kept_foreign);
  EXPECT_EQ(freed_.directories, 0);
  EXPECT_EQ(freed_.files, 0);
}

TEST_F(CleaningTest, LinksInTheStoreAreNotFollowed) {
  const kit::TempDir other;
  fs::create_directories(other / ".vexaea/gone.jpg");
  kit::WriteFile(other / ".vexaea/gone.jpg/VEXAFILE_THUMB_S.jpg", "x");
  fs::create_directories(Picture("one/.vexaea"));
  fs::create_directory_symlink(other / ".vexaea/gone.jpg", Picture("one/.vexaea/gone.jpg"));
  fs::create_directory(Picture("two"));
  fs::create_directory_symlink(other / ".vexaea", Picture("two/.vexaea"));
  fs::create_directory_symlink(other.path(), Picture("three"));
  Clean();
  EXPECT_THAT(removed_, IsEmpty());
  EXPECT_TRUE(fs::exists(other / ".vexaea/gone.jpg/VEXAFILE_THUMB_S.jpg"));
}

TEST_F(CleaningTest, LeftoversOfSourcesThatAreThereGoOnceTheyAreOld) {
  const std::string source = WriteSource("a.jpg");
  WriteStored(source, "VEXAFILETMP_THUMB.jpg", "123");
  WriteStored(source, "VEXATHUMBTMP_42_1700000000_0_VEXAFILE_THUMB_S.jpg", "1234");
  WriteStored(source, "VEXAFILE_THUMB_320x240.jpg", "x", kSourceTime - 1);
  WriteStored(source, "VEXAPHOTO_THUMB_S.jpg", "x");
  WriteStored(source, "notes.txt", "x");
  Clean();
  EXPECT_THAT(removed_, IsEmpty()) << "still young";
  machine_.folder_clock_ahead = 3700;
  Clean();
  EXPECT_THAT(Stored(source),
              ElementsAre("VEXAFILE_THUMB_320x240.jpg", "VEXAPHOTO_THUMB_S.jpg", "notes.txt"));
  EXPECT_EQ(freed_.files, 2);
  EXPECT_EQ(freed_.bytes, 7);
  EXPECT_EQ(freed_.directories, 0);
}

TEST_F(CleaningTest, HiddenFoldersAreNotGoneInto) {
  const std::string hidden = WriteOrphan(".snapshots/gone.jpg");
  Clean();
  EXPECT_TRUE(IsStored(hidden));
}

TEST_F(CleaningTest, AFileMayBeNamed) {
  const std::string source = WriteSource("a.jpg");
  WriteStored(source, "VEXAFILETMP_THUMB.jpg", "123");
  const std::string gone = WriteOrphan("gone.jpg");
  machine_.folder_clock_ahead = 3700;
  service::Clean(source, cleaning_, events_);
  EXPECT_THAT(Stored(source), IsEmpty());
  EXPECT_TRUE(IsStored(gone));
}

TEST_F(CleaningTest, WaitsForWhoeverBuildsForTheSource) {
  WriteStored(WriteSource("kept.jpg"), kThumbnail, "x");
  const std::string source = WriteOrphan("a.jpg");
  const Signal locked;
  Process builder([&] {
    const SourceLock lock(options_.lock_directory, source);
    locked.Give();
    // Only once the cleaner waits for the lock.
    const std::string waiting = "-> OFDLCK";
    while (kit::ReadFile("/proc/locks").find(waiting) == std::string::npos) usleep(1000);
    kit::WriteFile(source, "a picture");
    return 0;
  });
  locked.Await();
  Clean();
  EXPECT_EQ(builder.Wait(), 0);
  EXPECT_TRUE(IsStored(source)) << "the source was there by then";
}

TEST_F(CleaningTest, AnEmptyShareIsTakenForNotMounted) {
  UseCentralStore("[share photo]\npath = " + Picture("photo") + "\n");
  WriteStored(WriteSource("kept.jpg"), kThumbnail, "x");
  const std::string lost = WriteOrphan("photo/a.jpg");
  fs::create_directory(Picture("photo"));
  kit::WriteFile(Picture("photo/.hidden"), "x");
  Clean();
  EXPECT_THAT(refused_, ElementsAre(Picture("photo")));
  EXPECT_TRUE(IsStored(lost));
  WriteSource("photo/other.jpg");
  Clean();
  EXPECT_FALSE(IsStored(lost)) << "the share is there";
}

TEST_F(CleaningTest, AnEmptyNamedFolderIsTakenForNotMountedWhereStoresLieElsewhere) {
  UseCentralStore();
  const std::string lost = WriteOrphan("a.jpg");
  Clean();
  EXPECT_THAT(refused_, ElementsAre(share_.path()));
  EXPECT_TRUE(IsStored(lost));
}

// What a mount point may hold while nothing is mounted on it.
struct MountPoint {
  const char* name;
  void (*fill)(const std::string& folder);
};

class NotMountedTest : public CleaningTest, public testing::WithParamInterface<MountPoint> {};

TEST_P(NotMountedTest, TheStoreOfItsShareStaysUnlessToldByName) {
  UseCentralStore("[share photo]\npath = " + Picture("photo") + "\n");
  WriteStored(WriteSource("kept.jpg"), kThumbnail, "x");
  const std::string lost = WriteOrphan("photo/2019/a.jpg");
  fs::create_directory(Picture("photo"));
  GetParam().fill(Picture("photo"));
  cleaning_.force = true;
  Clean();
  EXPECT_THAT(refused_, ElementsAre(Picture("photo")));
  EXPECT_TRUE(IsStored(lost));
  cleaning_.gone = {Picture("pho")};
  Clean();
  EXPECT_TRUE(IsStored(lost));
  cleaning_.gone = {Picture("photo")};
  Clean();
  EXPECT_FALSE(IsStored(lost));
}

INSTANTIATE_TEST_SUITE_P(
    MountPoints, NotMountedTest,
    testing::Values(MountPoint{"Empty", [](const std::string&) {}},
                    MountPoint{"AnEmptyFolder",
                               [](const auto& folder) { fs::create_directory(folder + "/2019"); }},
                    MountPoint{"FoldersInFolders",
                               [](const auto& folder) { fs::create_directories(folder + "/a/b"); }},
                    MountPoint{"ANote",
                               [](const auto& folder) {
                                 kit::WriteFile(folder + "/not mounted.txt", "x");
                               }}),
    kit::CaseName());

TEST_F(CleaningTest, TheMirrorOfAFolderThatIsGoneGoes) {
  UseCentralStore();
  WriteStored(WriteSource("kept.jpg"), kThumbnail, "x");
  WriteOrphan("album/2019/a.jpg");
  WriteOrphan("album/2019/b.jpg");
  Clean();
  EXPECT_FALSE(fs::exists(elsewhere_ / "root" + Picture("album")));
  EXPECT_TRUE(fs::exists(elsewhere_ / "root" + share_.path()));
}

TEST_F(CleaningTest, TheStoreRootIsNoFolderOfSources) {
  kit::WriteFile(elsewhere_ / "platform.ini",
                 "[store]\nlayout = central\nroot = " + Picture("root") + "\n");
  const std::string kept = WriteSource("kept.jpg");
  WriteStored(kept, kThumbnail, "x");
  Clean();
  EXPECT_THAT(removed_, IsEmpty());
  EXPECT_TRUE(fs::exists(StorePath(kept, kThumbnail)));
  EXPECT_TRUE(IsInStoreRoot(Picture("root")));
  EXPECT_TRUE(IsInStoreRoot(Picture("root/deeper")));
  EXPECT_FALSE(IsInStoreRoot(Picture("rooted")));
}

TEST_F(CleaningTest, WhatCannotBeReadIsNotTakenForGone) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root's rights to give up";
  UseCentralStore();
  chmod(elsewhere_.path().c_str(), 0777);
  const std::string source = WriteSource("closed/a.jpg");
  WriteStored(source, kThumbnail, "x");
  chmod(share_.path().c_str(), 0755);
  chmod(Picture("closed").c_str(), 0700);
  fs::permissions(elsewhere_ / "root", fs::perms::all);
  Process ordinary([&] {
    if (!BecomeOrdinaryUser(12345)) return 1;
    Clean();
    return removed_.empty() && !unreadable_.empty() ? 0 : 2;
  });
  EXPECT_EQ(ordinary.Wait(), 0);
  EXPECT_TRUE(IsStored(source));
}

}  // namespace
}  // namespace vexathumb::service
