#include "system/program.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
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
    const bool is_ours = name.rfind("vexathumb_", 0) == 0 || name.rfind("VEXATHUMBTMP_", 0) == 0;
    if (is_ours && has(name, "_" + id + "_")) found.push_back(entry.path());
  }
  return found;
}

}  // namespace

bool RunResult::HasOneErrorLine() const {
  return err.rfind("vexathumb: ", 0) == 0 && std::count(err.begin(), err.end(), '\n') == 1 &&
         err.back() == '\n';
}

std::vector<Json> RunResult::json_lines() const {
  std::vector<Json> objects;
  std::istringstream lines(out);
  for (std::string line; std::getline(lines, line);) objects.push_back(Json::parse(line));
  return objects;
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
  const std::string engine = std::string("[service]\nengine = ") + engine_ + "\n";
  const size_t section = text.find("[service]\n");
  std::string settings = text + (section == std::string::npos ? engine : "");
  if (section != std::string::npos) settings.replace(section, strlen("[service]\n"), engine);
  kit::WriteFile(dir_ / "platform.ini", settings);
}

void Album::UseEngine(const char* engine) {
  engine_ = engine;
  WriteSettings("");
}

std::string Album::IndexedShare() const {
  // The library takes the second component of a path as its share.
  const fs::path path = pictures_;
  auto component = path.begin();
  std::advance(component, 2);
  return "[share " + component->string() + "]\npath = " + dir_.path() + "\nindexed = yes\n";
}

std::unique_ptr<RunningProgram> Album::Start(const std::vector<std::string>& arguments,
                                             const RunOptions& options) const {
  const bool drops_rights = options.as_ordinary_user && geteuid() == 0;

  std::vector<std::string> command = {runs_copy_ ? dir_ / "program/vexathumb" : VEXATHUMB_PROGRAM};
  if (drops_rights) {
    command = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
               dir_ / "program/vexathumb"};
  }
  command.insert(command.begin(), options.runner.begin(), options.runner.end());
  command.insert(command.end(), arguments.begin(), arguments.end());

  std::map<std::string, std::string> variables = options.environment;
  // The spy may come before the sanitizer, whose finds are told apart from the program's own codes.
  const char* sanitizer = std::getenv("ASAN_OPTIONS");
  variables["ASAN_OPTIONS"] =
      std::string(sanitizer == nullptr ? "" : sanitizer) + ":verify_asan_link_order=0:exitcode=99";
  variables["VEXATHUMB_CONFIG"] = dir_ / "platform.ini";
  if (drops_rights || runs_copy_) variables["LD_LIBRARY_PATH"] = dir_ / "program";
  std::vector<std::string> environment;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (variables.count(text.substr(0, text.find('='))) == 0) environment.push_back(text);
  }
  for (const auto& [name, value] : variables) {
    environment.push_back(std::string(name).append("=").append(value));
  }
  return std::make_unique<RunningProgram>(command, environment, options);
}

RunResult Album::Run(const std::vector<std::string>& arguments, const RunOptions& options) const {
  return Start(arguments, options)->Wait();
}

RunningProgram::RunningProgram(const std::vector<std::string>& command,
                               const std::vector<std::string>& environment,
                               const RunOptions& options)
    : output_(options.output.empty() ? streams_ / "out" : options.output),
      keeps_output_(options.output.empty()) {
  const std::string err = streams_ / "err";
  kit::WriteFile(err, "");
  if (keeps_output_) kit::WriteFile(output_, "");
  const std::vector<char*> argv = Pointers(command);
  const std::vector<char*> envp = Pointers(environment);
  process_ = fork();
  if (process_ < 0) throw std::runtime_error("fork failed");
  if (process_ == 0) {
    Redirect(options.input.c_str(), O_RDONLY, STDIN_FILENO);
    Redirect(output_.c_str(), O_WRONLY | O_CREAT, STDOUT_FILENO);
    Redirect(err.c_str(), O_WRONLY, STDERR_FILENO);
    if (!options.folder.empty() && chdir(options.folder.c_str()) != 0) _exit(126);
    LimitOpenFiles(options.open_files);
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }
}

RunningProgram::~RunningProgram() {
  if (is_reaped_) return;
  KillAll();
  Reap(0);
}

bool RunningProgram::IsRunning() { return !is_reaped_ && !Reap(WNOHANG); }

std::string RunningProgram::ErrorsSoFar() const { return kit::ReadFile(streams_ / "err"); }

RunResult RunningProgram::Wait() {
  if (!is_reaped_) Reap(0);
  if (keeps_output_) result_.out = kit::ReadFile(output_);
  result_.err = ErrorsSoFar();
  result_.leftovers = LeftoversOf(process_);
  return result_;
}

bool RunningProgram::Reap(int flags) {
  int status = 0;
  struct rusage usage = {};
  pid_t reaped = 0;
  do {
    reaped = wait4(process_, &status, flags, &usage);
  } while (reaped < 0 && errno == EINTR);
  if (reaped != process_) return false;
  is_reaped_ = true;
  result_.exit_code = EndingOf(status);
  result_.peak_kilobytes = usage.ru_maxrss;
  return true;
}

void RunningProgram::KillAll() {
  // Stopped first, so that none starts another meanwhile.
  std::vector<pid_t> family = {process_};
  kill(process_, SIGSTOP);
  for (size_t i = 0; i < family.size(); ++i) {
    const std::string task = "/proc/" + std::to_string(family[i]) + "/task/";
    std::ifstream children(task + std::to_string(family[i]) + "/children");
    for (pid_t child = 0; children >> child;) {
      kill(child, SIGSTOP);
      family.push_back(child);
    }
  }
  for (const pid_t process : family) kill(process, SIGKILL);
}

void Album::ReplaceRenderer(const std::string& script) {
  CopyProgram();
  runs_copy_ = true;
  kit::WriteFile(dir_ / "program/vexathumb-render", script);
  chmod((dir_ / "program/vexathumb-render").c_str(), 0755);
}

void Album::OpenToOrdinaryUser() const {
  CopyProgram();
  for (const std::string& folder : {dir_.path(), dir_ / "program"}) chmod(folder.c_str(), 0755);
}

void Album::CopyProgram() const {
  const std::string program = dir_ / "program";
  fs::create_directory(program);
  fs::copy_file(VEXATHUMB_PROGRAM, program + "/vexathumb");
  std::istringstream libraries(VEXATHUMB_LIBRARIES);
  for (std::string library; std::getline(libraries, library, ':');) {
    const std::string name = fs::path(library).filename();
    fs::copy_file(library, program + "/" + name.substr(0, name.find(".so")) + ".so.1");
  }
}

std::map<std::string, std::string> Album::Spied(const std::string& variable,
                                                const std::string& value) const {
  return {{"LD_PRELOAD", VEXATHUMB_SPY}, {variable, value}};
}

}  // namespace vexathumb::system_test
