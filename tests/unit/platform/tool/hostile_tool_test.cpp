#include <gtest/gtest.h>
#include <mqueue.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <tuple>

#include "kit/case_name.h"
#include "platform/sandbox/landlock.h"
#include "platform/sandbox/seccomp_filter.h"
#include "unit/platform/tool/listened_thread.h"
#include "unit/platform/tool/tool_fixture.h"
#include "vexaplatform/confinement.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::ReadFile;
using vexathumb::kit::WriteFile;

// As hostile_tool exits.
constexpr int kDone = VLIBC_INCOMPLETE_RESULT;  // it wrote no picture
constexpr int kRefused = 1;
constexpr int kNoSuchCall = 3;

// A photograph beside the tool's destination, and what else of others there is to reach.
class HostileToolTest : public ToolTest {
 protected:
  HostileToolTest() {
    for (const char* tool : {"convert", "djpeg"}) {
      std::filesystem::remove(Program(tool));
      std::filesystem::create_symlink(HOSTILE_TOOL, Program(tool));
    }
    WriteFile(neighbour(), "of another");
    bystander_ = fork();
    if (bystander_ == 0) {
      for (;;) pause();
    }
    memory_ = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600);
    const mqd_t queue = mq_open(queue_.c_str(), O_RDWR | O_CREAT, 0600, nullptr);
    if (queue >= 0) mq_close(queue);
  }
  ~HostileToolTest() override {
    mq_unlink(queue_.c_str());
    shmctl(memory_, IPC_RMID, nullptr);
    kill(bystander_, SIGKILL);
    waitpid(bystander_, nullptr, 0);
  }

  // What stands for the things that an act may be done to.
  std::string Filled(std::string act) const {
    const std::pair<const char*, std::string> words[] = {{"NEIGHBOUR", neighbour()},
                                                         {"OTHER", folder_ / "results/other.jpg"},
                                                         {"SOURCE", source()},
                                                         {"DESTINATION", destination()},
                                                         {"BYSTANDER", std::to_string(bystander_)},
                                                         {"MEMORY", std::to_string(memory_)},
                                                         {"QUEUE", queue_}};
    for (const auto& [word, value] : words) {
      const size_t at = act.find(word);
      if (at != std::string::npos) return act.replace(at, std::string(word).size(), value);
    }
    return act;
  }

  bool IsNeighbourWhole() const {
    struct stat status = {};
    return stat(neighbour().c_str(), &status) == 0 && status.st_mtime != 0 &&
           (status.st_mode & 0111U) == 0 && ReadFile(neighbour()) == "of another";
  }

  pid_t bystander_ = 0;
  int memory_ = -1;
  std::string queue_ = "/vexathumb_test_" + std::to_string(getpid());
};

enum class Wall { kLandlock, kSeccomp };

struct ActCase {
  const char* name;
  const char* act;
  Wall wall = Wall::kSeccomp;
};

void PrintTo(const ActCase& act, std::ostream* out) { *out << act.name; }

const ActCase kActs[] = {
    {"ReadingANeighbour", "read NEIGHBOUR", Wall::kLandlock},
    {"ReadingTheAccounts", "read /etc/passwd", Wall::kLandlock},
    {"MakingAFile", "make OTHER", Wall::kLandlock},
    {"MakingALink", "link OTHER"},
    {"RemovingANeighbour", "remove NEIGHBOUR", Wall::kLandlock},
    {"CuttingANeighbour", "truncate NEIGHBOUR"},
    {"EmptyingTheSource", "empty SOURCE"},
    {"DatingANeighbour", "date NEIGHBOUR"},
    {"OpeningANeighbourToAll", "mode NEIGHBOUR"},
    {"OpeningANeighbourToAllByANewerCall", "mode_anew NEIGHBOUR"},
    {"GivingANeighbourAway", "owner NEIGHBOUR"},
    {"MarkingANeighbour", "attribute NEIGHBOUR"},
    {"MarkingANeighbourByANewerCall", "attribute_anew NEIGHBOUR"},
    {"UnmarkingANeighbour", "remove_attribute_anew NEIGHBOUR"},
    {"FreezingANeighbour", "flags_anew NEIGHBOUR"},
    {"FreezingItsSource", "flags SOURCE"},
    {"LockingItsSource", "lock SOURCE"},
    {"LockingAPartOfItsSource", "lock_range SOURCE"},
    {"LeasingItsSource", "lease SOURCE"},
    {"BeingToldOfAFolder", "be_told /usr"},
    {"WatchingANeighbour", "watch NEIGHBOUR"},
    {"Signalling", "signal BYSTANDER"},
    {"SignallingByADescriptor", "signal_by_descriptor BYSTANDER"},
    {"LettingADescriptorSignal", "own_descriptor BYSTANDER"},
    {"BindingAProcess", "bind BYSTANDER"},
    {"HoldingAProcessBack", "schedule BYSTANDER"},
    {"ReadingMemory", "read_memory BYSTANDER"},
    {"TakingDescriptors", "take_descriptor BYSTANDER"},
    {"SharingMemory", "shared_memory MEMORY"},
    {"RemovingAQueue", "remove_queue QUEUE"},
    {"HoldingMemoryThatNoLimitCounts", "hold_memory"},
    {"RaisingItsLimits", "limit"},
    {"OutlivingItsHost", "outlive"},
    {"LeavingItsGroup", "leave"},
    {"MakingASocket", "socket"},
    {"MakingAPairOfSockets", "pair"},
    {"StartingAProcess", "fork"},
    {"KeepingAKey", "key"},
    {"LeavingANamespace", "namespace"},
};

