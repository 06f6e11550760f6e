#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "kit/case_name.h"
#include "platform/sandbox/landlock.h"
#include "platform/sandbox/seccomp_filter.h"
#include "unit/platform/tool/tool_fixture.h"
#include "vexaplatform/expected_file.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::CaseName;
using vexathumb::kit::WriteFile;

ToolReport LastToolRunAfter(const std::function<void()>& run) {
  ForgetToolRuns();
  run();
  return LastToolRun();
}

enum class DeniedBy { kLandlock, kSeccomp };

struct DeedCase {
  const char* name;
  std::string (*order)(const ToolTest&, const std::string& folder);
  DeniedBy by;
};

void PrintTo(const DeedCase& deed, std::ostream* out) { *out << deed.name; }

class ToolDeed : public ToolTest, public testing::WithParamInterface<DeedCase> {
 protected:
  ToolDeed() {
    WriteFile(neighbour(), "of another");
    WriteFile(folder_ / "pictures/neighbour.jpg", "of another");
    WriteFile(folder_ / "secret", "secret");
  }

  std::string order() const { return GetParam().order(*this, folder_.path()); }
};

TEST_P(ToolDeed, IsDenied) {
  const bool can = GetParam().by == DeniedBy::kLandlock ? LandlockVersion() > 0 : HasSeccomp();
  if (!can) GTEST_SKIP() << "not on this kernel";
  EXPECT_EQ(Convert(order()), 1);
}

TEST_P(ToolDeed, IsDoneWithoutConfinement) {
  Set("confinement = no\n");
  // The destination is not written: what counts is that the deed was no failure.
  EXPECT_EQ(Convert(order()), VLIBC_INCOMPLETE_RESULT);
}

INSTANTIATE_TEST_SUITE_P(
    , ToolDeed,
    testing::Values(
        DeedCase{"ReadingAnotherPicture",
                 [](const ToolTest&, const std::string& folder) {
                   return "read " + folder + "/pictures/neighbour.jpg";
                 },
                 DeniedBy::kLandlock},
        DeedCase{"ReadingBesideTheDestination",
                 [](const ToolTest&, const std::string& folder) {
                   return "read " + folder + "/results/neighbour.jpg";
                 },
                 DeniedBy::kLandlock},
        DeedCase{
            "ReadingASecret",
            [](const ToolTest&, const std::string& folder) { return "read " + folder + "/secret"; },
            DeniedBy::kLandlock},
        DeedCase{
            "ReadingTheAccounts",
            [](const ToolTest&, const std::string&) { return std::string("read /etc/passwd"); },
            DeniedBy::kLandlock},
        DeedCase{"ReadingOfProcesses",
                 [](const ToolTest&, const std::string&) {
                   return std::string("read /proc/self/status");
                 },
                 DeniedBy::kLandlock},
        DeedCase{"WritingBesideTheDestination",
                 [](const ToolTest&, const std::string& folder) {
                   return "make " + folder + "/results/other.jpg";
                 },
                 DeniedBy::kLandlock},
        DeedCase{"WritingOverANeighbour",
                 [](const ToolTest&, const std::string& folder) {
                   return "make " + folder + "/results/neighbour.jpg";
                 },
                 DeniedBy::kLandlock},
        DeedCase{"WritingTheSource",
                 [](const ToolTest&, const std::string& folder) {
                   return "make " + folder + "/pictures/source.jpg";
                 },
                 DeniedBy::kLandlock},
        DeedCase{"ChangingAMode",
                 [](const ToolTest&, const std::string&) { return std::string("mode"); },
                 DeniedBy::kSeccomp},
        DeedCase{"MakingASocket",
                 [](const ToolTest&, const std::string&) { return std::string("socket"); },
                 DeniedBy::kSeccomp},
        DeedCase{"SignallingTheHost",
                 [](const ToolTest&, const std::string&) {
                   return "signal " + std::to_string(getpid());
                 },
                 DeniedBy::kSeccomp},
        DeedCase{"StartingAProcess",
                 [](const ToolTest&, const std::string&) { return std::string("fork"); },
                 DeniedBy::kSeccomp},
        DeedCase{"LeavingItsGroup",
                 [](const ToolTest&, const std::string&) { return std::string("leave"); },
                 DeniedBy::kSeccomp}),
    CaseName());

class ConfinedTool : public ToolTest {};

TEST_F(ConfinedTool, ReadsTheExpectedFileOrIsNotStarted) {
  if (LandlockVersion() == 0) GTEST_SKIP() << "not on this kernel";
  WriteFile(source(), "");
  struct stat found = {};
  ASSERT_EQ(stat(source().c_str(), &found), 0);
  const ExpectedFile expected(source(), found);
  EXPECT_NE(LastToolRunAfter([this] { Convert("write"); }).ending, ToolEnding::kNotStarted);
  std::filesystem::rename(source(), source() + ".former");
  std::filesystem::create_symlink(folder_ / "secret", source());
  WriteFile(folder_ / "secret", "write");
  const ToolReport report = LastToolRunAfter([this] {
    const std::string program = Program("djpeg");
    const std::string from = source();
    const std::string to = destination();
    const char* const argv[] = {program.c_str(), "-outfile", to.c_str(), from.c_str(), nullptr};
    VLIBCExecv(program.c_str(), argv, 1);
  });
  EXPECT_EQ(report.ending, ToolEnding::kNotStarted);
  EXPECT_EQ(report.detail, ESTALE);
}

TEST_F(ConfinedTool, ReadsItsSourceAndWritesItsDestination) {
  EXPECT_EQ(Convert("write\npicture"), 0);
  EXPECT_EQ(vexathumb::kit::ReadFile(destination()), "picture");
  EXPECT_EQ(Djpeg("write\nanother"), 0);
  EXPECT_EQ(vexathumb::kit::ReadFile(destination()), "another");
  FILE* stream = OpenDcraw("write\nthird");
  ASSERT_NE(stream, nullptr);
  char text[16] = {};
  EXPECT_EQ(fread(text, 1, sizeof(text), stream), 5U);
  EXPECT_EQ(ferror(stream), 0);
  EXPECT_EQ(VLIBCPclose(stream), 0);
  EXPECT_STREQ(text, "third");
}

TEST_F(ConfinedTool, GivesItsDestinationTheModeOfTheHost) {
  const mode_t before = umask(027);
  EXPECT_EQ(Djpeg("write\npicture"), 0);
  umask(before);
  struct stat status = {};
  ASSERT_EQ(stat(destination().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

}  // namespace
}  // namespace vexaplatform
