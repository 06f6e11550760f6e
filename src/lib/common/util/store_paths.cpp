#include <libgen.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "common/util/log_format.h"
#include "common/util/util.h"
#include "vexa/copy.h"
#include "vexa/ea.h"
#include "vexa/fs.h"

namespace vexathumb {
namespace file {
namespace {

constexpr char kLogSource[] = "util.cpp";
constexpr int kPathBufferSize = 4096;

std::string ProcessAndTimeSuffix() {
  return "_" + std::to_string(getpid()) + "_" + std::to_string(time(nullptr));
}

}  // namespace

std::string GetEAPath(const std::string& path, const std::string& name) {
  char buffer[kPathBufferSize] = {};
  if (VEXAEAPath(EATYPE_VEXAEA, path.c_str(), name.c_str(), buffer, kPathBufferSize, VEXA_SHARE) <
      0) {
    syslog(LOG_ERR, VEXATHUMB_LOG_FORMAT("Get EA path for %s failed"), kLogSource, 50, __func__,
           name.c_str());
    return "";
  }
  return buffer;
}

bool MakeEADir(const std::string& path) {
  char directory[kPathBufferSize] = {};
  if (VEXAEADirPath(EATYPE_VEXAEA, path.c_str(), directory, kPathBufferSize) != 0) return false;
  struct stat st = {};
  if (stat(directory, &st) == 0 && S_ISDIR(st.st_mode)) return true;
  return VEXAEAMKDir(1, directory) == 0;
}

bool IsDestSupportEAWrite(const std::string& dir) {
  const FSTYPE type = VEXAGetFSType(dir.c_str(), 0);
  if (type == FSTYPE_ERR) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"  // %m is an extension, and syslog's own
    syslog(LOG_ERR, VEXATHUMB_LOG_FORMAT("failed to statfs %s, reason=[(%d)%m]"), kLogSource, 97,
           __func__, dir.c_str(), errno);
#pragma GCC diagnostic pop
    return true;
  }
  if (VEXAFSIsRemoteFS(type)) return false;
  return type != FSTYPE_GVFS && !VEXAFSIsImageFS(type);
}

bool SDKMoveFile(const std::string& src, const std::string& dst) {
  VEXACOPYARGS args = {};
  args.blRemoveSrc = TRUE;
  if (VEXAFileCopy(src.c_str(), dst.c_str(), &args) == 0) return true;
  syslog(LOG_ERR, VEXATHUMB_LOG_FORMAT("VEXAFileCopy failed"), kLogSource, 112, __func__);
  return false;
}

std::string Dirname(const std::string& path) {
  char buffer[kPathBufferSize] = {};
  strncpy(buffer, path.c_str(), kPathBufferSize - 1);
  return dirname(buffer);
}

std::string GetEATmpPath(const std::string& path, const std::string& name) {
  const std::string entry = GetEAPath(path, name);
  return entry.empty() ? "" : entry + ProcessAndTimeSuffix();
}

std::string GetVarTmpPath(const std::string& name) {
  return "/var/tmp/vexathumb_" + name + ProcessAndTimeSuffix();
}

}  // namespace file
}  // namespace vexathumb
