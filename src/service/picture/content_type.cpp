#include "service/picture/content_type.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string_view>

#include "posix/unique_fd.h"

namespace vexathumb::service {
namespace {

constexpr size_t kLongestSignature = 8;

struct Signature {
  std::string_view bytes;
  const char* type;
};

constexpr Signature kSignatures[] = {
    {"\xff\xd8\xff", kJpegType},
    {"\x89PNG\r\n\x1a\n", kPngType},
    {"GIF8", kGifType},
    {"BM", kBmpType},
};

std::optional<std::string> FirstBytes(const std::string& path) {
  // A FIFO in the file's place would wait for a writer.
  const posix::UniqueFd fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!fd) return std::nullopt;
  struct stat st = {};
  std::array<char, kLongestSignature> bytes = {};
  const bool regular = fstat(fd.get(), &st) == 0 && S_ISREG(st.st_mode);
  const ssize_t count = regular ? read(fd.get(), bytes.data(), bytes.size()) : -1;
  if (count < 0) return std::nullopt;
  return std::string(bytes.data(), static_cast<size_t>(count));
}

}  // namespace

std::optional<std::string> ContentTypeOf(const std::string& path) {
  const std::optional<std::string> bytes = FirstBytes(path);
  if (!bytes) return std::nullopt;
  for (const Signature& signature : kSignatures) {
    if (bytes->compare(0, signature.bytes.size(), signature.bytes) == 0) return signature.type;
  }
  return "";
}

}  // namespace vexathumb::service
