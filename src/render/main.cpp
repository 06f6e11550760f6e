#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "render/confinement.h"
#include "render/loaders.h"
#include "render/modules.h"
#include "render/server.h"
#include "render/warm_up.h"

namespace {

constexpr int kJobs = 3;
constexpr size_t kStackOfThreads = size_t{1} << 20U;

// What the libraries are told by their environment.
void SetEnvironment() {
  clearenv();
  for (const char* name : {"VIPS_BLOCK_UNTRUSTED", "VIPS_CONCURRENCY", "MALLOC_ARENA_MAX"}) {
    setenv(name, "1", 1);
  }
  setenv("LC_ALL", "C", 1);
  vexathumb::render::LeaveModulesOut();
}

// Stacks count as memory, touched or not.
void LimitStacks() {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return;
  pthread_attr_setstacksize(&attributes, kStackOfThreads);
  pthread_setattr_default_np(&attributes);
  pthread_attr_destroy(&attributes);
}

}  // namespace

// Standard input is the socket that jobs come from. A program that was started by hand gets none,
// but may be asked for the types that it knows.
int main(int argc, char* argv[]) {
  if (argc == 2 && strcmp(argv[1], "--types") == 0) {
    SetEnvironment();
    if (!vexathumb::render::WarmUp(argv[0])) return EXIT_FAILURE;
    vexathumb::render::LoadAllModules();
    return puts(vexathumb::render::InstalledTypes().c_str()) >= 0 ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  if (dup2(STDIN_FILENO, kJobs) < 0) return EXIT_FAILURE;
  const int null = open("/dev/null", O_RDWR);
  if (dup2(null, STDIN_FILENO) < 0) return EXIT_FAILURE;
  close_range(kJobs + 1, ~0U, 0);
  if (fork() != 0) _exit(EXIT_SUCCESS);
  signal(SIGPIPE, SIG_IGN);
  SetEnvironment();
  LimitStacks();
  if (chdir("/") != 0 || !vexathumb::render::WarmUp(argv[0])) {
    vexathumb::render::Decline(kJobs, "libvips cannot be prepared");
  } else if (!vexathumb::render::PrepareConfinement()) {
    vexathumb::render::Decline(kJobs, "no process can be confined: the kernel refuses filters");
  } else {
    vexathumb::render::Serve(kJobs);
  }
  _exit(EXIT_SUCCESS);
}
