#include "kit/run_tool.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexathumb::kit {
namespace {

int SpawnAndWait(const std::vector<std::string>& argv, const std::string& input,
                 const std::string& output, const std::string& errors) {
  std::vector<char*> arguments;
  arguments.reserve(argv.size() + 1);
  for (const std::string& argument : argv) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
  constexpr int kWrite = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), kWrite, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), kWrite, 0600);
  pid_t child = -1;
  const int failed =
      posix_spawn(&child, argv.front().c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) return -failed;

  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

std::string ToolFailure::Reason() const {
  std::string text = what();
  text.erase(text.find_last_not_of('\n') + 1);
  return text.substr(text.rfind('\n') + 1);
}

std::string RunTool(const std::vector<std::string>& argv, const std::string& input) {
  const TempDir dir;
  const int status = SpawnAndWait(argv, input, dir / "output", dir / "errors");
  if (status != 0) {
    std::string command;
    for (const std::string& argument : argv) command += argument + " ";
    throw ToolFailure(command + "failed with status " + std::to_string(status) + "\n" +
                      (status > 0 ? ReadFile(dir / "errors") : ""));
  }
  return ReadFile(dir / "output");
}

}  // namespace vexathumb::kit
