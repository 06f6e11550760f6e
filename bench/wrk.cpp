#include "bench/wrk.h"

#include <cstdio>
#include <stdexcept>

#include "kit/files.h"
#include "kit/run_tool.h"
#include "kit/temp_dir.h"

namespace vexathumb::bench {
namespace {

// Called by wrk at its end; the line begins with a word of its own among what wrk writes.
constexpr char kReport[] = R"(
function done(summary, latency, requests)
  local failures = 0
  for _, count in pairs(summary.errors) do failures = failures + count end
  io.write(string.format("REPORT %d %d %d %d %d\n", summary.requests, summary.duration,
                         latency:percentile(50), latency:percentile(99), failures))
end
)";

}  // namespace

LoadReport RunWrk(const std::string& url, int connections, int seconds) {
  const kit::TempDir dir;
  kit::WriteFile(dir / "report.lua", kReport);
  const std::string output =
      kit::RunTool({"/usr/bin/wrk", "--threads", "1", "--connections", std::to_string(connections),
                    "--duration", std::to_string(seconds), "--script", dir / "report.lua", url});
  long long requests = 0;
  long long microseconds = 0;
  long long failures = 0;
  LoadReport report;
  const size_t line = output.find("REPORT ");
  if (line == std::string::npos ||
      sscanf(output.c_str() + line, "REPORT %lld %lld %lf %lf %lld", &requests, &microseconds,
             &report.p50_microseconds, &report.p99_microseconds, &failures) != 5 ||
      requests == 0 || failures != 0) {
    throw std::runtime_error("not all answers of " + url + " are right:\n" + output);
  }
  report.requests_per_second =
      static_cast<double>(requests) * 1e6 / static_cast<double>(microseconds);
  return report;
}

}  // namespace vexathumb::bench
