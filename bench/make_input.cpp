// What bench/compare needs of its inputs and Debian's encoders do not do.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "bench/photograph.h"
#include "bench/size_option.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/landscape.h"

namespace vexathumb::bench {
namespace {

struct Wish {
  std::string path;
  std::string preview;
  std::string sensor;
  int orientation = 1;
  bool is_vivid = false;
  kit::Size size = kPhotographSize;
};

// Sunset in colours that show whether a profile was heeded. Grain would hide that: what is averaged
// in another light than the reference's differs, too.
kit::Scene VividScene() {
  kit::Scene scene = {1, {30, 60, 200}, {250, 130, 60}, {20, 110, 50}, 0.70F, 0.30F};
  scene.grain = 0;
  return scene;
}

// Declares the commands; each is run by the parser once its arguments are read into `wish`.
void AddCommands(CLI::App* app, Wish* wish) {
  CLI::App* const scene = app->add_subcommand("scene", "paints a landscape as a PPM");
  scene->add_option("PATH", wish->path)->required();
  AddPhotographSize(scene, &wish->size);
  scene->add_flag("--vivid", wish->is_vivid, "in strong colours, without grain");
  scene->final_callback([wish] {
    kit::PaintLandscape(wish->path, wish->size, wish->is_vivid ? VividScene() : PhotographScene());
  });

  CLI::App* const turn = app->add_subcommand("turn", "gives a picture an EXIF orientation");
  turn->add_option("PICTURE", wish->path)->required();
  turn->add_option("ORIENTATION", wish->orientation)->required()->check(CLI::Range(1, 8));
  turn->final_callback([wish] {
    kit::AddExif(wish->path, {{"Exif.Image.Orientation", std::to_string(wish->orientation),
                               Exiv2::invalidTypeId}});
  });

  CLI::App* const preview = app->add_subcommand("preview", "embeds a JPEG as EXIF thumbnail");
  preview->add_option("PICTURE", wish->path)->required();
  preview->add_option("JPEG", wish->preview)->required();
  preview->final_callback([wish] { kit::AddExifThumbnail(wish->path, wish->preview); });

  CLI::App* const raw = app->add_subcommand("dng", "makes a raw file of a picture and a preview");
  raw->add_option("PATH", wish->path)->required();
  raw->add_option("SENSOR", wish->sensor)->required();
  raw->add_option("JPEG", wish->preview)->required();
  raw->final_callback([wish] { kit::WriteDngOf(wish->path, wish->sensor, wish->preview); });
}

int Run(int argc, char** argv) {
  Wish wish;
  CLI::App app("Makes inputs of benchmarks");
  app.require_subcommand(1);
  AddCommands(&app, &wish);
  CLI11_PARSE(app, argc, argv);
  return 0;
}

}  // namespace
}  // namespace vexathumb::bench

int main(int argc, char** argv) {
  try {
    return vexathumb::bench::Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_input: %s\n", error.what());
    return 1;
  }
}
