#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_QUANTITY_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_QUANTITY_H_

#include <cstdint>
#include <string>

namespace vexathumb::program {

// For people, in units that fit.
std::string DurationText(double seconds);  // "0.4 s", "12 s", "3 min", "2 h 5 min"
std::string SizeText(uint64_t bytes);      // "312 bytes", "4.2 kB", "1.7 GB"
std::string RateText(double per_second);   // "0.4/s", "120/s"

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_QUANTITY_H_
