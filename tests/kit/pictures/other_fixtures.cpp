#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "kit/pictures/fixtures.h"

namespace vexathumb::kit {
namespace {

constexpr size_t kContentSize = 256;

std::string Padded(std::string start) {
  start.resize(std::max(start.size(), kContentSize), '\0');
  return start;
}

// A box of the ISO base media format that holds a brand and the list of compatible ones.
std::string FileTypeBox(const std::string& brand) {
  return std::string("\0\0\0\x14", 4) + "ftyp" + brand + std::string(4, '\0') + brand;
}

[[noreturn]] void ThrowErrno(const std::string& path) {
  throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace

std::string EpsContent() { return Padded("%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 9 9\n"); }

std::string AviContent() { return Padded(std::string("RIFF\xF8\0\0\0", 8) + "AVI LIST"); }

std::string MatroskaContent() { return Padded("\x1A\x45\xDF\xA3\x8B\x42\x82\x88matroska"); }

std::string QuickTimeContent() { return Padded(FileTypeBox("qt  ")); }

std::string AsfContent() {
  return Padded(
      std::string("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C", 16));
}

std::string Cr3Content() {
  // A box of nothing behind it, since Exiv2 wants some bytes before it decides.
  return FileTypeBox("crx ") +
         std::string(
             "\0\0\0\x40"
             "free",
             8) +
         std::string(0x38, '\0');
}

void WriteFifo(const std::string& path) {
  if (mkfifo(path.c_str(), 0600) != 0) ThrowErrno(path);
}

void WriteSocket(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) ThrowErrno(path);
  const int bound = bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  close(descriptor);
  if (bound != 0) ThrowErrno(path);
}

}  // namespace vexathumb::kit
