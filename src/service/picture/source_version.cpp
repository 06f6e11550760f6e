#include "service/picture/source_version.h"

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>
#include <tuple>

namespace vexathumb::service {
namespace {

using std::chrono::system_clock;

// The kernel's time stamps lag behind the clock by up to one of its ticks.
constexpr std::chrono::milliseconds kTick{20};

void WaitForEndOfSecond(time_t second) {
  const auto now = system_clock::now();
  if (system_clock::to_time_t(now - kTick) != second) return;
  std::this_thread::sleep_until(system_clock::from_time_t(second + 1) + kTick);
}

auto KeyOf(const struct stat& st) {
  return std::make_tuple(st.st_dev, st.st_ino, st.st_size, st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
}

}  // namespace

SourceVersion::SourceVersion(const std::string& path, ThisSecond this_second)
    : path_(path), this_second_(this_second) {
  if (stat(path.c_str(), &status_) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
}

bool SourceVersion::IsCurrent() const {
  if (this_second_ == ThisSecond::kWait) WaitForEndOfSecond(status_.st_mtim.tv_sec);
  struct stat now = {};
  return stat(path_.c_str(), &now) == 0 && KeyOf(now) == KeyOf(status_);
}

}  // namespace vexathumb::service
