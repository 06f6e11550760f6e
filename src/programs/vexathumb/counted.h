#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_COUNTED_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_COUNTED_H_

#include <cstdint>
#include <string>

namespace vexathumb::program {

// "1 file", "2 files".
inline std::string Counted(uint64_t count, const std::string& one, const std::string& several) {
  return std::to_string(count) + " " + (count == 1 ? one : several);
}

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_COUNTED_H_
