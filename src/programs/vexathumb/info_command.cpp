#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "programs/vexathumb/columns.h"
#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/printable.h"
#include "programs/vexathumb/report.h"
#include "service/base/path_name.h"
#include "service/base/source_path.h"
#include "service/build/stored_thumbnail.h"
#include "service/serve/forecast.h"
#include "thumb/libvexathumb.h"

namespace vexathumb::program {
namespace {

using service::EmbeddedPreview;
using service::Forecast;
using service::InspectedSource;
using service::StoreEntry;

struct InfoOptions {
  std::string file;
  bool json = false;
};

struct SizeInfo {
  std::string label;
  std::vector<StoreEntry> entries;
  Forecast forecast;
};

std::vector<SizeInfo> SizesOf(const InspectedSource& source,
                              const std::vector<EmbeddedPreview>& previews) {
  std::vector<SizeInfo> sizes;
  for (auto label = Thumb::size_vec.rbegin(); label != Thumb::size_vec.rend(); ++label) {
    SizeInfo size;
    size.label = *label;
    if (*label != kOriginal) size.entries = StoreEntriesFor(source, *label);
    size.forecast = ForecastFor(source, *label, previews);
    sizes.push_back(size);
  }
  return sizes;
}

Answer SourceAnswer(const InspectedSource& source) {
  Answer answer;
  answer.file = source.path();
  answer.mime = source.info().GetMimeType();
  answer.picture = service::ReadPictureFacts(source.path());
  answer.error = source.inspection().cause.text;
  return answer;
}

Json SizeJson(const InspectedSource& source, const SizeInfo& size) {
  const Forecast& forecast = size.forecast;
  Answer answer;
  answer.file = source.path();
  answer.size = size.label;
  answer.from = forecast.from;
  answer.output = forecast.output;
  const ThumbInfo info = source.ForSize(size.label);
  if (forecast.from == service::kFromOriginal) {
    answer.mime = service::MimeOfSource(info);
  } else if (!forecast.from.empty()) {
    answer.mime = info.GetOutputMimeType();
  }
  if (forecast.from.empty()) answer.error = forecast.why;
  if (!forecast.output.empty()) answer.picture = service::ReadPictureFacts(forecast.output);
  Json json = ToJson(answer);
  json["why"] = forecast.why;
  json["stored"] = Json::array();
  for (const StoreEntry& entry : size.entries) {
    json["stored"].push_back({{"application", entry.application},
                              {"path", entry.path},
                              {"exists", entry.exists},
                              {"current", entry.is_current}});
  }
  return json;
}

void PrintAsJson(const InspectedSource& source, const std::vector<EmbeddedPreview>& previews) {
  Json json = ToJson(SourceAnswer(source));
  json["turns"] = source.info().GetRotate();
  json["mirrored"] = source.info().GetFlop();
  json["indexed"] = source.info().IsThumbShareIndexed();
  json["previews"] = Json::array();
  for (const EmbeddedPreview& preview : previews) {
    json["previews"].push_back({{"mime", preview.mime},
                                {"width", preview.width},
                                {"height", preview.height},
                                {"bytes", preview.bytes}});
  }
  json["sizes"] = Json::array();
  for (const SizeInfo& size : SizesOf(source, previews)) {
    json["sizes"].push_back(SizeJson(source, size));
  }
  PrintJson(json);
}

void PrintLine(const std::string& what, const std::string& value) {
  std::cout << what << std::string(what.size() < 13 ? 13 - what.size() : 1, ' ') << Printable(value)
            << "\n";
}

std::string EntryState(const StoreEntry& entry) {
  if (!entry.exists) return "missing";
  return entry.is_current ? "current" : "out of date";
}

void PrintAsText(const InspectedSource& source, const std::vector<EmbeddedPreview>& previews) {
  const Answer answer = SourceAnswer(source);
  const ThumbInfo& info = source.info();
  PrintLine("file", source.path());
  PrintLine("type", answer.mime.empty() ? "unknown" : answer.mime);
  PrintLine("pixels", PixelsText(answer.picture) + " as stored");
  PrintLine("bytes", BytesText(answer.picture));
  PrintLine("orientation", std::to_string(info.GetRotate()) + " quarter turns clockwise" +
                               (info.GetFlop() ? ", mirrored" : ""));
  PrintLine("share", info.IsThumbShareIndexed() ? "indexed" : "not indexed");
  for (const EmbeddedPreview& preview : previews) {
    PrintLine("preview", preview.mime + " " + std::to_string(preview.width) + "x" +
                             std::to_string(preview.height) + ", " + std::to_string(preview.bytes) +
                             " bytes");
  }
  if (!answer.error.empty()) PrintLine("problem", answer.error);

  Columns served({"size", "served from", "why"});
  Columns stored({"size", "application", "name", "state"});
  for (const SizeInfo& size : SizesOf(source, previews)) {
    served.Add(
        {size.label, size.forecast.from.empty() ? "none" : size.forecast.from, size.forecast.why});
    for (const StoreEntry& entry : size.entries) {
      stored.Add(
          {size.label, entry.application, service::LastComponent(entry.path), EntryState(entry)});
    }
  }
  std::cout << "\n" << served.Text() << "\n" << stored.Text();
}

ExitCode RunInfo(const InfoOptions& options) {
  const std::string path = service::AbsolutePath(options.file);
  service::Cause cause = {service::WhyUnreadable(path), "name a picture that can be read"};
  ExitCode code = kSourceUnreadable;
  if (cause.text.empty()) {
    const InspectedSource source(path, false);
    if (source.inspection().IsUsable()) {
      const auto previews = ListEmbeddedPreviews(source);
      options.json ? PrintAsJson(source, previews) : PrintAsText(source, previews);
      return kDone;
    }
    cause = source.inspection().cause;
    if (source.inspection().result != service::InspectionResult::kUnreadable) code = kNoThumbnail;
  }
  if (options.json) {
    Answer answer;
    answer.file = path;
    answer.error = cause.text;
    PrintJson(ToJson(answer));
  }
  throw Failure{code, options.file, cause};
}

}  // namespace

Run AddInfoCommand(CLI::App& app) {
  const auto options = std::make_shared<InfoOptions>();
  CLI::App* command =
      app.add_subcommand("info", "Tell what is known about a picture and its thumbnails");
  command->add_option("FILE", options->file, "The picture")->required();
  command->add_flag("--json", options->json, "Tell it as JSON");
  return [options] { return RunInfo(*options); };
}

}  // namespace vexathumb::program
