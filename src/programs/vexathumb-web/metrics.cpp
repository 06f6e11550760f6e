#include "programs/vexathumb-web/metrics.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <new>
#include <optional>
#include <string_view>

#include "programs/vexathumb-web/shared_counters.h"

namespace vexathumb::web {
namespace {

using service::Maker;
using service::Outcome;
using service::Thumbnail;

// To be raised with every change of the tables below: processes of two releases may run side by
// side, so it is in the file's name, too.
constexpr uint32_t kLayout = 1;

// In the order of Route.
constexpr std::array kRoutes = {"thumb", "album", "health", "metrics", "none"};
constexpr std::array kStatuses = {200, 206, 304, 400, 404, 405, 412, 415, 416, 421, 500, 503};

enum Result : size_t {
  kStored,
  kBuilt,
  kSource,
  kFailed,
  kFailedBefore,
  kPostponed,
  kPostponedBefore,
  kOverload,
  kChanged,
  kMissing,
  kNotStored,
  kResults
};
constexpr std::array<const char*, kResults> kResultNames = {
    "stored",           "built",    "source",  "failed",  "failed_before", "postponed",
    "postponed_before", "overload", "changed", "missing", "not_stored"};

// In the order of Maker, without the first.
constexpr std::array kEngines = {"preview", "renderer", "tools"};

struct Type {
  std::string_view mime;
  const char* name;
};
constexpr std::array kTypes = {
    Type{"image/jpeg", "jpeg"},  Type{"image/png", "png"},      Type{"image/gif", "gif"},
    Type{"image/webp", "webp"},  Type{"image/tiff", "tiff"},    Type{"image/heic", "heic"},
    Type{"image/heif", "heic"},  Type{"image/avif", "avif"},    Type{"image/jxl", "jxl"},
    Type{"image/jp2", "jp2"},    Type{"image/x-ms-bmp", "bmp"}, Type{"image/x-photoshop", "psd"},
    Type{"image/targa", "targa"}};
constexpr size_t kRaw = kTypes.size();
constexpr size_t kUnknown = kRaw + 1;
constexpr size_t kTypeCount = kUnknown + 1;

// A counter of its own for each line.
constexpr size_t kStatusCount = kStatuses.size() + 1;  // the last is any other
constexpr size_t kFirstAnswer = 0;
constexpr size_t kFirstResult = kFirstAnswer + kRoutes.size() * kStatusCount;
constexpr size_t kFirstBuild = kFirstResult + kResults;
constexpr size_t kBuildKinds = kEngines.size() * kTypeCount;
constexpr size_t kFirstBuildTime = kFirstBuild + kBuildKinds;  // nanoseconds
constexpr size_t kCounters = kFirstBuildTime + kBuildKinds;

SharedCounters& CountersIn(const std::string& lock_directory) {
  static std::optional<SharedCounters> counters;
  if (counters && counters->directory() == lock_directory) return *counters;
  counters.reset();
  const std::string name = "metrics-" + std::to_string(kLayout) + "." + std::to_string(geteuid());
  return counters.emplace(lock_directory, name, kLayout, static_cast<uint32_t>(kCounters));
}

Result ResultOf(const Thumbnail& thumbnail) {
  switch (thumbnail.outcome) {
    case Outcome::kPicture:
      if (thumbnail.maker != Maker::kNobody) return kBuilt;
      return thumbnail.owner == service::Owner::kSource ? kSource : kStored;
    case Outcome::kMissing:
      return kMissing;
    case Outcome::kNotStored:
      return kNotStored;
    case Outcome::kUnusable:
      return thumbnail.is_known ? kFailedBefore : kFailed;
    case Outcome::kSourceChanged:
      return kChanged;
    case Outcome::kOverload:
      return kOverload;
    case Outcome::kPostponed:
      return thumbnail.is_known ? kPostponedBefore : kPostponed;
  }
  return kFailed;
}

// Raw files are TIFFs by their structure, or have a type of their maker's.
size_t TypeOf(std::string_view mime, std::string_view source) {
  std::string extension(source.substr(source.rfind('.') + 1));
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(tolower(c)); });
  if (mime == "image/tiff" && extension != "tif" && extension != "tiff") return kRaw;
  const auto* const type = std::find_if(kTypes.begin(), kTypes.end(),
                                        [mime](const Type& one) { return one.mime == mime; });
  if (type != kTypes.end()) return static_cast<size_t>(type - kTypes.begin());
  return mime.substr(0, 8) == "image/x-" ? kRaw : kUnknown;
}

const char* NameOfType(size_t type) {
  if (type == kRaw) return "raw";
  return type == kUnknown ? "other" : kTypes[type].name;
}

// A text of lines in the format.
class Exposition {
 public:
  void Begin(const char* name, const char* type, const char* help) {
    name_ = name;
    text_ += "# HELP " + name_ + " " + help + "\n# TYPE " + name_ + " " + type + "\n";
  }

  // `labels` is empty, or `a="b",c="d"` of names that need no escapes.
  void Sample(const std::string& labels, const std::string& value) {
    text_ += name_ + (labels.empty() ? "" : "{" + labels + "}") + " " + value + "\n";
  }

