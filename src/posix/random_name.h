#ifndef VEXATHUMB_POSIX_RANDOM_NAME_H_
#define VEXATHUMB_POSIX_RANDOM_NAME_H_

#include <sys/random.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vexathumb::posix {

constexpr size_t kRandomNameLength = 16;
constexpr char kRandomNameDigits[] = "abcdefghijklmnopqrstuvwxyz012345";  // of five bits each

// A part of a file's name that nobody can guess, nor meets by chance.
inline std::string RandomName() {
  std::array<uint8_t, kRandomNameLength> random = {};
  while (getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size())) {
  }
  std::string name;
  for (const uint8_t octet : random) name += kRandomNameDigits[octet % 32];
  return name;
}

}  // namespace vexathumb::posix

#endif  // VEXATHUMB_POSIX_RANDOM_NAME_H_
