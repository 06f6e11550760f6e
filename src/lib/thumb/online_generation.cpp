#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdio>

#include "common/util/log_format.h"
#include "thumb/libvexathumb.h"
#include "vlibc/process.h"

namespace vexathumb {
namespace {

constexpr char kLogSource[] = "libvexathumb.cpp";

}  // namespace

bool Thumb::SetOutOnline() {
  if (!thumbInfo_.IsNeedConvert()) {
    outputType_ = kOriginalImage;
    return false;
  }
  const bool store_writable = file::IsDestSupportEAWrite(file::Dirname(path_));
  const std::string tmp_name = thumbInfo_.GetDocdeckTmpThumbEAName();
  const std::string dest =
      store_writable ? file::GetEAPath(path_, tmp_name) : file::GetVarTmpPath(tmp_name);
  if (store_writable && !file::MakeEADir(path_)) return false;

  if (!RunOnlineCommands(dest)) {
    outputName_.clear();
    return false;
  }
  if (!store_writable) {
    outputName_ = dest;
    outputType_ = kDocdeckVarTmp;
    return true;
  }
  const bool saved = SaveTmpThumbToEA(dest);
  outputType_ = kDocdeck;
  if (!saved) outputName_.clear();
  return saved;
}

bool Thumb::RunOnlineCommands(const std::string& dest) {
  const bool good = thumbInfo_.IsGood();
  if (good) {
    bool done = false;
    if (thumbInfo_.GetMimeType() == "image/jpeg") {
      DJpegCmd decode(thumbInfo_, path_, dest);
      done = decode.exec();
      if (done) optNoSave_ = decode.IsNeedDelete();
    }
    if (thumbInfo_.GetOutputMimeType() == "image/gif") {
      done = GIFConvertCmd(thumbInfo_, path_, dest).exec();
    }
    if (done) return true;
  }
  if (!thumbInfo_.IsWebAcceptable() && DcrawCmd(thumbInfo_, path_, dest).exec()) return true;
  return good && ConvertCmd(thumbInfo_, path_, dest).exec();
}

std::string Thumb::GetOnlineOutputDest() const {
  return file::GetEAPath(
      path_, optAvatar_ ? thumbInfo_.GetAvatarThumbEAName() : thumbInfo_.GetDocdeckThumbEAName());
}

bool Thumb::SaveTmpThumbToEA(const std::string& tmp) {
  outputName_ = GetOnlineOutputDest();
  if (access(tmp.c_str(), F_OK) != 0) return false;
  if (rename(tmp.c_str(), outputName_.c_str()) == 0) {
    chmod(outputName_.c_str(), 0777);
    struct stat source = {};
    if (stat(path_.c_str(), &source) == 0) {
      // The source's modification time marks the thumbnail as current; nothing reads the access
      // time.
      const struct utimbuf times = {0, source.st_mtime};
      utime(outputName_.c_str(), &times);
    }
    return true;
  }
  if (errno == EXDEV) {
    return VLIBCExecl("/bin/mv", 0, tmp.c_str(), outputName_.c_str(),
                      static_cast<char*>(nullptr)) == 0;
  }
  syslog(LOG_ERR, VEXATHUMB_LOG_FORMAT("failed to move tmp to ea"), kLogSource, __LINE__, __func__);
  return false;
}

}  // namespace vexathumb
