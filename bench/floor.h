#ifndef VEXATHUMB_BENCH_FLOOR_H_
#define VEXATHUMB_BENCH_FLOOR_H_

#include <malloc.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/median.h"
#include "kit/files.h"

namespace vexathumb::bench {

// What no maker of thumbnails can be faster than: a decoder alone, on bytes that are in memory, in
// a process that runs already.
//
// The main function of a program that is called `PROGRAM FILE [ROUNDS]`: decodes the file once to
// warm up and then so often, 5 times unless told, and prints the median in milliseconds. `decode`
// throws where it cannot; the program ends with 1 then.
template <typename Decode>
int MeasureFloor(int argc, char** argv, Decode decode) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "usage: %s FILE [ROUNDS]\n", argv[0]);
    return 2;
  }
  // Memory is kept from round to round: giving it back is no part of decoding.
  constexpr int kGibibyte = 1 << 30;
  mallopt(M_MMAP_THRESHOLD, kGibibyte);
  mallopt(M_TRIM_THRESHOLD, kGibibyte);
  try {
    const std::string bytes = kit::ReadFile(argv[1]);
    const int rounds = argc == 3 ? std::atoi(argv[2]) : 5;
    if (rounds < 1) throw std::invalid_argument("no rounds");
    decode(bytes);
    std::vector<double> milliseconds;
    for (int round = 0; round < rounds; ++round) {
      const auto start = std::chrono::steady_clock::now();
      decode(bytes);
      milliseconds.push_back(
          std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
              .count());
    }
    std::printf("%.3f\n", Median(std::move(milliseconds)));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
  return 0;
}

}  // namespace vexathumb::bench

#endif  // VEXATHUMB_BENCH_FLOOR_H_
