#ifndef VEXAPLATFORM_TOOL_RECORD_H_
#define VEXAPLATFORM_TOOL_RECORD_H_

namespace vexaplatform {

// Records for LastToolRun that the calling thread's tool at `path` was started, or not, with the
// current errno.
void RecordStart(const char* path, bool started);

// Records how it ended, as waitpid(2) tells it.
void RecordEnd(int wait_status);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_RECORD_H_
