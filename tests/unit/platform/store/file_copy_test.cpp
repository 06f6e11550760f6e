#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"
#include "posix/unique_fd.h"
#include "unit/platform/in_child.h"
#include "vexa/copy.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

using vexathumb::kit::ReadFile;
using vexathumb::kit::TempDir;
using vexathumb::kit::WriteFile;

class FileCopy : public testing::Test {
 protected:
  FileCopy() { WriteFile(source_, "the source"); }

  int Copy() { return VEXAFileCopy(source_.c_str(), target_.c_str(), &options_); }

  bool Exists(const std::string& path) { return std::filesystem::exists(path); }

  // How many entries the folder has: nothing may be left behind.
  long Entries() { return std::distance(std::filesystem::directory_iterator(folder_.path()), {}); }

  struct stat Status(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status;
  }

  TempDir folder_;
  std::string source_ = folder_ / "source";
  std::string target_ = folder_ / "target";
  VEXACOPYARGS options_{};
};

TEST_F(FileCopy, KeepsBytesModeAndTimes) {
  chmod(source_.c_str(), 0604);
  const struct timespec times[] = {{1'500'000'000, 123'456'789}, {1'400'000'000, 987'654'321}};
  utimensat(AT_FDCWD, source_.c_str(), times, 0);
  EXPECT_EQ(Copy(), 0);
  EXPECT_EQ(ReadFile(target_), "the source");
  EXPECT_TRUE(Exists(source_));
  const struct stat copied = Status(target_);
  EXPECT_EQ(copied.st_mode & 07777U, 0604U);
  EXPECT_EQ(copied.st_mtim.tv_sec, 1'400'000'000);
  EXPECT_EQ(copied.st_mtim.tv_nsec, 987'654'321);
  EXPECT_EQ(Entries(), 2);
}

TEST_F(FileCopy, NeedsNoOptions) {
  EXPECT_EQ(VEXAFileCopy(source_.c_str(), target_.c_str(), nullptr), 0);
  EXPECT_EQ(ReadFile(target_), "the source");
}

TEST_F(FileCopy, CopiesEmptyAndLargeFiles) {
  for (const size_t size : {size_t{0}, size_t{5'000'001}}) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * i >> 3U);
    WriteFile(source_, bytes);
    options_.blOverWrite = 1;
    EXPECT_EQ(Copy(), 0);
    EXPECT_TRUE(ReadFile(target_) == bytes) << size;
  }
}

