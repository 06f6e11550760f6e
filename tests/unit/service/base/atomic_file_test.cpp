#include "service/base/atomic_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <functional>
#include <set>

#include "kit/case_name.h"
#include "kit/files.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

namespace fs = std::filesystem;
using kit::CaseName;
using testing::ElementsAre;

struct NameCase {
  const char* name;
  std::string path;
  std::string folder;
  std::string end;
};

class TemporaryForTest : public testing::TestWithParam<NameCase> {};

TEST_P(TemporaryForTest, LiesBesideAndEndsLikeTheName) {
  constexpr size_t kRandom = 16;
  const std::string temporary = TemporaryFor(GetParam().path);
  const std::string before = GetParam().folder + kTemporaryPrefix;
  EXPECT_EQ(temporary.rfind(before, 0), 0U) << temporary;
  EXPECT_EQ(temporary.substr(before.size() + kRandom), "_" + GetParam().end);
}

INSTANTIATE_TEST_SUITE_P(
    Names, TemporaryForTest,
    testing::Values(NameCase{"Stored", "/s/.vexaea/a.b/VEXAFILE_THUMB_S.jpg", "/s/.vexaea/a.b/",
                             "VEXAFILE_THUMB_S.jpg"},
                    NameCase{"NoExtension", "/s/.vexaea/a.b/probe", "/s/.vexaea/a.b/", "probe"},
                    NameCase{"NoFolder", "a.png", "", "a.png"},
                    NameCase{"LongName", "/s/" + std::string(NAME_MAX - 4, 'n') + ".jpg", "/s/",
                             std::string(156, 'n') + ".jpg"},
                    NameCase{"LongFolder", "/" + std::string(NAME_MAX, 'n') + "/a.jpg",
                             "/" + std::string(NAME_MAX, 'n') + "/", "a.jpg"}),
    CaseName());

TEST(TemporaryNamesTest, NoTwoAreTheSame) {
  std::set<std::string> names;
  for (int i = 0; i < 100; ++i) names.insert(TemporaryFor("/s/a.jpg"));
  EXPECT_EQ(names.size(), 100U);
}

class AtomicFileTest : public ServiceTest {
 protected:
  static void WriteByTool(const AtomicFile& file, const std::string& text) {
    kit::WriteFile(file.path(), text);
  }

  static bool WriteByUs(AtomicFile& file, const std::string& text) {
    const int fd = file.Create();
    return fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }

  const std::string folder_ = share_.path();
  const std::string target_ = share_ / "target.jpg";
};

TEST_F(AtomicFileTest, AppearsWhenItIsCommitted) {
  kit::WriteFile(target_, "before");
  AtomicFile file(target_);
  WriteByTool(file, "after");
  EXPECT_EQ(kit::ReadFile(target_), "before");
  EXPECT_TRUE(file.Commit());
  EXPECT_EQ(kit::ReadFile(target_), "after");
  EXPECT_THAT(NamesIn(folder_), ElementsAre("target.jpg"));
}

