#include "vexaplatform/tool_report.h"

#include <sys/wait.h>

#include <cerrno>
#include <cstdio>

#include "tool_record.h"

namespace vexaplatform {
namespace {

// Of a fixed size, so that recording needs no memory.
struct Record {
  ToolEnding ending;
  char program[256];
  int detail;
};

thread_local Record record;

}  // namespace

void RecordStart(const char* path, bool started) {
  const int error = errno;
  snprintf(record.program, sizeof(record.program), "%s", path);
  record.ending = started ? ToolEnding::kNone : ToolEnding::kNotStarted;
  record.detail = started ? 0 : error;
  errno = error;
}

void RecordEnd(int wait_status) {
  if (WIFSIGNALED(wait_status)) {
    record.ending = ToolEnding::kSignalled;
    record.detail = WTERMSIG(wait_status);
    return;
  }
  record.detail = WEXITSTATUS(wait_status);
  record.ending = record.detail == 0 ? ToolEnding::kSucceeded : ToolEnding::kExited;
}

ToolReport LastToolRun() { return {record.ending, record.program, record.detail}; }

void ForgetLastToolRun() { record = Record(); }

}  // namespace vexaplatform
