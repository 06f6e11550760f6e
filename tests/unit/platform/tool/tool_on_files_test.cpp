#include "vexaplatform/tool_on_files.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <cerrno>

#include "kit/case_name.h"
#include "kit/pictures/fixtures.h"
#include "platform/sandbox/landlock.h"
#include "platform/sandbox/seccomp_filter.h"
#include "platform/tool/allowed_calls.h"
#include "platform/tool/supervisor.h"
#include "platform/tool/tool_plan.h"
#include "posix/unique_fd.h"
#include "unit/platform/tool/listened_thread.h"
#include "unit/platform/tool/tool_fixture.h"

namespace vexaplatform {
namespace {

using testing::IsEmpty;
using vexathumb::kit::CaseName;
using vexathumb::kit::ReadFile;
using vexathumb::kit::WriteFile;
using vexathumb::posix::UniqueFd;

class ToolOnFilesTest : public ToolTest {
 protected:
  ToolOnFilesTest() { ForgetToolRuns(); }

  UniqueFd OpenInput(const std::string& order) const {
    Order(order);
    return UniqueFd(open(source().c_str(), O_RDONLY | O_CLOEXEC));
  }
  UniqueFd MakeOutput() const {
    return UniqueFd(open(destination().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  }

  int RunOnFiles(const std::string& order) const {
    const std::string program = Program("convert");
    const char* const argv[] = {program.c_str(), nullptr};
    return RunToolOnFiles(argv[0], argv, OpenInput(order).get(), MakeOutput().get());
  }
};

TEST_F(ToolOnFilesTest, ReadsTheOneAndWritesTheOther) {
  EXPECT_EQ(RunOnFiles("write\npicture"), 0);
  EXPECT_EQ(ReadFile(destination()), "picture");
  EXPECT_EQ(LastToolRun().ending, ToolEnding::kSucceeded);
  EXPECT_EQ(LastToolRun().program, Program("convert"));
}

TEST_F(ToolOnFilesTest, FailsAsItsProgramDoes) {
  EXPECT_EQ(RunOnFiles("exit 3"), 3);
  EXPECT_EQ(LastToolRun().ending, ToolEnding::kExited);
  EXPECT_EQ(LastToolRun().detail, 3);
}

TEST_F(ToolOnFilesTest, HasFailedWhereItLeavesNoWholePicture) {
  EXPECT_EQ(RunOnFiles("write\nGIF89a and no end"), VLIBC_INCOMPLETE_RESULT);
  EXPECT_EQ(LastToolRun().ending, ToolEnding::kIncomplete);
}

TEST_F(ToolOnFilesTest, IsNotRunWithoutProgramOrFile) {
  const char* const argv[] = {"/nonexistent", nullptr};
  EXPECT_EQ(RunToolOnFiles(argv[0], argv, OpenInput("").get(), MakeOutput().get()), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(RunToolOnFiles(argv[0], argv, -1, 1), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(LastToolRun().ending, ToolEnding::kNotStarted);
}

struct FileLimitCase {
  const char* name;
  const char* settings;
  const char* order;
  ToolLimit limit;
};

void PrintTo(const FileLimitCase& limit, std::ostream* out) { *out << limit.name; }

class LimitOfToolOnFiles : public ToolOnFilesTest,
                           public testing::WithParamInterface<FileLimitCase> {};

TEST_P(LimitOfToolOnFiles, EndsIt) {
  Set("[tool convert]\n" + std::string(GetParam().settings));
  EXPECT_EQ(RunOnFiles(GetParam().order), VLIBC_ENDED_BY_LIMIT);
  EXPECT_EQ(LastToolRun().ending, ToolEnding::kLimited);
  EXPECT_EQ(LastToolRun().detail, static_cast<int>(GetParam().limit));
}

INSTANTIATE_TEST_SUITE_P(
    , LimitOfToolOnFiles,
    testing::Values(FileLimitCase{"AddressSpace", "address_space = 100\n", "allocate",
                                  ToolLimit::kAddressSpace},
                    FileLimitCase{"CpuTime", "cpu_time = 1\nwall_time = 3600\n", "burn",
                                  ToolLimit::kCpuTime},
                    FileLimitCase{"WallTime", "wall_time = 1\n", "hang", ToolLimit::kWallTime},
                    FileLimitCase{"FileSize", "file_size = 1\n", "flood", ToolLimit::kFileSize},
                    FileLimitCase{"WrittenInAll", "written = 1\n", "flood", ToolLimit::kWritten}),
    CaseName());

struct FileDeedCase {
  const char* name;
  std::string (*order)(const std::string& folder);
};

void PrintTo(const FileDeedCase& deed, std::ostream* out) { *out << deed.name; }

class DeedOfToolOnFiles : public ToolOnFilesTest, public testing::WithParamInterface<FileDeedCase> {
 protected:
  DeedOfToolOnFiles() { WriteFile(folder_ / "secret", "secret"); }
  std::string order() const { return GetParam().order(folder_.path()); }
};

TEST_P(DeedOfToolOnFiles, IsDenied) {
  if (LandlockVersion() == 0 || !HasSeccomp()) GTEST_SKIP() << "not on this kernel";
  EXPECT_EQ(RunOnFiles(order()), 1);
  EXPECT_EQ(ReadFile(folder_ / "secret"), "secret");
}

class DeedOfToolWithoutLandlock : public DeedOfToolOnFiles {};

TEST_P(DeedOfToolWithoutLandlock, IsDenied) {
  if (!HasSeccomp()) GTEST_SKIP() << "not on this kernel";
  const std::string program = Program("convert");
  const char* const argv[] = {program.c_str(), nullptr};
  const UniqueFd input = OpenInput(order());
  const UniqueFd output = MakeOutput();
  const auto plan = PlanToolOnFiles(argv[0], argv, output.get());
  plan->order.rules.clear();
  ToolStreams streams;
  streams.input = input.get();
  streams.output = output.get();
  EXPECT_EQ(RunSupervised(plan->order, streams, -1).wait_status, 1 << 8);
  EXPECT_EQ(ReadFile(folder_ / "secret"), "secret");
}

TEST_P(DeedOfToolOnFiles, IsDoneWithoutConfinement) {
  Set("confinement = no\n");
  // Nothing is written: what counts is that the deed was no failure.
  EXPECT_EQ(RunOnFiles(order()), VLIBC_INCOMPLETE_RESULT);
}

const FileDeedCase kReading[] = {
    {"ReadingAFile", [](const std::string& folder) { return "read " + folder + "/secret"; }},
    {"ReadingItsInputByName",
     [](const std::string& folder) { return "read " + folder + "/pictures/source.jpg"; }},
    {"ReadingTheAccounts", [](const std::string&) { return std::string("read /etc/passwd"); }},
    {"ReadingOfProcesses",
     [](const std::string&) { return std::string("read /proc/self/status"); }}};

const FileDeedCase kOther[] = {
    {"WritingAFile", [](const std::string& folder) { return "make " + folder + "/secret"; }},
    {"MakingAFile", [](const std::string& folder) { return "make " + folder + "/other"; }},
    {"MakingASocket", [](const std::string&) { return std::string("socket"); }},
    {"StartingAProcess", [](const std::string&) { return std::string("fork"); }}};

INSTANTIATE_TEST_SUITE_P(Reading, DeedOfToolOnFiles, testing::ValuesIn(kReading), CaseName());
INSTANTIATE_TEST_SUITE_P(Other, DeedOfToolOnFiles, testing::ValuesIn(kOther), CaseName());
INSTANTIATE_TEST_SUITE_P(, DeedOfToolWithoutLandlock, testing::ValuesIn(kOther), CaseName());

TEST_F(ToolOnFilesTest, MayMakeTheCallsThatGifsicleMakes) {
  if (!HasSeccomp()) GTEST_SKIP() << "not on this kernel";
  vexathumb::kit::WriteAnimatedGif(source());
  const UniqueFd input(open(source().c_str(), O_RDONLY | O_CLOEXEC));
  const UniqueFd output = MakeOutput();
  const char* const argv[] = {"/usr/bin/gifsicle", "--rotate-90", "--resize-fit", "90x90",
                              "--colors",          "256",         "-O2",          nullptr};
  const auto plan = PlanToolOnFiles(argv[0], argv, output.get());
  plan->order.filter.clear();
  ToolStreams streams;
  streams.input = input.get();
  streams.output = output.get();
  ToolOutcome outcome;
  const auto refused = RefusedCalls(ToolFilter(plan->tool),
                                    [&] { outcome = RunSupervised(plan->order, streams, -1); });
  EXPECT_THAT(refused, IsEmpty()) << "to be allowed, if they are harmless";
  EXPECT_EQ(outcome.wait_status, 0);
}

}  // namespace
}  // namespace vexaplatform