TEST_F(FileCopy, CrossesFileSystems) {
  // A file in memory lies on a volume of its own.
  const UniqueFd memory(memfd_create("source", 0));
  const std::string bytes(300'000, 'm');
  ASSERT_EQ(write(memory.get(), bytes.data(), bytes.size()), 300'000);
  source_ = "/proc/self/fd/" + std::to_string(memory.get());
  ASSERT_NE(Status(source_).st_dev, Status(folder_.path()).st_dev);
  EXPECT_EQ(Copy(), 0);
  EXPECT_TRUE(ReadFile(target_) == bytes);
}

TEST_F(FileCopy, ReadsFilesThatTellNoSize) {
  source_ = "/proc/version";
  ASSERT_EQ(Status(source_).st_size, 0);
  EXPECT_EQ(Copy(), 0);
  EXPECT_EQ(ReadFile(target_), ReadFile(source_));
}

TEST_F(FileCopy, RemovesTheSourceOnRequest) {
  options_.blRemoveSrc = TRUE;
  EXPECT_EQ(Copy(), 0);
  EXPECT_EQ(ReadFile(target_), "the source");
  EXPECT_FALSE(Exists(source_));
}

TEST_F(FileCopy, LosesNothingWhenTheSourceCannotBeRemoved) {
  options_.blRemoveSrc = TRUE;
  const UniqueFd memory(memfd_create("source", 0));
  ASSERT_EQ(write(memory.get(), "kept", 4), 4);
  source_ = "/proc/self/fd/" + std::to_string(memory.get());
  EXPECT_EQ(Copy(), -1);
  EXPECT_EQ(ReadFile(target_), "kept");
  EXPECT_EQ(ReadFile(source_), "kept");
}

TEST_F(FileCopy, LeavesAnExistingTargetAlone) {
  WriteFile(target_, "the target");
  EXPECT_EQ(Copy(), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(ReadFile(target_), "the target");
  EXPECT_EQ(Entries(), 2);
}

TEST_F(FileCopy, LeavesADanglingLinkAlone) {
  std::filesystem::create_symlink("nowhere", target_);
  EXPECT_EQ(Copy(), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_FALSE(Exists(folder_ / "nowhere"));
}

TEST_F(FileCopy, ReplacesATargetOnRequest) {
  WriteFile(target_, "the target");
  const UniqueFd reader(open(target_.c_str(), O_RDONLY));
  options_.blOverWrite = 1;
  EXPECT_EQ(Copy(), 0);
  EXPECT_EQ(ReadFile(target_), "the source");
  // Who reads the old file goes on reading the old file.
  char old[10];
  EXPECT_EQ(read(reader.get(), old, sizeof(old)), 10);
  EXPECT_EQ(std::string(old, sizeof(old)), "the target");
  EXPECT_EQ(Entries(), 2);
}

TEST_F(FileCopy, DoesNotPassOnTheSetUserIdBit) {
  chmod(source_.c_str(), 06755);
  EXPECT_EQ(Copy(), 0);
  EXPECT_EQ(Status(target_).st_mode & 07777U, 0755U);
}

TEST_F(FileCopy, GivesTheTargetToTheSourcesOwner) {
  // As another user where this one may, with this one's own ids elsewhere.
  if (geteuid() == 0) {
    ASSERT_EQ(chown(source_.c_str(), 12345, 23456), 0);
  }
  options_.blKeepOwner = TRUE;
  EXPECT_EQ(Copy(), 0);
  EXPECT_EQ(Status(target_).st_uid, Status(source_).st_uid);
  EXPECT_EQ(Status(target_).st_gid, Status(source_).st_gid);
}

TEST_F(FileCopy, OntoItselfIsRefusedAndLosesNothing) {
  options_.blOverWrite = 1;
  options_.blRemoveSrc = TRUE;
  std::filesystem::create_symlink("source", folder_ / "link");
  std::filesystem::create_hard_link(source_, folder_ / "twin");
  for (const char* name : {"source", "link", "twin"}) {
    target_ = folder_ / name;
    EXPECT_EQ(Copy(), -1) << name;
    EXPECT_EQ(errno, EINVAL) << name;
    EXPECT_EQ(ReadFile(source_), "the source") << name;
  }
  EXPECT_EQ(Entries(), 3);
}

TEST_F(FileCopy, LeavesNothingBehindWhenTheTargetCannotBeWritten) {
  WriteFile(source_, std::string(1'000'000, 'x'));
  // A limit on the size of files fails like a full disk, in the middle of the copy.
  const int answer = InChild([this] {
    signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {100'000, 100'000};
    setrlimit(RLIMIT_FSIZE, &limit);
    return Copy() == -1 && errno == EFBIG ? 0 : 1;
  });
  EXPECT_EQ(answer, 0);
  EXPECT_FALSE(Exists(target_));
  EXPECT_EQ(Entries(), 1);
}

TEST_F(FileCopy, LeavesNothingBehindWhenTheNameIsImpossible) {
  target_ = folder_ / std::string(256, 'n');
  EXPECT_EQ(Copy(), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  options_.blOverWrite = 1;
  EXPECT_EQ(Copy(), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_EQ(Entries(), 1);
}

struct BadSource {
  const char* name;
  std::function<void(const std::string&)> make;
  int error;
};

class SourceThatIsNoFile : public FileCopy, public testing::WithParamInterface<BadSource> {};

TEST_P(SourceThatIsNoFile, IsRefusedWithoutWaiting) {
  source_ = folder_ / "odd";
  GetParam().make(source_);
  const long entries = Entries();
  EXPECT_EQ(Copy(), -1);
  EXPECT_EQ(errno, GetParam().error);
  EXPECT_EQ(Entries(), entries);
}

INSTANTIATE_TEST_SUITE_P(
    , SourceThatIsNoFile,
    testing::Values(
        BadSource{"Missing", [](const std::string&) {}, ENOENT},
        BadSource{"Fifo", [](const std::string& path) { mkfifo(path.c_str(), 0600); }, EINVAL},
        BadSource{"Folder", [](const std::string& path) { mkdir(path.c_str(), 0700); }, EISDIR},
        BadSource{
            "Device",
            [](const std::string& path) { std::filesystem::create_symlink("/dev/zero", path); },
            EINVAL},
        BadSource{"Socket",
                  [](const std::string& path) {
                    struct sockaddr_un address {};
                    address.sun_family = AF_UNIX;
                    snprintf(address.sun_path, sizeof(address.sun_path), "%s", path.c_str());
                    const UniqueFd bound(socket(AF_UNIX, SOCK_STREAM, 0));
                    EXPECT_EQ(bind(bound.get(), reinterpret_cast<const sockaddr*>(&address),
                                   sizeof(address)),
                              0);
                  },
                  ENXIO}),
    vexathumb::kit::CaseName());

struct BadTarget {
  const char* name;
  const char* target;
  bool overwrite;
  int error;
};

class TargetThatCannotBe : public FileCopy, public testing::WithParamInterface<BadTarget> {};

TEST_P(TargetThatCannotBe, IsRefused) {
  mkdir((folder_ / "folder").c_str(), 0700);
  target_ = folder_ / GetParam().target;
  options_.blOverWrite = GetParam().overwrite ? 1 : 0;
  options_.blRemoveSrc = TRUE;
  EXPECT_EQ(Copy(), -1);
  EXPECT_EQ(errno, GetParam().error);
  EXPECT_EQ(ReadFile(source_), "the source");
  EXPECT_EQ(Entries(), 2);
}

INSTANTIATE_TEST_SUITE_P(, TargetThatCannotBe,
                         testing::Values(BadTarget{"FolderToReplace", "folder", true, EISDIR},
                                         BadTarget{"FolderToKeep", "folder", false, EEXIST},
                                         BadTarget{"BelowNothing", "missing/target", false, ENOENT},
                                         BadTarget{"BelowAFile", "source/target", false, ENOTDIR}),
                         vexathumb::kit::CaseName());

struct RefusedOption {
  const char* name;
  void (*set)(VEXACOPYARGS*);
};

void Callback() {}

class CopyOption : public FileCopy, public testing::WithParamInterface<RefusedOption> {};

TEST_P(CopyOption, ThatCannotBeHonouredIsRefused) {
  GetParam().set(&options_);
  EXPECT_EQ(Copy(), -1);
  EXPECT_EQ(errno, ENOTSUP);
  EXPECT_EQ(Entries(), 1);
}

INSTANTIATE_TEST_SUITE_P(
    , CopyOption,
    testing::Values(
        RefusedOption{"CopyAcl", [](VEXACOPYARGS* o) { o->blCopyACL = TRUE; }},
        RefusedOption{"InheritAcl", [](VEXACOPYARGS* o) { o->blEnforceACLInherit = TRUE; }},
        RefusedOption{"CleanTarget", [](VEXACOPYARGS* o) { o->cleanArchive = CLEAN_DST; }},
        RefusedOption{"CleanSource", [](VEXACOPYARGS* o) { o->cleanArchive = CLEAN_SRC; }},
        RefusedOption{"Progress", [](VEXACOPYARGS* o) { o->pfuncSetProgress = Callback; }},
        RefusedOption{"ErrorReport", [](VEXACOPYARGS* o) { o->pfuncErrReport = Callback; }},
        RefusedOption{"Cancel", [](VEXACOPYARGS* o) { o->pfuncIsCancel = Callback; }},
        RefusedOption{"Rename", [](VEXACOPYARGS* o) { o->pfuncRename = Callback; }},
        RefusedOption{"CopyStore", [](VEXACOPYARGS* o) { o->blForceCopyVEXAEA = TRUE; }},
        RefusedOption{"User", [](VEXACOPYARGS* o) { o->userUID = 1; }},
        RefusedOption{"Group", [](VEXACOPYARGS* o) { o->userGID = 1; }}),
    vexathumb::kit::CaseName());

TEST_F(FileCopy, HonoursWhatNeedsNothingDone) {
  options_.blStopWhenError = TRUE;
  options_.blMediaIndexIsNotNeeded = TRUE;
  EXPECT_EQ(Copy(), 0);
  EXPECT_EQ(ReadFile(target_), "the source");
}

TEST_F(FileCopy, NeedsBothPaths) {
  EXPECT_EQ(VEXAFileCopy(nullptr, target_.c_str(), nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(VEXAFileCopy(source_.c_str(), nullptr, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
}

}  // namespace
}  // namespace vexaplatform
