#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "kit/case_name.h"
#include "kit/pictures/fixtures.h"
#include "platform/sandbox/landlock.h"
#include "unit/platform/tool/tool_fixture.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::ReadFile;
using vexathumb::kit::WriteFile;

struct PlantedCase {
  const char* name;
  void (*plant)(const std::string& victim, const std::string& place);
};

void PrintTo(const PlantedCase& planted, std::ostream* out) { *out << planted.name; }

// What another has put where a tool is to write, and what that would do to a file of others.
class PlantedDestination : public ToolTest, public testing::WithParamInterface<PlantedCase> {
 protected:
  PlantedDestination() {
    WriteFile(neighbour(), "of another");
    chmod(neighbour().c_str(), 0640);
    const timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
    utimensat(AT_FDCWD, neighbour().c_str(), times, 0);
  }

  void ExpectVictimUntouched() const {
    struct stat status = {};
    ASSERT_EQ(stat(neighbour().c_str(), &status), 0);
    EXPECT_EQ(ReadFile(neighbour()), "of another");
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(status.st_mtime, 1000000000);
  }

  void ExpectFileOfItsOwn(const std::string& bytes) const {
    struct stat status = {};
    ASSERT_EQ(lstat(destination().c_str(), &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(status.st_nlink, 1U);
    EXPECT_EQ(ReadFile(destination()), bytes);
  }
};

TEST_P(PlantedDestination, IsReplacedByAFileOfItsOwn) {
  GetParam().plant(neighbour(), destination());
  EXPECT_EQ(Djpeg("write\npicture"), 0);
  ExpectFileOfItsOwn("picture");
  ExpectVictimUntouched();
}

TEST_P(PlantedDestination, IsReplacedBehindAnAlias) {
  GetParam().plant(neighbour(), destination());
  EXPECT_EQ(Convert("write\npicture"), 0);
  ExpectFileOfItsOwn("picture");
  ExpectVictimUntouched();
}

TEST_P(PlantedDestination, IsReplacedWithoutConfinement) {
  Set("confinement = no\n");
  GetParam().plant(neighbour(), destination());
  EXPECT_EQ(Djpeg("write\npicture"), 0);
  ExpectFileOfItsOwn("picture");
  ExpectVictimUntouched();
}

INSTANTIATE_TEST_SUITE_P(
    , PlantedDestination,
    testing::Values(PlantedCase{"HardLink",
                                [](const std::string& victim, const std::string& place) {
                                  std::filesystem::create_hard_link(victim, place);
                                }},
                    PlantedCase{"Link",
                                [](const std::string& victim, const std::string& place) {
                                  std::filesystem::create_symlink(victim, place);
                                }},
                    PlantedCase{"LinkToNothing",
                                [](const std::string& victim, const std::string& place) {
                                  std::filesystem::create_symlink(victim + ".none", place);
                                }},
                    PlantedCase{"Fifo",
                                [](const std::string&, const std::string& place) {
                                  mkfifo(place.c_str(), 0600);
                                }},
                    PlantedCase{"Socket",
                                [](const std::string&, const std::string& place) {
                                  vexathumb::kit::WriteSocket(place);
                                }}),
    vexathumb::kit::CaseName());

using DestinationInPlace = PlantedDestination;

int TurnInPlace(const std::string& program, const std::string& path) {
  const char* const argv[] = {program.c_str(), "-outfile", path.c_str(), path.c_str(), nullptr};
  return VLIBCExecv(program.c_str(), argv, 1);
}

// The tool reads what it is to write over: other names of that file keep what they had.
TEST_F(DestinationInPlace, IsOfItsOwnWhereItHasAnotherName) {
  WriteFile(destination(), "write\nanother");
  std::filesystem::create_hard_link(destination(), folder_ / "results/other.jpg");
  // The fake passes over what follows -outfile, but finds the same path as its operand.
  EXPECT_EQ(TurnInPlace(Program("djpeg"), destination()), 0);
  ExpectFileOfItsOwn("another");
  EXPECT_EQ(ReadFile(folder_ / "results/other.jpg"), "write\nanother");
}

TEST_F(DestinationInPlace, IsKeptWhereItIsOfOneName) {
  WriteFile(destination(), "write\nanother");
  struct stat before = {};
  ASSERT_EQ(stat(destination().c_str(), &before), 0);
  EXPECT_EQ(TurnInPlace(Program("djpeg"), destination()), 0);
  struct stat after = {};
  ASSERT_EQ(stat(destination().c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  ExpectFileOfItsOwn("another");
}

TEST_F(DestinationInPlace, IsNoLink) {
  WriteFile(folder_ / "results/other.jpg", "write\nanother");
  std::filesystem::create_symlink("other.jpg", destination());
  EXPECT_EQ(TurnInPlace(Program("djpeg"), destination()), -1);
  EXPECT_TRUE(std::filesystem::is_symlink(destination()));
  EXPECT_EQ(ReadFile(folder_ / "results/other.jpg"), "write\nanother");
}

// Planted after it was made, and before the tool opens it.
TEST_F(PlantedDestination, IsNotWrittenThroughWhenItIsExchanged) {
  if (LandlockVersion() == 0) GTEST_SKIP() << "not on this kernel";
  std::filesystem::remove(Program("djpeg"));
  std::filesystem::create_symlink(HOSTILE_TOOL, Program("djpeg"));
  const std::string planted = folder_ / "planted";
  std::filesystem::create_hard_link(neighbour(), planted);
  struct stat victim = {};
  ASSERT_EQ(stat(planted.c_str(), &victim), 0);
  std::atomic<bool> is_over = false;
  std::thread other([&] {
    while (!is_over && !std::filesystem::exists(destination())) std::this_thread::yield();
    rename(planted.c_str(), destination().c_str());
  });
  const std::string wanted = std::to_string(victim.st_ino) + " " + destination();
  EXPECT_EQ(Djpeg("write_when_exchanged " + wanted), 1);
  is_over = true;
  other.join();
  ExpectVictimUntouched();
}

}  // namespace
}  // namespace vexaplatform
