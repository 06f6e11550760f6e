// What the first request for a photograph's "big" thumbnail costs, nothing being stored yet:
// vexathumb-web as a CGI process, from its start to the last byte and its end, beside vipsthumbnail
// for the same box, and beside the two tools that do the work here, run bare.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/measured_run.h"
#include "bench/median.h"
#include "bench/photograph.h"
#include "bench/size_option.h"
#include "kit/files.h"
#include "kit/pictures/pixels.h"
#include "kit/temp_dir.h"

namespace vexathumb::bench {
namespace {

constexpr int kBox = 640;          // "big"
constexpr char kQuality[] = "85";  // of re-encoded thumbnails, unless told otherwise

struct Options {
  int rounds = 15;
  kit::Size photograph = kPhotographSize;
  std::vector<std::string> files;
};

void Demand(bool condition, const std::string& otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

// A share with one photograph and an empty store, and a place for results.
class Workshop {
 public:
  explicit Workshop(const std::string& name) : photograph_(name) {
    std::filesystem::create_directory(folder_ / "share");
    kit::WriteFile(folder_ / "platform.ini",
                   "[store]\nlayout = beside\n[share photos]\npath = " + folder_ / "share" +
                       "\n[service]\nlock_dir = " + folder_ / "lock" + "\n");
  }

  std::string Photograph() const { return folder_ / ("share/" + photograph_); }

  // The request for the thumbnail, the answer with its headers being written to a file.
  Cost Request() const {
    std::filesystem::remove_all(folder_ / "share/.vexaea");
    return MeasureRun(
        {{VEXATHUMB_WEB},
         {"VEXATHUMB_CONFIG=" + folder_ / "platform.ini", "GATEWAY_INTERFACE=CGI/1.1",
          "REQUEST_METHOD=GET", "REQUEST_URI=/thumb/photos/" + photograph_ + "?size=big"},
         folder_ / "answer"});
  }

  // The picture of the last answer.
  std::string Thumbnail() const {
    const std::string answer = kit::ReadFile(folder_ / "answer");
    const size_t body = answer.find("\r\n\r\n");
    Demand(body != std::string::npos && answer.find("Status:") > body &&
               answer.find("Content-Type: image/jpeg\r\n") < body,
           "vexathumb-web does not answer with a JPEG:\n" + answer.substr(0, 400));
    kit::WriteFile(folder_ / "thumbnail.jpg", answer.substr(body + 4));
    return folder_ / "thumbnail.jpg";
  }

  // `options` are those of its JPEG writer: "[Q=85]".
  Cost Vipsthumbnail(const std::string& options = "") const {
    const std::string box = std::to_string(kBox) + "x" + std::to_string(kBox);
    return MeasureRun(
        {{"/usr/bin/vipsthumbnail", "--size", box, "-o", VipsThumbnail() + options, Photograph()}});
  }
  std::string VipsThumbnail() const { return folder_ / "vips.jpg"; }

  // The scaled decode and the re-encoding, to the size of the last thumbnail.
  Cost BareTools(const kit::PictureInfo& photograph, const kit::PictureInfo& thumbnail) const {
    const std::string scale = "1/" + std::to_string(photograph.width / thumbnail.width);
    const Cost decode =
        MeasureRun({{"/usr/bin/djpeg", "-scale", scale, "-dct", "fast", "-fast", "-onepass", "-bmp",
                     "-outfile", folder_ / "bare.bmp", Photograph()}});
    const Cost encode = MeasureRun({{"/usr/bin/cjpeg", "-optimize", "-quality", kQuality,
                                     "-outfile", folder_ / "bare.jpg", folder_ / "bare.bmp"}});
    return {decode.seconds + encode.seconds, decode.cpu_seconds + encode.cpu_seconds};
  }

 private:
  kit::TempDir folder_;
  std::string photograph_;
};

struct Round {
  Cost request;
  Cost vips;
  Cost bare;
};

// Each round begins with the other one, so that neither always has the warmer machine. What all of
// them read is in the page cache from the first round on, which does not count.
std::vector<Round> Measure(const Workshop& workshop, int count) {
  workshop.Request();
  workshop.Vipsthumbnail();
  const kit::PictureInfo photograph = kit::Examine(workshop.Photograph());
  const kit::PictureInfo thumbnail = kit::Examine(workshop.Thumbnail());
  std::vector<Round> rounds(static_cast<size_t>(count));
  bool request_first = true;
  for (Round& round : rounds) {
    if (request_first) round.request = workshop.Request();
    round.vips = workshop.Vipsthumbnail();
    if (!request_first) round.request = workshop.Request();
    round.bare = workshop.BareTools(photograph, thumbnail);
    request_first = !request_first;
  }
  return rounds;
}

struct Output {
  kit::PictureInfo picture;
  double kilobytes;
};

double Kilobytes(const std::string& file) {
  return static_cast<double>(std::filesystem::file_size(file)) / 1000.0;
}

Output Examine(const std::string& file) {
  const Output output = {kit::Examine(file), Kilobytes(file)};
  Demand(output.picture.format == "JPEG" &&
             (output.picture.width >= kBox || output.picture.height >= kBox),
         file + " does not fill the box");
  return output;
}

double Pixels(const Output& output) {
  return static_cast<double>(output.picture.width) * output.picture.height;
}

void PrintTitle(const Options& options) {
  printf(
      "The first request for \"big\" and vipsthumbnail --size %dx%d, whole processes; medians of %d"
      " rounds\n\n",
      kBox, kBox, options.rounds);
  constexpr char kColumns[] = "%-22s %7s | %7s %6s %6s | %6s %6s %6s | %5s %5s | %6s %7s %6s\n";
  printf(kColumns, "", "source", "request", "vips", "tools", "time", "CPU", "time/", "here", "vips",
         "bytes", "same", "pixels");
  printf(kColumns, "content", "kB", "ms", "ms", "ms", "ratio", "ratio", "tools", "kB", "kB",
         "ratio", "quality", "ratio");
}

void Report(const std::string& content, const Workshop& workshop,
            const std::vector<Round>& rounds) {
  const auto median = [&rounds](auto value) {
    std::vector<double> values;
    for (const Round& round : rounds) values.push_back(value(round));
    return Median(std::move(values));
  };
  const Output here = Examine(workshop.Thumbnail());
  const Output vips = Examine(workshop.VipsThumbnail());
  workshop.Vipsthumbnail("[Q=" + std::string(kQuality) + "]");
  const Output vips_alike = Examine(workshop.VipsThumbnail());
  printf(
      "%-22s %7.0f | %7.1f %6.1f %6.1f | %6.2f %6.2f %6.2f | %5.0f %5.0f | %6.2f %7.2f %6.2f\n",
      content.c_str(), Kilobytes(workshop.Photograph()),
      1000 * median([](const Round& round) { return round.request.seconds; }),
      1000 * median([](const Round& round) { return round.vips.seconds; }),
      1000 * median([](const Round& round) { return round.bare.seconds; }),
      median([](const Round& round) { return round.request.seconds / round.vips.seconds; }),
      median([](const Round& round) { return round.request.cpu_seconds / round.vips.cpu_seconds; }),
      median([](const Round& round) { return round.request.seconds / round.bare.seconds; }),
      here.kilobytes, vips.kilobytes, here.kilobytes / vips.kilobytes,
      here.kilobytes / vips_alike.kilobytes, Pixels(here) / Pixels(vips));
  fflush(stdout);
}

void Run(const Options& options) {
  struct Content {
    const char* name;
    float grain;
  };
  PrintTitle(options);
  if (options.files.empty()) {
    for (const Content& content : {Content{"landscape", 9.0F}, Content{"without grain", 0.0F},
                                   Content{"with much grain", 60.0F}}) {
      const Workshop workshop("photo.jpg");
      WritePhotograph(workshop.Photograph(), options.photograph, content.grain);
      Report(content.name, workshop, Measure(workshop, options.rounds));
    }
  }
  for (const std::string& file : options.files) {
    const Workshop workshop("photo.jpg");
    std::filesystem::copy_file(file, workshop.Photograph());
    Report(std::filesystem::path(file).filename(), workshop, Measure(workshop, options.rounds));
  }
}

}  // namespace
}  // namespace vexathumb::bench

int main(int argc, char** argv) {
  vexathumb::bench::Options options;
  CLI::App app("Measures the first request for a thumbnail against vipsthumbnail");
  app.add_option("--rounds", options.rounds)->check(CLI::PositiveNumber)->capture_default_str();
  vexathumb::bench::AddPhotographSize(&app, &options.photograph);
  app.add_option("FILE", options.files, "JPEGs to measure in the place of made ones")
      ->check(CLI::ExistingFile);
  CLI11_PARSE(app, argc, argv);
  try {
    vexathumb::bench::Run(options);
  } catch (const std::exception& error) {
    fprintf(stderr, "cold_benchmark: %s\n", error.what());
    return 1;
  }
  return 0;
}
