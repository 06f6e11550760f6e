#include "service/build/likeness.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "posix/unique_fd.h"
#include "service/base/atomic_file.h"
#include "service/base/silenced_descriptor.h"
#include "thumb/thumb_convert_cmd.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

constexpr char kHeader[] = "P6\n16 16\n255\n";
constexpr size_t kHeaderSize = sizeof(kHeader) - 1;

// Mean difference of a channel, of 255. Two photographs seldom differ by less than 40, and a
// photograph and its thumbnail by more than 10.
constexpr size_t kAlike = 28;

std::optional<Likeness> ReadRaster(const std::string& path) {
  const posix::UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  std::array<char, kHeaderSize> header{};
  Likeness raster{};
  const bool is_read =
      file && read(file.get(), header.data(), header.size()) == ssize_t{kHeaderSize} &&
      std::equal(header.begin(), header.end(), kHeader) &&
      read(file.get(), raster.data(), raster.size()) == static_cast<ssize_t>(raster.size());
  return is_read ? std::make_optional(raster) : std::nullopt;
}

}  // namespace

std::optional<Likeness> DecodeLikeness(const std::string& path, const ThumbInfo* info) {
  const std::string raster = TemporaryFor("/var/tmp/likeness.ppm");
  const std::string first_frame = path + "[0]";
  const std::string target = "ppm:" + raster;
  const int turns = info == nullptr ? 0 : info->GetRotate() % 4;
  const std::string degrees = std::to_string(turns * 90);
  std::vector<const char*> argv = {ThumbConvertCmd::kConvert.c_str(), first_frame.c_str(),
                                   "-strip"};
  // In the library's order.
  if (turns != 0) argv.insert(argv.end(), {"-rotate", degrees.c_str()});
  if (info != nullptr && info->GetFlop()) argv.push_back("-flop");
  argv.insert(argv.end(), {"-colorspace", "sRGB", "-thumbnail", "16x16!", "-background", "white",
                           "-extent", "16x16", target.c_str(), nullptr});
  const SilencedDescriptor silent_tools(stderr);  // who asks is told of each fault once
  const bool is_decoded = VLIBCExecv(argv[0], argv.data(), 1) == 0;
  const auto likeness = is_decoded ? ReadRaster(raster) : std::nullopt;
  unlink(raster.c_str());
  return likeness;
}

bool IsAlike(const Likeness& one, const Likeness& other) {
  size_t difference = 0;
  for (size_t i = 0; i < one.size(); ++i) {
    difference += static_cast<size_t>(std::abs(int{one[i]} - int{other[i]}));
  }
  return difference <= kAlike * one.size();
}

}  // namespace vexathumb::service
