#include "service/picture/source_version.h"

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>
#include <tuple>

namespace vexathumb::service {
namespace {

using std::chrono::system_clock;

constexpr std::chrono::seconds kFresh{2};
constexpr std::chrono::seconds kSettled{60};

system_clock::time_point ModificationOf(const struct stat& st) {
  const auto since_epoch =
      std::chrono::seconds(st.st_mtim.tv_sec) + std::chrono::nanoseconds(st.st_mtim.tv_nsec);
  return system_clock::time_point(std::chrono::duration_cast<system_clock::duration>(since_epoch));
}

auto KeyOf(const struct stat& st) {
  return std::make_tuple(st.st_dev, st.st_ino, st.st_size, st.st_mtim.tv_sec, st.st_mtim.tv_nsec,
                         st.st_ctim.tv_sec, st.st_ctim.tv_nsec);
}

}  // namespace

SourceVersion::SourceVersion(const std::string& path) : path_(path) {
  if (stat(path.c_str(), &status_) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
}

bool SourceVersion::IsCurrent() const {
  struct stat now = {};
  return stat(path_.c_str(), &now) == 0 && KeyOf(now) == KeyOf(status_);
}

bool SourceVersion::IsOf(int fd) const {
  struct stat now = {};
  return fstat(fd, &now) == 0 && KeyOf(now) == KeyOf(status_);
}

bool SourceVersion::IsFresh() const {
  const time_t now = system_clock::to_time_t(system_clock::now());
  if (status_.st_mtime > now || status_.st_mtime + kFresh.count() < now) return false;
  return system_clock::now() < ModificationOf(status_) + kFresh;
}

bool SourceVersion::IsSettled() const {
  const system_clock::time_point now = system_clock::now();
  return ModificationOf(status_) > now || ModificationOf(status_) + kSettled < now;
}

void SourceVersion::WaitWhileFresh() const {
  if (IsFresh()) std::this_thread::sleep_until(ModificationOf(status_) + kFresh);
}

}  // namespace vexathumb::service
