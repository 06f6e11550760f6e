#include <dirent.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>

#include "unit/platform/in_child.h"
#include "unit/platform/tool/tool_fixture.h"

namespace vexaplatform {
namespace {

using vexathumb::kit::WriteFile;

bool Lives(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/stat");
  std::string id;
  std::string name;
  std::string state;
  status >> id >> name >> state;
  return !state.empty() && state != "Z";
}

std::vector<pid_t> ReadIds(const std::string& path) {
  std::ifstream file(path);
  std::vector<pid_t> ids;
  for (pid_t id = 0; file >> id;) ids.push_back(id);
  return ids;
}

bool AnyLives(const std::vector<pid_t>& processes) {
  return std::any_of(processes.begin(), processes.end(), Lives);
}

size_t OpenDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

class ToolHost : public ToolTest {
 protected:
  // What a tool starts is only known where it may start anything.
  void LetToolsFork() { Set("confinement = no\n[tool convert]\nwall_time = 1\n"); }
};

TEST_F(ToolHost, LosesEveryProcessThatAToolStarted) {
  LetToolsFork();
  EXPECT_EQ(Convert("spread " + (folder_ / "ids")), VLIBC_ENDED_BY_LIMIT);
  const std::vector<pid_t> ids = ReadIds(folder_ / "ids");
  EXPECT_EQ(ids.size(), 2U);
  EXPECT_FALSE(AnyLives(ids));
}

TEST_F(ToolHost, LosesTheTemporariesOfAToolThatIsEnded) {
  Set("[tool convert]\nwall_time = 1\n");
  EXPECT_EQ(Convert("litter"), VLIBC_ENDED_BY_LIMIT);
  EXPECT_FALSE(LeftTemporaries());
}

TEST_F(ToolHost, LeavesNothingWhenItIsKilled) {
  Set("confinement = no\n");
  const pid_t host = fork();
  if (host == 0) {
    Convert("spread " + (folder_ / "ids"));
    _exit(0);
  }
  ASSERT_TRUE(Eventually([&] { return ReadIds(folder_ / "ids").size() == 2; }));
  EXPECT_TRUE(LeftTemporaries());
  kill(host, SIGKILL);
  waitpid(host, nullptr, 0);
  const std::vector<pid_t> ids = ReadIds(folder_ / "ids");
  EXPECT_TRUE(Eventually([&] { return !AnyLives(ids) && !LeftTemporaries(); }));
  EXPECT_TRUE(Eventually([&] { return !std::filesystem::exists(destination()); }));
}

TEST_F(ToolHost, LeavesNothingWhenItIsKilledWhileItReads) {
  const pid_t host = fork();
  if (host == 0) {
    FILE* stream = OpenDcraw("hang");
    WriteFile(folder_ / "ready", "");
    getc(stream);
    _exit(0);
  }
  ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(folder_ / "ready"); }));
  kill(host, SIGKILL);
  waitpid(host, nullptr, 0);
  const std::string wanted = Program("dcraw");
  EXPECT_TRUE(Eventually([&] {
    for (const auto& process : std::filesystem::directory_iterator("/proc")) {
      std::ifstream line(process.path() / "cmdline");
      std::string program;
      std::getline(line, program, '\0');
      if (program == wanted) return false;
    }
    return true;
  }));
}

TEST_F(ToolHost, HasItsToolsEndedWithItsProcessGroup) {
  const pid_t host = fork();
  if (host == 0) {
    setpgid(0, 0);
    signal(SIGTERM, SIG_IGN);
    FILE* stream = OpenDcraw("hang");
    WriteFile(folder_ / "ready", "");
    _exit(stream != nullptr && VLIBCPclose(stream) == 256 + SIGTERM ? 0 : 1);
  }
  ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(folder_ / "ready"); }));
  kill(-host, SIGTERM);
  int status = 0;
  waitpid(host, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(ToolHost, MayIgnoreItsChildren) {
  EXPECT_EQ(InChild([this] {
              signal(SIGCHLD, SIG_IGN);
              if (Convert("write\npicture") != 0 || Convert("exit 3") != 3) return 1;
              FILE* stream = OpenDcraw("exit 4");
              return stream != nullptr && VLIBCPclose(stream) == 4 ? 0 : 2;
            }),
            0);
}

TEST_F(ToolHost, MayReapAllChildren) {
  EXPECT_EQ(InChild([this] {
              struct sigaction reaping = {};
              reaping.sa_handler = [](int) {
                while (waitpid(-1, nullptr, WNOHANG) > 0) {
                }
              };
              sigaction(SIGCHLD, &reaping, nullptr);
              for (int i = 0; i < 20; ++i) {
                if (Convert("exit 3") != 3) return 1;
              }
              return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD ? 0 : 2;
            }),
            0);
}

TEST_F(ToolHost, SeesNoChildOfItsOwnWhileAToolRuns) {
  FILE* stream = OpenDcraw("hang");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  Set("");
  // The end of its reader is nothing that a hanging tool notices; that of its host it does.
  const pid_t other = fork();
  if (other == 0) _exit(VLIBCPclose(stream) == -1 && errno == ECHILD ? 0 : 1);
  int status = 0;
  waitpid(other, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  for (const auto& process : std::filesystem::directory_iterator("/proc")) {
    std::ifstream line(process.path() / "cmdline");
    std::string program;
    std::getline(line, program, '\0');
    if (program == Program("dcraw")) kill(std::stoi(process.path().filename()), SIGTERM);
  }
  EXPECT_EQ(VLIBCPclose(stream), 256 + SIGTERM);
}

TEST_F(ToolHost, KeepsNoDescriptors) {
  Convert("write\npicture");
  const size_t before = OpenDescriptors();
  for (int i = 0; i < 10; ++i) {
    Convert("write\npicture");
    Convert("exit 1");
    VLIBCPclose(OpenDcraw("write\npicture"));
    const char* const argv[] = {"/nonexistent", nullptr};
    VLIBCExecv(argv[0], argv, 1);
    VLIBCPopenv(argv[0], "r", argv);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace vexaplatform
