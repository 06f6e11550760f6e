#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "kit/case_name.h"
#include "kit/pictures/fixtures.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

TEST(Doctor, FindsASoundMachineSoundAndLeavesNothing) {
  const Album album;
  const RunResult run = album.Run({"doctor", album.pictures()});
  EXPECT_EQ(run.exit_code, 0) << run.out;
  EXPECT_THAT(run.err, IsEmpty());
  EXPECT_THAT(run.out, Not(HasSubstr("FAIL")));
  for (const char* subject :
       {"/usr/bin/convert", "/usr/bin/djpeg", "/usr/bin/jpegtran", "/usr/bin/dcraw",
        "/usr/bin/gifsicle", "/bin/mv", "format JPEG", "format HEIC"}) {
    EXPECT_THAT(run.out, HasSubstr("ok    " + std::string(subject) + ": "));
  }
  EXPECT_THAT(run.out, HasSubstr("thumbnails lie in " + album / ".vexaea"));
  EXPECT_FALSE(std::filesystem::exists(album / ".vexaea"));
}

TEST(Doctor, TellsHowToolsAreConfined) {
  const Album album;
  const std::string out = album.Run({"doctor", album.pictures()}).out;
  for (const char* subject : {"Landlock: ", "seccomp: ", "truncation: ", "signals: ", "usage: ",
                              "tool policy: ", "aliases: "}) {
    EXPECT_THAT(out, HasSubstr(subject));
  }
  if (geteuid() == 0) {
    EXPECT_THAT(out, HasSubstr("warn  user: runs as root, whose threads"));
  }
  album.WriteSettings("[tools]\nconfinement = no\n");
  EXPECT_THAT(album.Run({"doctor", album.pictures()}).out,
              HasSubstr("warn  confinement: switched off"));
}

TEST(Doctor, LooksAtTheCurrentFolderByDefault) {
  const Album album;
  const RunResult run = album.Run({"doctor"}, {album.pictures(), {}, "", false});
  EXPECT_THAT(run.out, HasSubstr("store of " + album.pictures() + ":"));
}

struct UnsoundCase {
  const char* name;
  const char* settings;
  bool remote;
  const char* folder;  // empty: the pictures' folder
  const char* finding;
};

void PrintTo(const UnsoundCase& unsound, std::ostream* out) { *out << unsound.name; }

class UnsoundMachine : public ::testing::TestWithParam<UnsoundCase> {};

TEST_P(UnsoundMachine, IsFoundWithWhatToDo) {
  const Album album;
  album.WriteSettings(GetParam().settings);
  const std::string folder = *GetParam().folder == '\0' ? album.pictures() : GetParam().folder;
  RunOptions options;
  if (GetParam().remote) options.environment = album.Spied("SPY_REMOTE", "1");
  const RunResult run = album.Run({"doctor", folder, "--json"}, options);
  EXPECT_EQ(run.exit_code, 1);
  const Json report = run.json();
  EXPECT_EQ(report["sound"], false);
  int failures = 0;
  for (const Json& finding : report["findings"]) {
    if (finding["level"] != "FAIL") continue;
    ++failures;
    EXPECT_THAT(std::string(finding["text"]), HasSubstr(GetParam().finding));
    EXPECT_THAT(std::string(finding["advice"]), Not(IsEmpty()));
  }
  EXPECT_EQ(failures, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Doctor, UnsoundMachine,
    ::testing::Values(UnsoundCase{"broken_settings", "[store]\nlayout = sideways\n", false, "",
                                  "platform.ini:2"},
                      UnsoundCase{"volume_without_store", "", true, "", "volume"},
                      UnsoundCase{"root_that_cannot_be_made",
                                  "[store]\nlayout = central\nroot = /dev/null/store\n", false, "",
                                  "cannot be written"},
                      UnsoundCase{"no_folder", "", false, "/none", "is no folder"},
                      UnsoundCase{"no_place_for_aliases", "[tools]\ntemp_dir = /none\n", false, "",
                                  "no private folder"}),
    kit::CaseName());

TEST(Doctor, WarnsOfASharesMissingFolder) {
  const Album album;
  album.WriteSettings("[share photo]\npath = /none\n");
  const RunResult run = album.Run({"doctor", album.pictures()});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.out, HasSubstr("warn  share photo: /none is no folder"));
}

}  // namespace
}  // namespace vexathumb::system_test
