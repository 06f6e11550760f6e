// What counting adds to a request: a stored hit is two counters and a look after their file, for
// one process and for two that count the same at once. Less than a microsecond is promised.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "kit/temp_dir.h"
#include "programs/vexathumb-web/metrics.h"

namespace {

using vexathumb::web::CountAnswer;
using vexathumb::web::CountThumbnail;

void CountStoredHit(const std::string& locks) {
  CountThumbnail(locks, "/srv/photo/2026/a.jpg", vexathumb::service::Thumbnail());
  CountAnswer(locks, vexathumb::web::Route::kThumb, 200);
}

void CountedRequest(benchmark::State& state) {
  const vexathumb::kit::TempDir folder;
  const std::string locks = folder / "lock";
  CountStoredHit(locks);
  const pid_t other = state.range(0) > 1 ? fork() : -1;
  while (other == 0) CountStoredHit(locks);
  for (auto _ : state) CountStoredHit(locks);
  if (other < 0) return;
  kill(other, SIGKILL);
  waitpid(other, nullptr, 0);
}
BENCHMARK(CountedRequest)->ArgName("processes")->Arg(1)->Arg(2);

}  // namespace

BENCHMARK_MAIN();
