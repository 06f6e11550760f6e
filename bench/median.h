#ifndef VEXATHUMB_BENCH_MEDIAN_H_
#define VEXATHUMB_BENCH_MEDIAN_H_

#include <algorithm>
#include <vector>

namespace vexathumb::bench {

// The middle value, the upper one of two; `values` is not empty.
inline double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace vexathumb::bench

#endif  // VEXATHUMB_BENCH_MEDIAN_H_
