#ifndef VEXATHUMB_SERVICE_BASE_BACKGROUND_H_
#define VEXATHUMB_SERVICE_BASE_BACKGROUND_H_

namespace vexathumb::service {

// Makes this process, and those that it starts from now on, work with the lowest priority, and read
// and write only while the disk is idle otherwise. There is no way back without rights.
void LowerPriority();

// Whether the machine's load, averaged over the last minute, is higher than `load`.
bool IsLoadAbove(double load);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_BACKGROUND_H_
