#ifndef VEXAPLATFORM_TOOL_ORPHANS_H_
#define VEXAPLATFORM_TOOL_ORPHANS_H_

namespace vexaplatform {

// Kills and reaps all children of the calling process, a subreaper, and what these leave to it,
// until it has none. Allocates no memory.
void EndOrphans();

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_ORPHANS_H_
