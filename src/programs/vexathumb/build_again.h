#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_BUILD_AGAIN_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_BUILD_AGAIN_H_

#include <string>
#include <vector>

#include "programs/vexathumb/exit_code.h"
#include "service/index/source_feed.h"

namespace vexathumb::program {

// Builds what is due of these sources, those too that have failed before, and tells how that ended
// as `build` does.
ExitCode BuildAgain(std::vector<service::SourceItem> sources, std::vector<std::string> sizes,
                    bool json);

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_BUILD_AGAIN_H_
