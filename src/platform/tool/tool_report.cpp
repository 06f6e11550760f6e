#include "vexaplatform/tool_report.h"

#include <cerrno>
#include <cstdio>

#include "platform/tool/tool_record.h"

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

void RecordEnd(ToolEnding ending, int detail) {
  record.ending = ending;
  record.detail = detail;
}

ToolReport LastToolRun() { return {record.ending, record.program, record.detail}; }

void ForgetLastToolRun() { record = Record(); }

}  // namespace vexaplatform