  void Gauge(const char* name, const char* help, int value) {
    Begin(name, "gauge", help);
    Sample("", std::to_string(value));
  }

  std::string Take() { return std::move(text_); }

 private:
  std::string name_;
  std::string text_;
};

std::string Seconds(uint64_t nanoseconds) {
  constexpr uint64_t kSecond = 1'000'000'000;
  std::array<char, 32> text = {};
  snprintf(text.data(), text.size(), "%llu.%09llu",
           static_cast<unsigned long long>(nanoseconds / kSecond),
           static_cast<unsigned long long>(nanoseconds % kSecond));
  return text.data();
}

void WriteAnswers(const SharedCounters& counters, Exposition* text) {
  text->Begin("vexathumb_requests_total", "counter", "Requests, by what they were for and status.");
  for (size_t route = 0; route < kRoutes.size(); ++route) {
    for (size_t status = 0; status < kStatusCount; ++status) {
      const uint64_t count = counters[kFirstAnswer + route * kStatusCount + status];
      if (count == 0) continue;
      const bool is_other = status == kStatuses.size();
      const std::string name = is_other ? "other" : std::to_string(kStatuses[status]);
      text->Sample("route=\"" + std::string(kRoutes[route]) + "\",status=\"" + name + "\"",
                   std::to_string(count));
    }
  }
}

void WriteResults(const SharedCounters& counters, Exposition* text) {
  text->Begin("vexathumb_thumbnails_total", "counter",
              "Requests for a thumbnail, by what they have come to.");
  for (size_t result = 0; result < kResults; ++result) {
    text->Sample("result=\"" + std::string(kResultNames[result]) + "\"",
                 std::to_string(counters[kFirstResult + result]));
  }
}

// Two MIME types may have one name. Nothing is said of what has never been built.
template <typename Format>
void WriteBuilds(const SharedCounters& counters, size_t first, Format format, Exposition* text) {
  for (size_t engine = 0; engine < kEngines.size(); ++engine) {
    for (size_t type = 0; type < kTypeCount; ++type) {
      const std::string_view name = NameOfType(type);
      if (type > 0 && name == NameOfType(type - 1)) continue;
      const auto sum = [&](size_t start) {
        uint64_t all = 0;
        for (size_t same = type; same < kTypeCount && NameOfType(same) == name; ++same) {
          all += counters[start + engine * kTypeCount + same];
        }
        return all;
      };
      if (sum(kFirstBuild) == 0) continue;
      text->Sample(
          "engine=\"" + std::string(kEngines[engine]) + "\",type=\"" + std::string(name) + "\"",
          format(sum(first)));
    }
  }
}

}  // namespace

void CountAnswer(const std::string& lock_directory, Route route, int status) noexcept try {
  const auto* const known = std::find(kStatuses.begin(), kStatuses.end(), status);
  const size_t line =
      static_cast<size_t>(route) * kStatusCount + static_cast<size_t>(known - kStatuses.begin());
  SharedCounters& counters = CountersIn(lock_directory);
  counters.Refresh();  // once a request: it costs more than all the counting
  counters.Add(kFirstAnswer + line, 1);
} catch (const std::bad_alloc&) {
  return;  // not counted
}

void CountThumbnail(const std::string& lock_directory, const std::string& source,
                    const Thumbnail& thumbnail) noexcept try {
  SharedCounters& counters = CountersIn(lock_directory);
  const Result result = ResultOf(thumbnail);
  counters.Add(kFirstResult + result, 1);
  if (result != kBuilt) return;
  const size_t engine = static_cast<size_t>(thumbnail.maker) - 1;
  const size_t kind = engine * kTypeCount + TypeOf(thumbnail.made_of, source);
  counters.Add(kFirstBuild + kind, 1);
  counters.Add(kFirstBuildTime + kind, static_cast<uint64_t>(thumbnail.made_in.count()));
} catch (const std::bad_alloc&) {
  return;  // not counted
}

std::string MetricsText(const std::string& lock_directory, const Load& load) {
  SharedCounters& counters = CountersIn(lock_directory);
  counters.Refresh();
  Exposition text;
  WriteAnswers(counters, &text);
  WriteResults(counters, &text);
  text.Begin("vexathumb_builds_total", "counter",
             "Thumbnails built for a request, by engine and type of the source.");
  WriteBuilds(
      counters, kFirstBuild, [](uint64_t count) { return std::to_string(count); }, &text);
  text.Begin("vexathumb_build_seconds_total", "counter",
             "Time that these builds took, without waiting for a turn.");
  WriteBuilds(counters, kFirstBuildTime, Seconds, &text);
  text.Gauge("vexathumb_workers", "Workers that answer requests.", load.workers);
  text.Gauge("vexathumb_builders", "Builds that may run at once.", load.limits.builders);
  text.Gauge("vexathumb_builds_running", "Builds that run, the indexer's too.",
             load.queue.building);
  text.Gauge("vexathumb_build_requests", "Requests that build, or wait to.", load.queue.requested);
  text.Gauge("vexathumb_build_requests_limit", "Requests that may build or wait to at once.",
             load.limits.builders + load.limits.waiting);
  return text.Take();
}

}  // namespace vexathumb::web
