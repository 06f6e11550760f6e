#ifndef VEXATHUMB_BENCH_WRK_H_
#define VEXATHUMB_BENCH_WRK_H_

#include <string>

namespace vexathumb::bench {

struct LoadReport {
  double requests_per_second = 0;
  double p50_microseconds = 0;  // of the time from a request to the last byte of its answer
  double p99_microseconds = 0;
};

// Has `wrk` ask for one address over and over, on kept connections, each as soon as it has its
// answer. Throws std::runtime_error when there is no wrk, when an answer is missing or is not a
// success.
LoadReport RunWrk(const std::string& url, int connections, int seconds);

}  // namespace vexathumb::bench

#endif  // VEXATHUMB_BENCH_WRK_H_
