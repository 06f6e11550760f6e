// Stands before the platform library in the program: writes the path of every tool that is started
// to the file that SPY_JOURNAL names, and answers that all volumes are remote when SPY_REMOTE is
// set. No tool starts while the file is there that SPY_HOLD names, and the process dies over a tool
// among whose arguments the text in SPY_DEATH occurs, by a crash of its own with SPY_CRASH. With
// SPY_MISSING no tool can be started, with SPY_KILLED each is
// killed, and with SPY_SLEEPS each sleeps for a minute.

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include "vexa/fs.h"
#include "vlibc/process.h"

namespace {

void Note(const char* tool) {
  const char* journal = std::getenv("SPY_JOURNAL");
  if (journal == nullptr) return;
  const int descriptor = open(journal, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) abort();
  const std::string line = std::string(tool) + "\n";
  if (write(descriptor, line.data(), line.size()) < 0) abort();
  close(descriptor);
}

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void Hold() {
  const char* held = std::getenv("SPY_HOLD");
  while (held != nullptr && access(held, F_OK) == 0) usleep(2000);
}

void DieOver(const char* const argv[], const char* variable, int signal) {
  const char* deadly = std::getenv(variable);
  if (deadly == nullptr) return;
  for (; *argv != nullptr; ++argv) {
    if (strstr(*argv, deadly) != nullptr) raise(signal);
  }
}

}  // namespace

int VLIBCExecv(const char* path, const char* const argv[], int flag) {
  Note(path);
  Hold();
  DieOver(argv, "SPY_DEATH", SIGKILL);
  DieOver(argv, "SPY_CRASH", SIGSEGV);
  if (std::getenv("SPY_MISSING") != nullptr) path = "/nonexistent";
  const char* const killed[] = {"sh", "-c", "kill -KILL $$", nullptr};
  const char* const sleeps[] = {"sh", "-c", "exec sleep 60", nullptr};
  const bool is_killed = std::getenv("SPY_KILLED") != nullptr;
  if (is_killed || std::getenv("SPY_SLEEPS") != nullptr) {
    path = "/bin/sh";
    argv = is_killed ? killed : sleeps;
  }
  return Real<decltype(VLIBCExecv)>("VLIBCExecv")(path, argv, flag);
}

FSTYPE VEXAGetFSType(const char* path, int flag) {
  if (std::getenv("SPY_REMOTE") != nullptr) return FSTYPE_CIFS;
  return Real<decltype(VEXAGetFSType)>("VEXAGetFSType")(path, flag);
}

FILE* VLIBCPopenv(const char* path, const char* mode, const char* const argv[]) {
  Note(path);
  return Real<decltype(VLIBCPopenv)>("VLIBCPopenv")(path, mode, argv);
}
