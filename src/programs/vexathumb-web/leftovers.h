#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_LEFTOVERS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_LEFTOVERS_H_

namespace vexathumb::web {

// Sweeps what killed processes of this user have left in the temporary folders, once an hour among
// all processes with the same lock folder. Failures are silent.
void SweepLeftoversHourly() noexcept;

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_LEFTOVERS_H_
