// What it costs a host to run a program, by the size of the host: the process runner beside plain
// fork and exec, at 10 MB and at 4 GB of memory in use.
//
// With `--benchmark_filter=/10/` the small host alone is run.

#include <benchmark/benchmark.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "vlibc/process.h"

namespace {

constexpr char kProgram[] = "/bin/true";
const char* const kArguments[] = {kProgram, nullptr};

// Memory of the host that is really in use, in ordinary pages, as a heap that has grown is.
class Ballast {
 public:
  explicit Ballast(size_t megabytes)
      : size_(megabytes << 20U),
        memory_(mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
    if (memory_ == MAP_FAILED) return;
    madvise(memory_, size_, MADV_NOHUGEPAGE);
    memset(memory_, 1, size_);
  }
  Ballast(const Ballast&) = delete;
  Ballast& operator=(const Ballast&) = delete;
  ~Ballast() {
    if (*this) munmap(memory_, size_);
  }

  explicit operator bool() const { return memory_ != MAP_FAILED; }

 private:
  size_t size_;
  void* memory_;
};

int ForkAndExec() {
  const pid_t child = fork();
  if (child == 0) {
    execv(kProgram, const_cast<char* const*>(kArguments));
    _exit(127);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child ? status : -1;
}

int RunByPlatform() { return VLIBCExecv(kProgram, kArguments, 1); }

template <int (*Run)()>
void RunTrue(benchmark::State& state) {
  const Ballast ballast(static_cast<size_t>(state.range(0)));
  if (!ballast) state.SkipWithError("not enough memory");
  for ([[maybe_unused]] auto _ : state) {
    if (Run() != 0) state.SkipWithError("the program did not run");
  }
}

BENCHMARK_TEMPLATE(RunTrue, RunByPlatform)
    ->Name("process_runner/host_MB")
    ->Arg(10)
    ->Arg(4096)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(RunTrue, ForkAndExec)
    ->Name("fork_and_exec/host_MB")
    ->Arg(10)
    ->Arg(4096)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
