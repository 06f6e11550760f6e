#include "service/serve/delivery.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <memory>
#include <system_error>

#include "posix/write_all.h"
#include "service/base/output_file.h"
#include "service/base/share_paths.h"
#include "service/base/source_path.h"
#include "service/picture/inspection.h"
#include "thumb/thumb_convert_cmd.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

void CopyStream(FILE* stream, int descriptor) {
  std::array<char, 65536> buffer;
  size_t size = 0;
  while ((size = fread(buffer.data(), 1, buffer.size(), stream)) > 0) {
    if (!posix::WriteAll(descriptor, buffer.data(), size)) {
      throw std::system_error(errno, std::generic_category());
    }
  }
  if (ferror(stream) != 0) throw std::system_error(errno, std::generic_category());
}

void CopyTurned(const Thumbnail& thumbnail, const std::string& source, int descriptor) {
  // The stored thumbnail is upright already: only the caller's turns are made.
  constexpr bool kNoIntrinsicRotate = true;
  ThumbInfo info(source, kOriginal, ThumbDimension(0, 0));
  info.SetUserRotate(thumbnail.turns_to_come);
  JpegTranCmd turn(info, thumbnail.path, "", kNoIntrinsicRotate);
  std::unique_ptr<FILE, int (*)(FILE*)> stream(turn.popen(), VLIBCPclose);
  if (!stream) throw TurnFailed(thumbnail.path);
  CopyStream(stream.get(), descriptor);
  if (VLIBCPclose(stream.release()) != 0) throw TurnFailed(thumbnail.path);
}

void CopyPicture(const Thumbnail& thumbnail, const std::string& source, int descriptor) {
  if (thumbnail.turns_to_come != 0) return CopyTurned(thumbnail, source, descriptor);
  posix::UniqueFd file = OpenSource(thumbnail.path);
  const std::unique_ptr<FILE, int (*)(FILE*)> stream(file ? fdopen(file.get(), "rb") : nullptr,
                                                     fclose);
  if (!stream) throw std::system_error(errno, std::generic_category(), thumbnail.path);
  file.Release();
  CopyStream(stream.get(), descriptor);
}

class ThrowAwayGuard {
 public:
  ThrowAwayGuard(const Thumbnail& thumbnail, const std::string& target)
      : thumbnail_(thumbnail), target_(target) {}
  ThrowAwayGuard(const ThrowAwayGuard&) = delete;
  ThrowAwayGuard& operator=(const ThrowAwayGuard&) = delete;
  ~ThrowAwayGuard() {
    if (thumbnail_.owner == Owner::kCaller && !IsSameFile(thumbnail_.path, target_))
      unlink(thumbnail_.path.c_str());
  }

 private:
  const Thumbnail& thumbnail_;
  const std::string& target_;
};

}  // namespace

void DeliverToFile(const Thumbnail& thumbnail, const std::string& source, const std::string& path) {
  const ThrowAwayGuard guard(thumbnail, path);
  OutputFile file(path);
  CopyPicture(thumbnail, source, file.descriptor());
  file.Commit();
}

void DeliverToStandardOutput(const Thumbnail& thumbnail, const std::string& source) {
  const std::string no_target;
  const ThrowAwayGuard guard(thumbnail, no_target);
  fflush(stdout);
  CopyPicture(thumbnail, source, STDOUT_FILENO);
}

std::optional<struct stat> StatusToDeliver(const Thumbnail& thumbnail, const struct stat& source,
                                           const std::vector<std::string>& folders) {
  if (thumbnail.owner == Owner::kSource) return source;
  for (const std::string& folder : folders) {
    if (const auto status = StatusBeneath(folder, thumbnail.path)) return status;
  }
  return std::nullopt;
}

}  // namespace vexathumb::service
