#include "service/inspection_memory.h"

#include <array>
#include <ctime>
#include <functional>
#include <mutex>
#include <tuple>

namespace vexathumb::service {
namespace {

constexpr size_t kSources = 1024;
constexpr time_t kCoarsestClock = 2;  // seconds; of the file systems that a share may lie on

struct Inspection {
  std::string source;
  struct stat status = {};
  ThumbInfo info;
};

auto IdentityOf(const struct stat& st) {
  return std::make_tuple(st.st_dev, st.st_ino, st.st_size, st.st_mtim.tv_sec, st.st_mtim.tv_nsec,
                         st.st_ctim.tv_sec, st.st_ctim.tv_nsec);
}

// Each source has one place, by its path; of two with the same place the later is remembered.
class InspectionMemory {
 public:
  void Put(Inspection inspection) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::optional<Inspection>& place = PlaceOf(inspection.source);
    place.reset();
    place.emplace(std::move(inspection));
  }

  std::optional<ThumbInfo> Get(const std::string& source, const struct stat& status) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::optional<Inspection>& place = PlaceOf(source);
    if (!place || place->source != source || IdentityOf(place->status) != IdentityOf(status)) {
      return std::nullopt;
    }
    return place->info;
  }

 private:
  std::optional<Inspection>& PlaceOf(const std::string& source) {
    return places_[std::hash<std::string>()(source) % kSources];
  }

  std::mutex mutex_;
  std::array<std::optional<Inspection>, kSources> places_;
};

InspectionMemory& Memory() {
  static InspectionMemory memory;
  return memory;
}

}  // namespace

void RememberInspection(const std::string& source, const struct stat& before,
                        const ThumbInfo& info) {
  if (before.st_ctim.tv_sec + kCoarsestClock < time(nullptr)) Memory().Put({source, before, info});
}

std::optional<ThumbInfo> RecallInspection(const ThumbnailRequest& request) {
  struct stat status = {};
  if (stat(request.source.c_str(), &status) != 0) return std::nullopt;
  std::optional<ThumbInfo> info = Memory().Get(request.source, status);
  if (info) ApplyWishes(request, &*info);
  return info;
}

}  // namespace vexathumb::service
