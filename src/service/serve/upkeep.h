#ifndef VEXATHUMB_SERVICE_SERVE_UPKEEP_H_
#define VEXATHUMB_SERVICE_SERVE_UPKEEP_H_

#include <cstdint>
#include <string>

namespace vexathumb::service {

// What a process that answers requests does besides, when nobody waits for it. From any thread.

// Sweeps what killed processes of this user have left in the temporary folders, once an hour among
// all processes with the same lock folder. Failures are silent.
void SweepLeftoversHourly() noexcept;

// Has the free boxes of a share looked at by EvictNotedFreeBoxes(), as so many bytes of them have
// been counted (free_boxes.h).
void NoteFreeBoxes(const std::string& share, uint64_t bytes);

// Removes those used longest ago where too much has been noted, in one process at a time. Failures
// are silent.
void EvictNotedFreeBoxes() noexcept;

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_UPKEEP_H_
