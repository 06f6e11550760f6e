#ifndef VEXATHUMB_SERVICE_BASE_STAT_CACHE_H_
#define VEXATHUMB_SERVICE_BASE_STAT_CACHE_H_

#include <sys/stat.h>

#include <array>
#include <ctime>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

namespace vexathumb::service {

// What this process has lately read of files, each until its status says that the file has changed.
// A bounded number is kept: each file has one place, by its path, and of two with the same
// place the later stays. Callable from several threads.
template <typename Value>
class StatCache {
 public:
  // `status` is the file's from before it was read. Nothing is kept of a file that changed so
  // recently that another change might leave no trace in its status.
  void Put(const std::string& path, const struct stat& status, Value value) {
    constexpr time_t kCoarsestClock = 2;  // seconds; of the file systems that a share may lie on
    if (status.st_ctim.tv_sec + kCoarsestClock >= time(nullptr)) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    std::optional<Entry>& place = PlaceOf(path);
    place.reset();
    place.emplace(Entry{path, IdentityOf(status), std::move(value)});
  }

  // `status` is the file's of now.
  std::optional<Value> Get(const std::string& path, const struct stat& status) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::optional<Entry>& place = PlaceOf(path);
    if (!place || place->path != path || place->identity != IdentityOf(status)) return std::nullopt;
    return place->value;
  }

 private:
  static constexpr size_t kFiles = 1024;

  using Identity = std::tuple<dev_t, ino_t, off_t, time_t, long, time_t, long>;

  struct Entry {
    std::string path;
    Identity identity;
    Value value;
  };

  static Identity IdentityOf(const struct stat& st) {
    return {st.st_dev,          st.st_ino,         st.st_size,        st.st_mtim.tv_sec,
            st.st_mtim.tv_nsec, st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
  }

  std::optional<Entry>& PlaceOf(const std::string& path) {
    return places_[std::hash<std::string>()(path) % kFiles];
  }

  std::mutex mutex_;
  std::array<std::optional<Entry>, kFiles> places_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BASE_STAT_CACHE_H_
