#include "system/program.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "kit/files.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// Runs in the child between fork and exec.
void Redirect(const char* path, int flags, int descriptor) {
  const int opened = open(path, flags, 0666);
  if (opened < 0 || dup2(opened, descriptor) < 0) _exit(126);
}

void LimitOpenFiles(unsigned count) {
  const rlimit limit = {count, count};
  if (count != 0 && setrlimit(RLIMIT_NOFILE, &limit) != 0) _exit(126);
}

int EndingOf(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
}

std::vector<std::string> LeftoversOf(pid_t process) {
  const std::string id = std::to_string(process);
  const auto has = [](const std::string& name, const std::string& part) {
    return name.find(part) != std::string::npos;
  };
  std::vector<std::string> found;
  for (const fs::directory_entry& entry : fs::directory_iterator("/tmp")) {
    const std::string name = entry.path().filename();
    if (name.rfind("thumb." + id + ".", 0) == 0) found.push_back(entry.path());
  }
  for (const fs::directory_entry& entry : fs::directory_iterator("/var/tmp")) {
    const std::string name = entry.path().filename();
    if (name.rfind("vexathumb_", 0) == 0 && has(name, "_" + id + "_"))
      found.push_back(entry.path());
  }
  return found;
}

}  // namespace

bool RunResult::HasOneErrorLine() const {
  return err.rfind("vexathumb: ", 0) == 0 && std::count(err.begin(), err.end(), '\n') == 1 &&
         err.back() == '\n';
}

Album::Album() : pictures_(dir_ / "pictures") {
  fs::create_directory(pictures_);
  WriteSettings("");
}

void Album::Store(const std::string& picture, const std::string& name,
                  const std::string& file) const {
  fs::create_directories(pictures_ + "/.vexaea/" + picture);
  fs::copy_file(file, Stored(picture, name), fs::copy_options::overwrite_existing);
}

void Album::WriteSettings(const std::string& text) const {
  kit::WriteFile(dir_ / "platform.ini", text);
}

std::string Album::IndexedShare() const {
  // The library takes the second component of a path as its share.
  const fs::path path = pictures_;
  auto component = path.begin();
  std::advance(component, 2);
  return "[share " + component->string() + "]\npath = " + dir_.path() + "\nindexed = yes\n";
}

RunResult Album::Run(const std::vector<std::string>& arguments, const RunOptions& options) const {
  const kit::TempDir streams;
  const std::string out = options.output.empty() ? streams / "out" : options.output;
  const std::string err = streams / "err";
  kit::WriteFile(err, "");
  const bool drops_rights = options.as_ordinary_user && geteuid() == 0;

  std::vector<std::string> command = {VEXATHUMB_PROGRAM};
  if (drops_rights) {
    command = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
               dir_ / "program/vexathumb"};
  }
  command.insert(command.end(), arguments.begin(), arguments.end());
  const std::vector<char*> argv = Pointers(command);

  std::map<std::string, std::string> variables = options.environment;
  // The spy may come before the sanitizer, whose finds are told apart from the program's own codes.
  const char* sanitizer = std::getenv("ASAN_OPTIONS");
  variables["ASAN_OPTIONS"] =
      std::string(sanitizer == nullptr ? "" : sanitizer) + ":verify_asan_link_order=0:exitcode=99";
  variables["VEXATHUMB_CONFIG"] = dir_ / "platform.ini";
  if (drops_rights) variables["LD_LIBRARY_PATH"] = dir_ / "program";
  std::vector<std::string> environment;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (variables.count(text.substr(0, text.find('='))) == 0) environment.push_back(text);
  }
  for (const auto& [name, value] : variables) {
    environment.push_back(std::string(name).append("=").append(value));
  }
  const std::vector<char*> envp = Pointers(environment);

  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) {
    Redirect("/dev/null", O_RDONLY, STDIN_FILENO);
    Redirect(out.c_str(), O_WRONLY | O_CREAT, STDOUT_FILENO);
    Redirect(err.c_str(), O_WRONLY, STDERR_FILENO);
    if (!options.folder.empty() && chdir(options.folder.c_str()) != 0) _exit(126);
    LimitOpenFiles(options.open_files);
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }
  if (options.killed_after != 0) {
    usleep(options.killed_after);
    kill(child, SIGKILL);
  }
  int status = 0;
  rusage usage = {};
  while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  RunResult result;
  result.peak_memory_kib = usage.ru_maxrss;
  result.exit_code = EndingOf(status);
  if (options.output.empty()) result.out = kit::ReadFile(out);
  result.err = kit::ReadFile(err);
  result.leftovers = LeftoversOf(child);
  return result;
}

void Album::OpenToOrdinaryUser() const {
  const std::string program = dir_ / "program";
  fs::create_directory(program);
  fs::copy_file(VEXATHUMB_PROGRAM, program + "/vexathumb");
  std::istringstream libraries(VEXATHUMB_LIBRARIES);
  for (std::string library; std::getline(libraries, library, ':');) {
    const std::string name = fs::path(library).filename();
    fs::copy_file(library, program + "/" + name.substr(0, name.find(".so")) + ".so.1");
  }
  for (const std::string& folder : {dir_.path(), program}) chmod(folder.c_str(), 0755);
}

std::map<std::string, std::string> Album::Spied(const std::string& variable,
                                                const std::string& value) const {
  return {{"LD_PRELOAD", VEXATHUMB_SPY}, {variable, value}};
}

}  // namespace vexathumb::system_test
