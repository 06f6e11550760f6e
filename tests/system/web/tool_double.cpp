// Loaded into a worker before the platform library: stands in front of its operations that run
// tools. Files in the folder VEXATHUMB_TOOL_CONTROL steer it:
//
//   ledger       gets one line for each tool that is run
//   environment  gets the variables with which the last one is started
//   hold         while it is there, no tool starts
//   missing      while it is there, no tool can be started
//   killed       while it is there, each tool is killed
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "vlibc/process.h"

namespace {

constexpr char kNoProgram[] = "/nonexistent/tool";

std::string Control(const char* name) {
  const char* const folder = getenv("VEXATHUMB_TOOL_CONTROL");
  return std::string(folder != nullptr ? folder : "/nonexistent") + "/" + name;
}

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

bool Write(const std::string& path, int flags, const std::string& text) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0666);
  const bool written = fd >= 0 && write(fd, text.data(), text.size()) >= 0;
  if (fd >= 0) close(fd);
  return written;
}

std::string Joined(const char* const* words, char separator) {
  std::string text;
  for (; *words != nullptr; ++words) text += std::string(*words) + separator;
  return text;
}

// The program to run in the place of `path`.
const char* Pass(const char* path, const char* const argv[]) {
  constexpr useconds_t kLook = 5000;
  if (!Write(Control("environment"), O_TRUNC, Joined(environ, '\n')) ||
      !Write(Control("ledger"), O_APPEND, Joined(argv, ' ') + "\n")) {
    return kNoProgram;
  }
  while (Exists(Control("hold"))) usleep(kLook);
  return Exists(Control("missing")) ? kNoProgram : path;
}

template <typename Operation>
Operation* Real(const char* name) {
  return reinterpret_cast<Operation*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int VLIBCExecv(const char* path, const char* const argv[],
                                                      int flag) {
  const char* const killed[] = {"sh", "-c", "kill -KILL $$", nullptr};
  if (Exists(Control("killed"))) {
    Pass(path, argv);
    return Real<decltype(VLIBCExecv)>("VLIBCExecv")("/bin/sh", killed, flag);
  }
  return Real<decltype(VLIBCExecv)>("VLIBCExecv")(Pass(path, argv), argv, flag);
}

__attribute__((visibility("default"))) FILE* VLIBCPopenv(const char* path, const char* mode,
                                                         const char* const argv[]) {
  return Real<decltype(VLIBCPopenv)>("VLIBCPopenv")(Pass(path, argv), mode, argv);
}
}
