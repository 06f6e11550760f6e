#include "vexaplatform/tool_report.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/tool/tool_record.h"

namespace vexaplatform {
namespace {

constexpr size_t kKept = 16;

// Of a fixed size, so that recording needs no memory.
struct Record {
  ToolEnding ending;
  char program[256];
  char limit[64];
  char written[512];
  int detail;
  int machine_error;
};

struct Records {
  Record kept[kKept];  // as a ring
  size_t count;        // of all
};

thread_local Records records;

Record& Latest() { return records.kept[(records.count + kKept - 1) % kKept]; }

ToolReport ReportOf(const Record& record) {
  ToolReport report;
  report.ending = record.ending;
  report.program = record.program;
  report.detail = record.detail;
  report.limit = record.limit;
  report.written = record.written;
  report.machine_error = record.machine_error;
  return report;
}

}  // namespace

void RecordStart(const char* path, bool started, const char* written) {
  const int error = errno;
  ++records.count;
  Record& record = Latest();
  record = Record();
  snprintf(record.program, sizeof(record.program), "%s", path);
  if (strlen(written) < sizeof(record.written)) {
    snprintf(record.written, sizeof(record.written), "%s", written);
  }
  record.ending = started ? ToolEnding::kNone : ToolEnding::kNotStarted;
  record.detail = started ? 0 : error;
  errno = error;
}

void RecordEnd(ToolEnding ending, int detail, int machine_error, const char* limit) {
  Record& record = Latest();
  record.ending = ending;
  record.detail = detail;
  record.machine_error = machine_error;
  snprintf(record.limit, sizeof(record.limit), "%s", limit);
}

ToolReport LastToolRun() { return records.count == 0 ? ToolReport() : ReportOf(Latest()); }

std::vector<ToolReport> ToolRuns() {
  std::vector<ToolReport> runs;
  for (size_t i = records.count < kKept ? 0 : records.count - kKept; i < records.count; ++i) {
    const Record& record = records.kept[i % kKept];
    if (record.ending != ToolEnding::kNone) runs.push_back(ReportOf(record));
  }
  return runs;
}

void ForgetToolRuns() { records.count = 0; }

}  // namespace vexaplatform