// With the version of Landlock that the kernel has, or one of before.
class HostileAct : public HostileToolTest,
                   public testing::WithParamInterface<std::tuple<ActCase, int>> {};

TEST_P(HostileAct, IsRefused) {
  const ActCase& act = std::get<ActCase>(GetParam());
  if (act.wall == Wall::kLandlock && LandlockVersion() == 0) GTEST_SKIP() << "not on this kernel";
  if (!HasSeccomp()) GTEST_SKIP() << "not on this kernel";
  int answer = 0;
  if (!RunWithLandlock(std::get<int>(GetParam()), [&] { answer = Convert(Filled(act.act)); })) {
    GTEST_SKIP() << "the kernel cannot seem older";
  }
  EXPECT_EQ(answer, kRefused);
  EXPECT_TRUE(IsNeighbourWhole());
  EXPECT_FALSE(std::filesystem::exists(folder_ / "results/other.jpg"));
  EXPECT_EQ(waitpid(bystander_, nullptr, WNOHANG), 0);
}

std::string NameOfAct(const testing::TestParamInfo<std::tuple<ActCase, int>>& row) {
  const std::string name = std::get<ActCase>(row.param).name;
  const int version = std::get<int>(row.param);
  return version == kOwnLandlock ? name : name + "WithLandlock" + std::to_string(version);
}

INSTANTIATE_TEST_SUITE_P(, HostileAct,
                         testing::Combine(testing::ValuesIn(kActs),
                                          testing::Values(kOwnLandlock, 5, 2, 1)),
                         NameOfAct);

class HostileActWithoutWalls : public HostileToolTest,
                               public testing::WithParamInterface<ActCase> {};

TEST_P(HostileActWithoutWalls, IsDone) {
  Set("confinement = no\n");
  const int answer = Convert(Filled(GetParam().act));
  if (answer == kNoSuchCall) GTEST_SKIP() << "not on this kernel";
  EXPECT_EQ(answer, kDone);
}

INSTANTIATE_TEST_SUITE_P(, HostileActWithoutWalls, testing::ValuesIn(kActs),
                         vexathumb::kit::CaseName());

// In a vector that nobody has thought of, with the version of Landlock that the kernel seems to
// have.
class ToolOfAnUnknownVector : public HostileToolTest, public testing::WithParamInterface<int> {
 protected:
  int Run(const std::string& act) const {
    const std::string program = Program("convert");
    const std::string filled = Filled(act);
    const std::string target = destination();
    const char* const argv[] = {program.c_str(), "-order", filled.c_str(), target.c_str(), nullptr};
    return VLIBCExecv(program.c_str(), argv, 1);
  }
};

TEST_P(ToolOfAnUnknownVector, GetsNoFiles) {
  if (LandlockVersion() == 0) GTEST_SKIP() << "not on this kernel";
  WriteFile(source(), "a picture");
  const bool ran = RunWithLandlock(GetParam(), [this] {
    for (const char* act : {"read SOURCE", "read NEIGHBOUR", "read /etc/passwd", "make OTHER",
                            "make DESTINATION", "remove NEIGHBOUR"}) {
      EXPECT_EQ(Run(act), kRefused) << act;
    }
  });
  if (!ran) GTEST_SKIP() << "the kernel cannot seem older";
  EXPECT_TRUE(IsNeighbourWhole());
  EXPECT_FALSE(std::filesystem::exists(folder_ / "results/other.jpg"));
  EXPECT_FALSE(std::filesystem::exists(destination()));
}

