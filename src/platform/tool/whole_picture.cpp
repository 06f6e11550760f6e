#include "vexaplatform/whole_picture.h"

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

constexpr size_t kHead = 16;    // octets at the beginning that tell
constexpr size_t kTail = 4096;  // at the end, with what cameras add

struct Format {
  std::string_view start;
  std::string_view end;
  bool is_filled_up;
};

constexpr Format kFormats[] = {
    {"\xff\xd8\xff"sv, "\xff\xd9"sv, true},
    {"\x89PNG\r\n\x1a\n"sv, "\0\0\0\0IEND\xae\x42\x60\x82"sv, false},
    {"GIF8"sv, ";"sv, false},
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
  std::array<char, kHead> head{};
  std::array<char, kTail> tail{};
  const ssize_t head_size = pread(file.get(), head.data(), head.size(), 0);
  const off_t tail_start = status.st_size > off_t{kTail} ? status.st_size - off_t{kTail} : 0;
  const ssize_t tail_size = pread(file.get(), tail.data(), tail.size(), tail_start);
  if (head_size <= 0 || tail_size <= 0) return false;
  const std::string_view start(head.data(), static_cast<size_t>(head_size));
  std::string_view end(tail.data(), static_cast<size_t>(tail_size));
  if (StartsWith(start, "BM") && start.size() >= 6) {
    return status.st_size >= off_t{BmpLength(start)};
  }
  for (const Format& format : kFormats) {
    if (!StartsWith(start, format.start)) continue;
    if (format.is_filled_up) end = end.substr(0, end.find_last_not_of('\0') + 1);
    return EndsWith(end, format.end);
  }
  return true;
}

}  // namespace vexaplatform
