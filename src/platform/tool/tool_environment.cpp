#include "platform/tool/tool_environment.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "platform/tool/tool_policy.h"
#include "posix/unique_fd.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

constexpr off_t kLargeSource = 4 << 20;  // bytes

struct SourceFile {
  off_t size = 0;
  std::string head;  // what it begins with
};

SourceFile Examine(const std::string& path) {
  constexpr size_t kHead = 12;
  SourceFile source;
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return source;
  char head[kHead];
  const ssize_t size = pread(file.get(), head, kHead, 0);
  source.head.assign(head, static_cast<size_t>(size > 0 ? size : 0));
  source.size = status.st_size;
  return source;
}

// The boxes of HEIC, AVIF and their like begin so.
bool IsBoxed(const SourceFile& source) {
  return source.head.size() >= 8 && source.head.compare(4, 4, "ftyp") == 0;
}

bool IsWebp(const SourceFile& source) {
  return source.head.size() >= 12 && source.head.compare(0, 4, "RIFF") == 0 &&
         source.head.compare(8, 4, "WEBP") == 0;
}

// Whether convert makes one frame of a few. An animation has as many as the policy allows, and the
// decoder of WebP reads them all whichever is asked for.
bool HasFewFrames(const ToolPaths& paths, const SourceFile& source) {
  return !paths.animation && !IsWebp(source);
}

// Whether huge pages save more than they cost: for what fills large buffers from end to end, again
// and again. The decoders of boxed files rather lose by them.
bool GainsByHugePages(Tool tool, const ToolPaths& paths, const SourceFile& source) {
  if (tool == Tool::kJpegtran || paths.animation) return true;
  return tool == Tool::kConvert && source.size >= kLargeSource && !IsBoxed(source);
}

}  // namespace

std::vector<std::string> ToolEnvironment(Tool tool, const ToolPaths& paths,
                                         const ToolLimits& limits, const std::string& temporary) {
  std::vector<std::string> environment = {"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8",
                                          "JPEGMEM=" + std::to_string(limits.jpeg_memory) + "M"};
  const bool has_source = tool == Tool::kConvert && paths.understood;
  const SourceFile source = has_source ? Examine(paths.source.path) : SourceFile();
  if (!temporary.empty()) environment.push_back("TMPDIR=" + temporary);
  if (tool == Tool::kConvert) {
    environment.push_back("MAGICK_THREAD_LIMIT=" + std::to_string(limits.threads));
    environment.push_back("MAGICK_CONFIGURE_PATH=" + ToolPolicyFolder());
    if (!temporary.empty()) environment.push_back("MAGICK_TEMPORARY_PATH=" + temporary);
    if (HasFewFrames(paths, source)) environment.emplace_back("MAGICK_LIST_LENGTH_LIMIT=16");
  }
  if (GainsByHugePages(tool, paths, source)) {
    environment.emplace_back("GLIBC_TUNABLES=glibc.malloc.hugetlb=1");
  }
  return environment;
}

}  // namespace vexaplatform
