#include "tool_environment.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "tool_policy.h"
#include "unique_fd.h"

namespace vexaplatform {
namespace {

constexpr off_t kLargeSource = 4 << 20;  // bytes

// The boxes of HEIC, AVIF and their like begin so.
bool IsBoxed(int file) {
  char head[8] = {};
  return pread(file, head, sizeof(head), 0) == sizeof(head) && memcmp(head + 4, "ftyp", 4) == 0;
}

// Whether huge pages save more than they cost: for what fills large buffers from end to end, again
// and again. The decoders of boxed files rather lose by them.
bool GainsByHugePages(Tool tool, const ToolPaths& paths) {
  if (tool == Tool::kJpegtran || paths.animation) return true;
  if (tool != Tool::kConvert || !paths.understood) return false;
  const UniqueFd file(
      open(paths.source.path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  return file && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
         status.st_size >= kLargeSource && !IsBoxed(file.get());
}

}  // namespace

std::vector<std::string> ToolEnvironment(Tool tool, const ToolPaths& paths,
                                         const ToolLimits& limits, const std::string& temporary) {
  std::vector<std::string> environment = {"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8",
                                          "JPEGMEM=" + std::to_string(limits.jpeg_memory) + "M"};
  if (!temporary.empty()) environment.push_back("TMPDIR=" + temporary);
  if (tool == Tool::kConvert) {
    environment.push_back("MAGICK_THREAD_LIMIT=" + std::to_string(limits.threads));
    environment.push_back("MAGICK_CONFIGURE_PATH=" + ToolPolicyFolder());
    if (!temporary.empty()) environment.push_back("MAGICK_TEMPORARY_PATH=" + temporary);
    // One frame is made of a few; an animation has as many as the policy allows.
    if (!paths.animation) environment.emplace_back("MAGICK_LIST_LENGTH_LIMIT=16");
  }
  if (GainsByHugePages(tool, paths)) {
    environment.emplace_back("GLIBC_TUNABLES=glibc.malloc.hugetlb=1");
  }
  return environment;
}

}  // namespace vexaplatform
