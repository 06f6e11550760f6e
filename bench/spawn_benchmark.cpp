// What it costs a host to run a program.
//
// By the size of the host: the process runner beside plain fork and exec, at 10 MB and at 4 GB of
// memory in use. With `--benchmark_filter=/10/` the small host alone is run.
//
// What the runner adds to a tool: djpeg and convert on the smallest picture, bare (posix_spawn and
// nothing else), under supervision and limits, and confined besides. They take turns, so that a
// busy machine does the same to all. Of each the medians of wall and CPU time, that of the host and
// all its children, are counters in ms, and so are the ratios to bare.

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "vexaplatform/settings.h"
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

using Vector = std::vector<std::string>;

std::vector<const char*> Pointers(const Vector& vector) {
  std::vector<const char*> pointers;
  pointers.reserve(vector.size() + 1);
  for (const std::string& argument : vector) pointers.push_back(argument.c_str());
  pointers.push_back(nullptr);
  return pointers;
}

int RunBare(const Vector& vector) {
  pid_t child = 0;
  int status = 0;
  const int error = posix_spawn(&child, vector[0].c_str(), nullptr, nullptr,
                                const_cast<char* const*>(Pointers(vector).data()), environ);
  return error == 0 && waitpid(child, &status, 0) == child ? status : -1;
}

// In seconds.
struct Cost {
  double wall;
  double cpu;
};

// Of this process and of all its children that have ended.
double CpuSeconds() {
  double seconds = 0;
  for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    struct rusage usage = {};
    getrusage(who, &usage);
    for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
      seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    }
  }
  return seconds;
}

// The three ways, by settings.
class Ways {
 public:
  Ways() {
    for (const char* answer : {"no", "yes"}) {
      std::ofstream(File(answer)) << "[tools]\nconfinement = " << answer << "\n";
    }
    vexathumb::kit::WriteJpeg(Source(), {{8, 8}});
  }

  std::string Source() const { return folder_ / "source.jpg"; }
  std::string Target() const { return folder_ / "target.bmp"; }

  Cost Measure(size_t way, const Vector& vector, bool* failed) const {
    setenv("VEXATHUMB_CONFIG", File(way == 2 ? "yes" : "no").c_str(), 1);
    vexaplatform::CurrentSettings();  // read anew outside of the measured time
    std::filesystem::remove(Target());
    const double cpu_start = CpuSeconds();
    const auto start = std::chrono::steady_clock::now();
    const int answer =
        way == 0 ? RunBare(vector) : VLIBCExecv(vector[0].c_str(), Pointers(vector).data(), 1);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    if (answer != 0) *failed = true;
    return {time.count(), CpuSeconds() - cpu_start};
  }

 private:
  std::string File(const std::string& answer) const { return folder_ / (answer + ".ini"); }

  vexathumb::kit::TempDir folder_;
};

double Median(std::vector<Cost> costs, double Cost::*part) {
  const auto middle = costs.begin() + static_cast<std::ptrdiff_t>(costs.size() / 2);
  std::nth_element(costs.begin(), middle, costs.end(),
                   [part](const Cost& a, const Cost& b) { return a.*part < b.*part; });
  return *middle.*part;
}

void RunTool(benchmark::State& state, const Vector& options) {
  const Ways ways;
  Vector vector = options;
  for (std::string& argument : vector) {
    if (argument == "SOURCE") argument = ways.Source();
    if (argument == "SOURCE[0]") argument = ways.Source() + "[0]";
    if (argument == "TARGET") argument = ways.Target();
  }
  std::array<std::vector<Cost>, 3> costs;
  bool failed = false;
  for ([[maybe_unused]] auto _ : state) {
    for (size_t way = 0; way < costs.size(); ++way) {
      costs[way].push_back(ways.Measure(way, vector, &failed));
    }
  }
  if (failed) state.SkipWithError("the tool failed");
  constexpr std::array<const char*, 3> kNames = {"bare", "limited", "confined"};
  for (const auto& [unit, part] : {std::pair("", &Cost::wall), std::pair("_cpu", &Cost::cpu)}) {
    const double bare = Median(costs[0], part);
    for (size_t way = 0; way < costs.size(); ++way) {
      const double median = Median(costs[way], part);
      const std::string name = std::string(kNames[way]) + unit;
      state.counters[name + "_ms"] = median * 1000;
      if (way > 0) state.counters[name + "_ratio"] = median / bare;
    }
  }
}

BENCHMARK_CAPTURE(RunTool, djpeg, Vector{"/usr/bin/djpeg", "-bmp", "-outfile", "TARGET", "SOURCE"})
    ->Name("tool_djpeg/8x8")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(RunTool, convert, Vector{"/usr/bin/convert", "-strip", "SOURCE[0]", "TARGET"})
    ->Name("tool_convert/8x8")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
