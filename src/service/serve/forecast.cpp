#include "service/serve/forecast.h"

#include <sys/stat.h>
#include <unistd.h>

#include "service/base/path_name.h"
#include "service/build/engine.h"
#include "service/store/current_entry.h"
#include "service/store/store_place_check.h"

namespace vexathumb::service {
namespace {

constexpr char kPixdeck[] = "Pixdeck";
constexpr char kFormerPixdeck[] = "Pixdeck, former scheme";
constexpr char kDocdeck[] = "Docdeck";
constexpr char kReeldeck[] = "Reeldeck";

bool IsVideo(const std::string& path) { return IsSupportVideo(LastComponent(path)); }

// Whether a request takes what lies there as it is.
bool IsServed(const StoreEntry& entry, const ThumbInfo& info, bool is_indexed) {
  if (entry.application == kDocdeck) return info.IsGood() && entry.is_current;
  const bool belongs_to_index = entry.application == kPixdeck ||
                                entry.application == kFormerPixdeck ||
                                entry.application == kReeldeck;
  return belongs_to_index && entry.exists && is_indexed;
}

std::string WhyServed(const StoreEntry& entry) {
  if (entry.application == kDocdeck) return "stored and as old as the source";
  return "stored by the " + entry.application + " application, and the share is indexed";
}

std::string SizeText(const EmbeddedPreview& preview) {
  return std::to_string(preview.width) + "x" + std::to_string(preview.height);
}

// What makes it, in the order in which one takes the place of the other.
std::string MakersFor(const std::string& source, const ThumbInfo& info) {
  std::string makers;
  const auto add = [&makers](const char* maker) {
    makers += (makers.empty() ? "" : ", then ") + std::string(maker);
  };
  ThumbnailRequest request;
  request.source = source;
  BuildOptions options;
  options.is_for_one = true;
  const std::vector<Engine> engines = EnginesFor(request, info, options);
  for (const Engine engine : engines) {
    if (engine == Engine::kRenderer) {
      add("the renderer");
      continue;
    }
    if (engine == Engine::kDjpeg || engines.front() == Engine::kTools) {
      if (info.IsGood() && info.GetMimeType() == "image/jpeg") add("djpeg");
    }
    if (engine == Engine::kDjpeg) continue;
    if (!info.IsWebAcceptable()) add("dcraw");
    if (info.IsGood()) add("convert");
  }
  return makers;
}

Forecast OriginalForecast(const InspectedSource& source) {
  if (source.info().IsWebAcceptable()) {
    return {"Original", source.path(), "browsers show its type"};
  }
  return {"", "", "browsers do not show its type"};
}

}  // namespace

std::vector<StoreEntry> StoreEntriesFor(const InspectedSource& source, const std::string& label) {
  const ThumbInfo info = source.ForSize(label);
  ThumbInfo cropped = info;
  cropped.SetCropMode(true);
  std::vector<std::pair<const char*, std::string>> names = {
      {kPixdeck, info.GetPixdeckThumbEAName()},
      {kFormerPixdeck, info.GetPixdeckOldThumbEAName()},
      {kDocdeck, info.GetDocdeckThumbEAName()},
      {"Avatar", cropped.GetAvatarThumbEAName()},
  };
  if (IsVideo(source.path())) names.emplace_back(kReeldeck, info.GetReeldeckThumbEAName());

  struct stat status = {};
  const bool is_there = stat(source.path().c_str(), &status) == 0;
  std::vector<StoreEntry> entries;
  for (const auto& [application, name] : names) {
    StoreEntry entry;
    entry.application = application;
    entry.path = source.StorePath(name);
    entry.exists = !entry.path.empty() && access(entry.path.c_str(), F_OK) == 0;
    entry.is_current = is_there && entry.exists && IsCurrentEntry(entry.path, status);
    entries.push_back(entry);
  }
  return entries;
}

Forecast ForecastFor(const InspectedSource& source, const std::string& label,
                     const std::vector<EmbeddedPreview>& previews) {
  if (label == kOriginal) return OriginalForecast(source);
  const ThumbInfo info = source.ForSize(label);
  const bool is_indexed = info.IsThumbShareIndexed();
  for (const StoreEntry& entry : StoreEntriesFor(source, label)) {
    if (!IsServed(entry, info, is_indexed)) continue;
    const std::string from = entry.application == kFormerPixdeck ? kPixdeck : entry.application;
    return {from, entry.path, WhyServed(entry)};
  }

  const StorePlace place = CheckStorePlace(source.path());
  const std::string result = source.StorePath(info.GetDocdeckThumbEAName());
  if (const auto preview = PreviewFor(info, previews); preview && place.obstacle.empty()) {
    return {kDocdeck, result, "the embedded preview of " + SizeText(*preview) + " serves"};
  }
  if (IsVideo(source.path())) return {"", "", "videos are served from the store alone"};
  if (!info.IsNeedConvert()) {
    return {"Original", source.path(), "browsers show it and it needs no scaling or turning"};
  }
  if (!place.volume_fits) {
    return {
        "DocdeckVarTmp", "",
        "made by " + MakersFor(source.path(), info) + " and not kept: its volume holds no store"};
  }
  if (!place.obstacle.empty()) return {"", "", "its store cannot be written: " + place.obstacle};
  return {kDocdeck, result, "made by " + MakersFor(source.path(), info)};
}

}  // namespace vexathumb::service
