#ifndef VEXAPLATFORM_TOOL_TOOL_RECORD_H_
#define VEXAPLATFORM_TOOL_TOOL_RECORD_H_

#include "vexaplatform/tool_report.h"

namespace vexaplatform {

// Records for ToolRuns that the calling thread's tool at `path`, which is to write the file
// `written`, was started, or not, with the current errno.
void RecordStart(const char* path, bool started, const char* written = "");

// Records how it ended; `detail`, `machine_error` and `limit` as ToolReport has them.
void RecordEnd(ToolEnding ending, int detail, int machine_error, const char* limit = "");

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_RECORD_H_
