#include "platform/tool/tool_result.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <string_view>

#include "posix/unique_fd.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

using namespace std::string_view_literals;

constexpr size_t kEdge = 16;  // octets at either end that tell

struct Format {
  std::string_view start;
  std::string_view end;
};

constexpr Format kFormats[] = {
    {"\xff\xd8\xff"sv, "\xff\xd9"sv},
    {"\x89PNG\r\n\x1a\n"sv, "\0\0\0\0IEND\xae\x42\x60\x82"sv},
    {"GIF8"sv, ";"sv},
};

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// The length in a BMP's header, which begins at its third octet.
uint32_t BmpLength(std::string_view head) {
  uint32_t length = 0;
  for (size_t i = 4; i > 0; --i) length = (length << 8U) | static_cast<uint8_t>(head[1 + i]);
  return length;
}

}  // namespace

bool IsWholePicture(const std::string& path) {
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return false;
  if (!S_ISREG(status.st_mode) || status.st_size == 0) return false;
  std::array<char, kEdge> head{};
  std::array<char, kEdge> tail{};
  const ssize_t head_size = pread(file.get(), head.data(), kEdge, 0);
  const off_t tail_start = status.st_size > off_t{kEdge} ? status.st_size - off_t{kEdge} : 0;
  const ssize_t tail_size = pread(file.get(), tail.data(), kEdge, tail_start);
  if (head_size <= 0 || tail_size <= 0) return false;
  const std::string_view start(head.data(), static_cast<size_t>(head_size));
  const std::string_view end(tail.data(), static_cast<size_t>(tail_size));
  if (StartsWith(start, "BM") && start.size() >= 6) {
    return status.st_size >= off_t{BmpLength(start)};
  }
  for (const Format& format : kFormats) {
    if (StartsWith(start, format.start)) return EndsWith(end, format.end);
  }
  return true;
}

}  // namespace vexaplatform
