#include "bench/measured_run.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

namespace vexathumb::bench {
namespace {

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

Cost MeasureRun(const Command& command) {
  const std::vector<char*> arguments = Pointers(command.argv);
  const std::vector<char*> environment = Pointers(command.environment);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, command.output.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);

  const auto start = std::chrono::steady_clock::now();
  pid_t child = -1;
  const int failed =
      posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environment.data());
  int status = failed;
  rusage usage = {};
  while (failed == 0 && wait4(child, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  posix_spawn_file_actions_destroy(&actions);
  if (status != 0) throw std::runtime_error(command.argv[0] + " failed");
  return {elapsed.count(), Seconds(usage.ru_utime) + Seconds(usage.ru_stime)};
}

}  // namespace vexathumb::bench
