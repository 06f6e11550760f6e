#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_LEFTOVERS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_LEFTOVERS_H_

#include <cstdint>
#include <string>

namespace vexathumb::web {

// Sweeps what killed processes of this user have left in the temporary folders, once an hour among
// all processes with the same lock folder. Failures are silent.
void SweepLeftoversHourly() noexcept;

// Has the free boxes of a share looked at after the answer, as so many bytes of them have been
// counted (free_boxes.h).
void NoteFreeBoxes(const std::string& share, uint64_t bytes);

// Removes those used longest ago where too much has been noted, in one process at a time. Failures
// are silent.
void EvictNotedFreeBoxes() noexcept;

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_LEFTOVERS_H_
