#include "service/index/farm_jobs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexathumb::service {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> Parsed(const std::string& text) {
  std::vector<std::string> texts;
  for (const FarmHost& host : ParseFarmHosts(text)) {
    texts.push_back(host.login + (host.mapping.empty() ? "" : " " + host.mapping));
  }
  return texts;
}

TEST(FarmHosts, AreALineEach) {
  EXPECT_THAT(Parsed("nas1\n\n  root@nas2:2222\t\n:\r\nlast"),
              ElementsAre("nas1", "root@nas2:2222", ":", "last"));
}

TEST(FarmHosts, MayHaveTheStorageElsewhere) {
  EXPECT_THAT(Parsed("nas1 /volume1=/mnt/nas\nnas2\t /the share=/mnt/the share  # mounted\n"),
              ElementsAre("nas1 /volume1=/mnt/nas", "nas2 /the share=/mnt/the share"));
}

TEST(FarmHosts, AreNotWhatIsBehindASharpThatBeginsAWord) {
  EXPECT_THAT(Parsed("# nobody\n\t# here\n"), IsEmpty());
  EXPECT_THAT(Parsed("nas1 /a#1=/b#2 # elsewhere\n"), ElementsAre("nas1 /a#1=/b#2"));
}

TEST(FarmHosts, NeedTwoAbsolutePathsToMap) {
  for (const char* text : {"nas1 there", "nas1 there=here", "nas1 /there=here"}) {
    try {
      ParseFarmHosts(text);
      ADD_FAILURE() << text;
    } catch (const FarmError& error) {
      EXPECT_THAT(error.what(), HasSubstr(": FROM=TO with two absolute paths is wanted"));
    }
  }
}

struct Job {
  const char* name;
  FarmBuild build;
  std::vector<FarmHost> hosts;
  std::string host;  // that runs it, as GNU Parallel names it
  std::vector<std::string> arguments;
};

// Runs the command as GNU Parallel does: by a shell, with the shard's number for {}.
class FarmCommandTest : public testing::Test {
 protected:
  // What a stand-in for the program is given, an argument a line; it ends with `code`.
  int Run(FarmBuild build, const std::vector<FarmHost>& hosts, const std::string& host, int code) {
    build.program = dir_ / "it's the program";
    kit::WriteFile(build.program, "#!/bin/sh\nprintf '%s\\n' \"$@\" >\"" + dir_.path() +
                                      "/arguments\"\nexit " + std::to_string(code) + "\n");
    chmod(build.program.c_str(), 0755);
    std::string command = FarmCommand(build, hosts);
    command.replace(command.rfind("{}"), 2, "7");
    command = "export PARALLEL_SSHHOST=" + host + "; " + command + " >" + dir_.path() + "/out";
    return WEXITSTATUS(system(command.c_str()));
  }

  std::string Arguments() const { return kit::ReadFile(dir_ / "arguments"); }
  std::string Output() const { return kit::ReadFile(dir_ / "out"); }

  kit::TempDir dir_;
};

class FarmCommandJob : public FarmCommandTest, public testing::WithParamInterface<Job> {};

TEST_P(FarmCommandJob, HasAHostBuildAShard) {
  const auto& [name, build, hosts, host, arguments] = GetParam();
  EXPECT_EQ(Run(build, hosts, host, 0), 0);
  std::string expected;
  for (const std::string& argument : arguments) expected += argument + "\n";
  EXPECT_EQ(Arguments(), expected);
  EXPECT_EQ(Output(), "\n{\"host\":\"" + host + "\"}\n");
}

const std::vector<FarmHost> kElsewhere = {
    {":", ""}, {"root@nas1", "/d=/mnt/d d"}, {"nas2:22", "/d/e/=/"}, {"nas3", "/other=/mnt"}};

INSTANTIATE_TEST_SUITE_P(
    , FarmCommandJob,
    testing::Values(Job{"Plain",
                        {"", "/d/e/m", {}},
                        {{":", ""}},
                        ":",
                        {"build", "--json", "--manifest", "/d/e/m", "--shard", "7"}},
                    Job{"Options",
                        {"", "/d/e/m", {"--sizes", "small,big", "--nice"}},
                        {{":", ""}},
                        ":",
                        {"build", "--json", "--manifest", "/d/e/m", "--shard", "7", "--sizes",
                         "small,big", "--nice"}},
                    Job{"NamesOfAllKinds",
                        {"", "/d/it's a \"$m\" `x`", {"a b", "", "*"}},
                        {{":", ""}},
                        ":",
                        {"build", "--json", "--manifest", "/d/it's a \"$m\" `x`", "--shard", "7",
                         "a b", "", "*"}},
                    Job{"Elsewhere",
                        {"", "/d/e/m", {"--nice"}},
                        kElsewhere,
                        "nas1",
                        {"build", "--json", "--manifest", "/mnt/d d/e/m", "--shard", "7",
                         "--path-map", "/d=/mnt/d d", "--nice"}},
                    Job{"ElsewhereAtTheRoot",
                        {"", "/d/e/m", {}},
                        kElsewhere,
                        "nas2",
                        {"build", "--json", "--manifest", "/m", "--shard", "7", "--path-map",
                         "/d/e/=/"}},
                    Job{"ManifestNotElsewhere",
                        {"", "/d/e/m", {}},
                        kElsewhere,
                        "nas3",
                        {"build", "--json", "--manifest", "/d/e/m", "--shard", "7", "--path-map",
                         "/other=/mnt"}},
                    Job{"ThisMachineAmongOthers",
                        {"", "/d/e/m", {}},
                        kElsewhere,
                        ":",
                        {"build", "--json", "--manifest", "/d/e/m", "--shard", "7"}}),
    kit::CaseName());

TEST_F(FarmCommandTest, FilesThatAreNoPicturesLeaveNothingToDo) {
  EXPECT_EQ(Run({"", "/m", {}}, {{":", ""}}, ":", 1), 0);
}

TEST_F(FarmCommandTest, WhatWasStoppedOrCouldNotBeReadIsToBeDoneAgain) {
  EXPECT_NE(Run({"", "/m", {}}, {{":", ""}}, ":", 3), 0);
  EXPECT_NE(Run({"", "/m", {}}, {{":", ""}}, ":", 75), 0);
}

TEST(FarmCommandText, HasNoBracesOfOthers) {
  EXPECT_THROW(FarmCommand({"vexathumb", "/d/{1}", {}}, {{":", ""}}), FarmError);
  EXPECT_THROW(FarmCommand({"vexathumb", "/d", {"{}"}}, {{":", ""}}), FarmError);
}

}  // namespace
}  // namespace vexathumb::service
