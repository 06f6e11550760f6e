#include "service/serve/delivery.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <memory>
#include <system_error>

#include "service/base/new_file.h"
#include "service/base/source_path.h"
#include "thumb/thumb_convert_cmd.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

void WriteAll(int descriptor, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t written = write(descriptor, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw std::system_error(errno, std::generic_category());
    data += written;
    size -= static_cast<size_t>(written);
  }
}

void CopyStream(FILE* stream, int descriptor) {
  std::array<char, 65536> buffer;
  size_t size = 0;
  while ((size = fread(buffer.data(), 1, buffer.size(), stream)) > 0) {
    WriteAll(descriptor, buffer.data(), size);
  }
  if (ferror(stream) != 0) throw std::system_error(errno, std::generic_category());
}

void CopyTurned(const ServedThumbnail& served, const std::string& source, int descriptor) {
  // The stored thumbnail is upright already: only the caller's turns are made.
  constexpr bool kNoIntrinsicRotate = true;
  ThumbInfo info(source, kOriginal, ThumbDimension(0, 0));
  info.SetUserRotate(served.turns_to_come);
  JpegTranCmd turn(info, served.file, "", kNoIntrinsicRotate);
  std::unique_ptr<FILE, int (*)(FILE*)> stream(turn.popen(), VLIBCPclose);
  if (!stream) throw TurnFailed(served.file);
  CopyStream(stream.get(), descriptor);
  if (VLIBCPclose(stream.release()) != 0) throw TurnFailed(served.file);
}

void CopyPicture(const ServedThumbnail& served, const std::string& source, int descriptor) {
  if (served.turns_to_come != 0) return CopyTurned(served, source, descriptor);
  const std::unique_ptr<FILE, int (*)(FILE*)> stream(fopen(served.file.c_str(), "rbe"), fclose);
  if (!stream) throw std::system_error(errno, std::generic_category(), served.file);
  CopyStream(stream.get(), descriptor);
}

class ThrowAwayGuard {
 public:
  ThrowAwayGuard(const ServedThumbnail& served, const std::string& target)
      : served_(served), target_(target) {}
  ThrowAwayGuard(const ThrowAwayGuard&) = delete;
  ThrowAwayGuard& operator=(const ThrowAwayGuard&) = delete;
  ~ThrowAwayGuard() {
    if (served_.is_throw_away && !IsSameFile(served_.file, target_)) unlink(served_.file.c_str());
  }

 private:
  const ServedThumbnail& served_;
  const std::string& target_;
};

}  // namespace

void DeliverToFile(const ServedThumbnail& served, const std::string& source,
                   const std::string& path) {
  const ThrowAwayGuard guard(served, path);
  NewFile file(path);
  CopyPicture(served, source, file.descriptor());
  file.Commit();
}

void DeliverToStandardOutput(const ServedThumbnail& served, const std::string& source) {
  const std::string no_target;
  const ThrowAwayGuard guard(served, no_target);
  fflush(stdout);
  CopyPicture(served, source, STDOUT_FILENO);
}

}  // namespace vexathumb::service
