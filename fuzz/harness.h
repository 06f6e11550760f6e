#ifndef VEXATHUMB_FUZZ_HARNESS_H_
#define VEXATHUMB_FUZZ_HARNESS_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// What every harness defines: one run on one hostile input. What must hold for any input is said
// with MUST_HOLD, which ends the process, so that the fuzzer keeps the input.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

#define MUST_HOLD(condition)                                                  \
  do {                                                                        \
    if (!(condition)) {                                                       \
      fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #condition); \
      abort();                                                                \
    }                                                                         \
  } while (false)

#endif  // VEXATHUMB_FUZZ_HARNESS_H_
