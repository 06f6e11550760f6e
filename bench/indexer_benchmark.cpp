// What it costs to build all standard sizes of an album, beside vipsthumbnail in its best form: one
// call a size over all files, as many calls at once as the indexer has workers. Rounds of the two
// alternate, and the ratio of their best rounds counts. Then, what a second run costs a source.
//
//   indexer_benchmark VEXATHUMB [--photos N] [--others N] [--width W] [--rounds N] [--jobs N]
//                     [--unchanged N]

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/landscape.h"
#include "kit/run_tool.h"
#include "kit/temp_dir.h"

namespace vexathumb::bench {
namespace {

namespace fs = std::filesystem;

constexpr char kStore[] = ".vexaea";

struct Options {
  std::string program;
  int photos = 30;
  int others = 12;
  int width = 4000;
  int rounds = 3;
  int jobs = 2;
  int unchanged = 2000;
};

double SecondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

uintmax_t BytesIn(const std::string& folder, const std::string& name_begins) {
  uintmax_t bytes = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    if (entry.is_regular_file() && name.rfind(name_begins, 0) == 0) bytes += entry.file_size();
  }
  return bytes;
}

// One picture again and again: what is in it matters less than how many pixels it has.
void WriteAlbum(const Options& options, const std::string& folder,
                const std::vector<std::string>& extensions, int count) {
  fs::create_directory(folder);
  const kit::TempDir scene;
  kit::PaintLandscape(scene / "scene", {options.width, options.width * 3 / 4},
                      {1, {80, 120, 200}, {240, 200, 160}, {40, 60, 50}, 0.7F, 0.3F});
  for (const std::string& extension : extensions) {
    kit::RunTool({"/usr/bin/convert", "ppm:" + (scene / "scene"), "-quality",
                  extension == "png" ? "75" : "92", scene / ("picture." + extension)});
  }
  for (int i = 0; i < count; ++i) {
    const std::string& extension = extensions[static_cast<size_t>(i) % extensions.size()];
    fs::copy_file(scene / ("picture." + extension),
                  folder + "/" + std::to_string(i) + "." + extension);
  }
}

// A call for each size and each type of result, so many at once.
std::string VipsCommand(const Options& options, const std::string& album,
                        const std::string& target) {
  std::string command =
      "cd " + album + " && VIPS_CONCURRENCY=1 && export VIPS_CONCURRENCY && ls | ";
  command +=
      "sed 's/.*\\.//' | sort -u | while read -r type; do for size in 1280 640 360 120; do "
      "echo $type $size; done; done | xargs -P " +
      std::to_string(options.jobs) +
      " -L 1 sh -c 'case $0 in png) to=png ;; *) to=jpg[Q=85,strip] ;; esac; "
      "vipsthumbnail --size $1x$1 -o " +
      target + "/%s_$0_$1.$to *.$0'";
  return command;
}

void Compare(const Options& options, const std::string& title,
             const std::vector<std::string>& extensions, int count) {
  if (count == 0) return;
  const kit::TempDir folder;
  const std::string album = folder / "album";
  const std::string target = folder / "vips";
  WriteAlbum(options, album, extensions, count);
  std::vector<double> own;
  std::vector<double> vips;
  for (int round = 0; round < options.rounds; ++round) {
    fs::remove_all(album + "/" + kStore);
    own.push_back(SecondsOf([&] {
      kit::RunTool({options.program, "build", album, "--jobs", std::to_string(options.jobs)});
    }));
    fs::remove_all(target);
    fs::create_directory(target);
    vips.push_back(SecondsOf([&] {
      kit::RunTool({"/bin/sh", "-c", VipsCommand(options, album, target)});
    }));
  }
  const double own_best = *std::min_element(own.begin(), own.end());
  const double vips_best = *std::min_element(vips.begin(), vips.end());
  const auto own_bytes = static_cast<double>(BytesIn(album + "/" + kStore, "VEXAFILE_THUMB_"));
  const auto vips_bytes = static_cast<double>(BytesIn(target, ""));
  std::printf("%-24s %3d files  vexathumb %6.2f s  vipsthumbnail %6.2f s  time %.2f  bytes %.2f\n",
              title.c_str(), count, own_best, vips_best, own_best / vips_best,
              own_bytes / vips_bytes);
  std::fflush(stdout);
}

int CountSystemCalls(const Options& options, const std::string& album) {
  const kit::TempDir folder;
  const std::string calls = folder / "calls";
  kit::RunTool({"/usr/bin/strace", "-f", "-c", "-U", "calls,name", "-o", calls, options.program,
                "build", album});
  return std::stoi(kit::RunTool({"/usr/bin/awk", "$2 == \"total\" { print $1 }", calls}));
}

void MeasureSecondRun(const Options& options) {
  if (options.unchanged == 0) return;
  const kit::TempDir folder;
  const std::string album = folder / "album";
  fs::create_directory(album);
  kit::WriteJpeg(folder / "a.jpg", {{160, 120}});
  const std::string photo = kit::ReadFile(folder / "a.jpg");
  for (int i = 0; i < options.unchanged; ++i) {
    kit::WriteFile(album + "/" + std::to_string(i) + ".jpg", photo);
  }
  kit::RunTool({options.program, "build", album});
  const double seconds = SecondsOf([&] { kit::RunTool({options.program, "build", album}); });
  std::printf("%-24s %3d files  %.0f us a file", "second run", options.unchanged,
              seconds * 1e6 / options.unchanged);
  if (fs::exists("/usr/bin/strace")) {
    std::printf(", %.1f system calls a file",
                static_cast<double>(CountSystemCalls(options, album)) / options.unchanged);
  }
  std::printf("\n");
}

int Run(int argc, char** argv) {
  Options options;
  CLI::App app("Measures the indexer");
  app.add_option("VEXATHUMB", options.program)->required();
  app.add_option("--photos", options.photos);
  app.add_option("--others", options.others);
  app.add_option("--width", options.width);
  app.add_option("--rounds", options.rounds);
  app.add_option("--jobs", options.jobs);
  app.add_option("--unchanged", options.unchanged);
  CLI11_PARSE(app, argc, argv);
  if (!fs::exists("/usr/bin/vipsthumbnail")) {
    std::fprintf(stderr, "vipsthumbnail is missing; install libvips-tools\n");
    return 1;
  }
  std::printf("load average before: %s", kit::ReadFile("/proc/loadavg").c_str());
  Compare(options, "JPEG", {"jpg"}, options.photos);
  Compare(options, "PNG, TIFF, HEIC, WebP", {"png", "tif", "heic", "webp"}, options.others);
  MeasureSecondRun(options);
  return 0;
}

}  // namespace
}  // namespace vexathumb::bench

int main(int argc, char** argv) { return vexathumb::bench::Run(argc, argv); }