std::string NameOfVersion(const testing::TestParamInfo<int>& row) {
  return row.param == kOwnLandlock ? "Here" : "WithLandlock" + std::to_string(row.param);
}

INSTANTIATE_TEST_SUITE_P(, ToolOfAnUnknownVector, testing::Values(kOwnLandlock, 5, 2, 1),
                         NameOfVersion);

using ToolOfAnUnknownVectorWithoutLandlock = ToolOfAnUnknownVector;

TEST_P(ToolOfAnUnknownVectorWithoutLandlock, FillsNoFile) {
  int answer = 0;
  if (!RunWithLandlock(GetParam(), [&] { answer = Run("write OTHER"); })) {
    GTEST_SKIP() << "the kernel cannot seem older";
  }
  EXPECT_EQ(answer, VLIBC_ENDED_BY_LIMIT);
  EXPECT_EQ(ReadFile(folder_ / "results/other.jpg"), "");
}

INSTANTIATE_TEST_SUITE_P(, ToolOfAnUnknownVectorWithoutLandlock, testing::Values(0), NameOfVersion);

struct GreedCase {
  const char* name;
  const char* settings;
  const char* act;
  ToolLimit limit;
};

void PrintTo(const GreedCase& greed, std::ostream* out) { *out << greed.name; }

// By many small steps, each of them allowed.
class GreedyTool : public HostileToolTest, public testing::WithParamInterface<GreedCase> {};

TEST_P(GreedyTool, IsEndedAtALimitOfAll) {
  Set("[tool convert]\n" + std::string(GetParam().settings));
  EXPECT_EQ(Convert(GetParam().act), VLIBC_ENDED_BY_LIMIT);
  EXPECT_EQ(LastToolRun().ending, ToolEnding::kLimited);
  EXPECT_EQ(LastToolRun().detail, static_cast<int>(GetParam().limit));
  EXPECT_EQ(LastToolRun().machine_error, 0);
  EXPECT_FALSE(LeftTemporaries());
}

TEST_P(GreedyTool, GoesOnWithoutThatLimit) {
  Set("[tool convert]\nwall_time = 2\nwritten = 1000000\ntasks = 1000000\n");
  const int answer = Convert(GetParam().act);
  const bool waits = answer == VLIBC_ENDED_BY_LIMIT &&
                     LastToolRun().detail == static_cast<int>(ToolLimit::kWallTime);
  EXPECT_TRUE(waits || answer == kDone) << answer;
}

INSTANTIATE_TEST_SUITE_P(
    , GreedyTool,
    testing::Values(GreedCase{"ManyFiles", "written = 100\n", "fill_folder", ToolLimit::kWritten},
                    GreedCase{"HiddenFiles", "written = 100\n", "hide_files", ToolLimit::kWritten},
                    GreedCase{"Threads", "tasks = 20\n", "threads 200", ToolLimit::kTasks}),
    vexathumb::kit::CaseName());

// 0 when there is none.
pid_t ProcessOf(const std::string& program) {
  for (const auto& process : std::filesystem::directory_iterator("/proc")) {
    std::ifstream line(process.path() / "cmdline");
    std::string first;
    if (std::getline(line, first, '\0') && first == program) {
      return std::stoi(process.path().filename());
    }
  }
  return 0;
}

pid_t ParentOf(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string word; status >> word;) {
    pid_t parent = 0;
    if (word == "PPid:" && status >> parent) return parent;
  }
  return 0;
}

// With nobody left to end it but the kernel.
TEST_F(HostileToolTest, DoesNotOutliveItsHostAndSupervisor) {
  if (!HasSeccomp()) GTEST_SKIP() << "not on this kernel";
  const pid_t host = fork();
  if (host == 0) {
    Convert("linger");
    _exit(0);
  }
  const std::string program = Program("convert");
  ASSERT_TRUE(Eventually([&] { return ProcessOf(program) != 0; }));
  const pid_t supervisor = ParentOf(ProcessOf(program));
  ASSERT_EQ(ParentOf(supervisor), host);
  kill(supervisor, SIGSTOP);
  kill(host, SIGKILL);
  kill(supervisor, SIGKILL);
  waitpid(host, nullptr, 0);
  EXPECT_TRUE(Eventually([&] { return ProcessOf(program) == 0; }));
}

TEST(OlderKernel, IsToldOf) {
  int version = 0;
  if (!RunWithLandlock(2, [&] { version = AskConfinement().landlock; })) {
    GTEST_SKIP() << "the kernel cannot seem older";
  }
  EXPECT_EQ(version, 2);
}

}  // namespace
}  // namespace vexaplatform
