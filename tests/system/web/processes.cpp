#include "system/web/processes.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace vexathumb::web_test {
namespace {

std::vector<Process> AllProcesses() {
  std::vector<Process> processes;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    std::ifstream file(entry.path() / "stat");
    std::string text;
    std::getline(file, text);
    const size_t name_end = text.rfind(") ");
    if (name_end == std::string::npos) continue;
    Process process = {};
    process.pid = std::stoi(text);
    const size_t name = text.find('(') + 1;
    process.name = text.substr(name, name_end - name);
    process.state = text.at(name_end + 2);
    process.parent = std::stoi(text.substr(name_end + 4));
    processes.push_back(process);
  }
  return processes;
}

}  // namespace

pid_t StartProgram(const std::vector<std::string>& argv, int input) {
  std::vector<char*> arguments;
  for (const std::string& argument : argv) arguments.push_back(const_cast<char*>(argument.data()));
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork");
  if (child > 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  const int nothing = open("/dev/null", O_RDWR);
  dup2(input < 0 ? nothing : input, STDIN_FILENO);
  dup2(nothing, STDOUT_FILENO);
  dup2(nothing, STDERR_FILENO);
  for (int fd = 3; fd < 256; ++fd) close(fd);
  execv(arguments[0], arguments.data());
  _exit(127);
}

void EndProgram(pid_t child) {
  kill(child, SIGTERM);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
}

std::vector<Process> ProcessesBelow(pid_t ancestor) {
  const std::vector<Process> all = AllProcesses();
  std::vector<Process> found;
  std::vector<pid_t> parents = {ancestor};
  while (!parents.empty()) {
    const pid_t parent = parents.back();
    parents.pop_back();
    for (const Process& process : all) {
      if (process.parent != parent) continue;
      found.push_back(process);
      parents.push_back(process.pid);
    }
  }
  return found;
}

int FreePort() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  const bool bound = bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                     getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  close(fd);
  if (!bound) throw std::runtime_error("no port");
  return ntohs(address.sin_port);
}

bool Eventually(const std::function<bool()>& is_so) {
  constexpr int kLooks = 3000;
  for (int look = 0; look < kLooks; ++look) {
    if (is_so()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

}  // namespace vexathumb::web_test