TEST_F(AtomicFileTest, AppearsWithTheNamedModeAndTimes) {
  AtomicFile file(target_);
  WriteByTool(file, "x");
  EXPECT_TRUE(file.Commit({0751, AtomicFile::Times{{1, 2}, {3, 4}}, {}}));
  struct stat st = {};
  ASSERT_EQ(stat(target_.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0751U);
  EXPECT_EQ(st.st_atim.tv_sec, 1);
  EXPECT_EQ(st.st_atim.tv_nsec, 2);
  EXPECT_EQ(st.st_mtim.tv_sec, 3);
  EXPECT_EQ(st.st_mtim.tv_nsec, 4);
}

TEST_F(AtomicFileTest, WhatThisProcessWritesHasTheUsualModeAndMayBeEmpty) {
  const mode_t mask = umask(027);
  AtomicFile file(target_);
  EXPECT_TRUE(WriteByUs(file, ""));
  EXPECT_TRUE(file.Commit());
  umask(mask);
  struct stat st = {};
  ASSERT_EQ(stat(target_.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640U);
  EXPECT_EQ(st.st_size, 0);
}

TEST_F(AtomicFileTest, ALinkInThePlaceOfTheTargetIsReplaced) {
  kit::WriteFile(share_ / "other", "other");
  fs::create_symlink("other", target_);
  AtomicFile file(target_);
  EXPECT_TRUE(WriteByUs(file, "new"));
  EXPECT_TRUE(file.Commit());
  EXPECT_FALSE(fs::is_symlink(target_));
  EXPECT_EQ(kit::ReadFile(share_ / "other"), "other");
}

struct AbandonedCase {
  const char* name;
  std::function<void(AtomicFile&)> leave;
};

class AbandonedFileTest : public AtomicFileTest,
                          public testing::WithParamInterface<AbandonedCase> {};

TEST_P(AbandonedFileTest, LeavesWhatWasThereAndNothingElse) {
  kit::WriteFile(target_, "before");
  {
    AtomicFile file(target_);
    GetParam().leave(file);
  }
  EXPECT_EQ(kit::ReadFile(target_), "before");
  EXPECT_THAT(NamesIn(folder_), ElementsAre("target.jpg"));
}

INSTANTIATE_TEST_SUITE_P(
    Ways, AbandonedFileTest,
    testing::Values(
        AbandonedCase{"NotCommitted", [](auto& file) { kit::WriteFile(file.path(), "x"); }},
        AbandonedCase{"NotCommittedOfOurs", [](auto& file) { EXPECT_GE(file.Create(), 0); }},
        AbandonedCase{"NeverWritten", [](auto& file) { EXPECT_FALSE(file.Commit()); }},
        AbandonedCase{"EmptyOfATool",
                      [](auto& file) {
                        kit::WriteFile(file.path(), "");
                        EXPECT_FALSE(file.Commit());
                      }},
        AbandonedCase{"LinkOfATool",
                      [](auto& file) {
                        fs::create_symlink("/etc/passwd", file.path());
                        EXPECT_FALSE(file.Commit());
                        EXPECT_EQ(errno, ELOOP);
                      }},
        AbandonedCase{"PipeOfATool",
                      [](auto& file) {
                        ASSERT_EQ(mkfifo(file.path().c_str(), 0600), 0);
                        EXPECT_FALSE(file.Commit());
                      }}),
    CaseName());

struct WriterCase {
  const char* name;
  bool writes_itself;
  bool writes_after;  // the exchange
};

// Another folder is put in the place of the file's own while it is written.
class ExchangedFolderOfAFile : public AtomicFileTest,
                               public testing::WithParamInterface<WriterCase> {
 protected:
  ExchangedFolderOfAFile() {
    fs::create_directories(share_ / "own");
    fs::create_directories(share_ / "other");
    kit::WriteFile(share_ / "own/target.jpg", "before");
    kit::WriteFile(share_ / "other/target.jpg", "theirs");
  }

  void Exchange() const {
    fs::rename(share_ / "own", share_ / "moved");
    fs::rename(share_ / "other", share_ / "own");
  }
};

TEST_P(ExchangedFolderOfAFile, GetsNothingAndLosesNothing) {
  bool is_committed = false;
  {
    AtomicFile file(share_ / "own/target.jpg");
    if (GetParam().writes_after) Exchange();
    if (GetParam().writes_itself) {
      EXPECT_TRUE(WriteByUs(file, "after"));
    } else {
      WriteByTool(file, "after");
    }
    if (!GetParam().writes_after) Exchange();
    is_committed = file.Commit();
  }
  const bool is_by_name = GetParam().writes_after && !GetParam().writes_itself;
  EXPECT_EQ(is_committed, !is_by_name);
  EXPECT_EQ(kit::ReadFile(share_ / "own/target.jpg"), "theirs");
  EXPECT_EQ(kit::ReadFile(share_ / "moved/target.jpg"), is_committed ? "after" : "before");
  EXPECT_THAT(NamesIn(share_ / "own"), ElementsAre("target.jpg"));
  EXPECT_THAT(NamesIn(share_ / "moved"), ElementsAre("target.jpg"));
}

INSTANTIATE_TEST_SUITE_P(Writers, ExchangedFolderOfAFile,
                         testing::Values(WriterCase{"ToolBefore", false, false},
                                         WriterCase{"ToolAfter", false, true},
                                         WriterCase{"ProcessBefore", true, false},
                                         WriterCase{"ProcessAfter", true, true}),
                         CaseName());

TEST_F(AtomicFileTest, WhatCommandsLeaveBesideItGoesToo) {
  {
    AtomicFile file(target_);
    WriteByTool(file, "x");
    kit::WriteFile(file.path() + "_1700000000", "a decoder's intermediate");
    EXPECT_TRUE(file.Commit());
  }
  EXPECT_THAT(NamesIn(folder_), ElementsAre("target.jpg"));
}

TEST_F(AtomicFileTest, WhatIsHandedOutStaysWhereItWasWritten) {
  std::string path;
  {
    AtomicFile file(target_);
    path = file.path();
    WriteByTool(file, "x");
    kit::WriteFile(path + "_1700000000", "a decoder's intermediate");
    EXPECT_TRUE(file.HandOut({0700, AtomicFile::Times{{1, 2}, {3, 4}}, {}}));
  }
  EXPECT_THAT(NamesIn(folder_), ElementsAre(fs::path(path).filename().string()));
  EXPECT_EQ(ModificationTimeOf(path), 3);
}

TEST_F(AtomicFileTest, WhatSomebodyElseHasPutThereIsNeitherWrittenToNorRemoved) {
  kit::WriteFile(share_ / "theirs", "theirs");
  std::string path;
  {
    AtomicFile file(target_);
    path = file.path();
    fs::create_symlink(share_ / "theirs", path);
    EXPECT_EQ(file.Create(), -1);
    EXPECT_EQ(errno, EEXIST);
  }
  EXPECT_TRUE(fs::is_symlink(path));
  EXPECT_EQ(kit::ReadFile(share_ / "theirs"), "theirs");
}

TEST_F(AtomicFileTest, AFolderInThePlaceOfTheTargetIsAnObstacle) {
  fs::create_directory(target_);
  {
    AtomicFile file(target_);
    EXPECT_TRUE(WriteByUs(file, "x"));
    EXPECT_FALSE(file.Commit());
    EXPECT_EQ(errno, EISDIR);
  }
  EXPECT_THAT(NamesIn(folder_), ElementsAre("target.jpg"));
}

TEST_F(AtomicFileTest, TheLongestNameHasATemporaryToo) {
  const std::string longest = folder_ + "/" + std::string(NAME_MAX - 4, 'n') + ".jpg";
  AtomicFile file(longest);
  EXPECT_TRUE(WriteByUs(file, "x"));
  EXPECT_TRUE(file.Commit());
  EXPECT_EQ(kit::ReadFile(longest), "x");
}

TEST_F(AtomicFileTest, AHiddenOneIsHiddenUntilItIsCommitted) {
  AtomicFile file(target_, AtomicFile::Naming::kHidden);
  EXPECT_TRUE(WriteByUs(file, "x"));
  const fs::path temporary(file.path());
  EXPECT_EQ(temporary.parent_path(), folder_);
  EXPECT_EQ(temporary.filename().string().front(), '.');
  EXPECT_TRUE(file.Commit());
  EXPECT_THAT(NamesIn(folder_), ElementsAre("target.jpg"));
}

}  // namespace
}  // namespace vexathumb::service
