// make-sample-album DIR: a folder of pictures to try the thumbnails on. What is there already is
// left alone; each file appears under its name only when it is complete. A picture that this
// machine's tools cannot make is left out, which is said: libheif comes without an encoder on some.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/landscape.h"
#include "kit/pictures/picture_drawing.h"
#include "kit/run_tool.h"
#include "kit/temp_dir.h"

namespace vexathumb::sample_album {
namespace {

constexpr char kConvert[] = "/usr/bin/convert";
constexpr char kFont[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf";
constexpr kit::Size kPhotograph = {3504, 2336};

using Arguments = std::vector<std::string>;

const std::vector<kit::Scene> kScenes = {
    {1, {58, 98, 160}, {246, 214, 176}, {22, 44, 52}, 0.70F, 0.30F},
    {2, {88, 60, 120}, {250, 170, 130}, {36, 24, 52}, 0.30F, 0.34F},
    {3, {96, 158, 214}, {226, 238, 244}, {24, 70, 56}, 0.82F, 0.14F},
    {4, {196, 88, 70}, {252, 206, 120}, {58, 22, 34}, 0.52F, 0.36F},
    {5, {40, 70, 110}, {150, 190, 200}, {14, 34, 44}, 0.18F, 0.20F},
    {6, {120, 140, 190}, {248, 226, 226}, {50, 50, 86}, 0.64F, 0.22F},
    {7, {70, 130, 150}, {240, 232, 190}, {30, 60, 40}, 0.38F, 0.28F},
    {8, {30, 34, 74}, {214, 120, 120}, {12, 14, 32}, 0.58F, 0.40F},
    {9, {104, 176, 220}, {250, 236, 210}, {46, 84, 60}, 0.22F, 0.16F},
    {10, {150, 100, 140}, {255, 214, 170}, {70, 40, 60}, 0.76F, 0.32F},
    {11, {84, 120, 90}, {238, 236, 200}, {26, 50, 30}, 0.46F, 0.24F},
};

// What the album shows first: pictures without words.
struct View {
  const char* name;
  kit::Size size;
  kit::Scene scene;
};
constexpr kit::Size kAcross = {1800, 1200};
constexpr kit::Size kUpright = {1200, 1600};
constexpr kit::Size kWide = {2400, 1040};

const std::vector<View> kViews = {
    {"Before the rain.jpg",
     kAcross,
     {21, {70, 84, 104}, {196, 204, 208}, {22, 34, 40}, 0.30F, 0.12F}},
    {"Far ridges.jpg", kWide, {22, {92, 140, 196}, {240, 226, 206}, {24, 48, 74}, 0.70F, 0.26F}},
    {"First light.jpg",
     kAcross,
     {23, {110, 150, 200}, {255, 218, 188}, {36, 52, 84}, 0.42F, 0.30F}},
    {"Morning.jpg", kUpright, {24, {120, 186, 220}, {252, 240, 214}, {20, 74, 66}, 0.66F, 0.22F}},
    {"Noon.jpg", kAcross, {25, {60, 138, 212}, {214, 236, 246}, {18, 68, 52}, 0.80F, 0.10F}},
    {"Northern shore.jpg",
     kAcross,
     {26, {44, 96, 130}, {182, 220, 214}, {12, 46, 52}, 0.24F, 0.18F}},
    {"Quiet water.jpg",
     kUpright,
     {27, {84, 112, 150}, {234, 220, 220}, {34, 40, 70}, 0.36F, 0.28F}},
    {"evenings/Afterglow.jpg",
     kWide,
     {31, {52, 48, 104}, {248, 158, 118}, {28, 18, 46}, 0.60F, 0.38F}},
    {"evenings/Blue hour.jpg",
     kAcross,
     {32, {18, 30, 76}, {120, 150, 206}, {8, 14, 38}, 0.20F, 0.30F}},
    {"evenings/Last light.jpg",
     kUpright,
     {33, {120, 70, 110}, {255, 190, 130}, {48, 22, 44}, 0.56F, 0.34F}},
    {"evenings/Red sky.jpg",
     kAcross,
     {34, {150, 50, 62}, {255, 196, 110}, {46, 14, 28}, 0.46F, 0.36F}},
    {"winter/Clear morning.jpg",
     kAcross,
     {41, {96, 166, 226}, {244, 248, 252}, {74, 110, 148}, 0.72F, 0.16F}},
    {"winter/Frost.jpg",
     kUpright,
     {42, {150, 180, 206}, {246, 240, 240}, {92, 116, 140}, 0.40F, 0.24F}},
    {"winter/Short day.jpg",
     kWide,
     {43, {110, 132, 176}, {252, 226, 204}, {60, 80, 116}, 0.28F, 0.32F}},
};

void WriteView(const std::string& path, const View& view) {
  const kit::TempDir dir;
  kit::PaintLandscape(dir / "scene.ppm", view.size, view.scene);
  kit::RunTool({kConvert, dir / "scene.ppm", "-quality", "88", "jpeg:" + path});
}

// A scene with words in its sky, stored for the orientation.
void WritePhotograph(const std::string& target, const kit::Size& size, const kit::Scene& scene,
                     const std::string& words, int orientation) {
  const kit::TempDir dir;
  kit::PaintLandscape(dir / "scene.ppm", size, scene);
  const std::string letter_height = std::to_string(std::min(size.width / 18, size.height / 14));
  Arguments argv = {kConvert,     dir / "scene.ppm", "-font",     kFont,
                    "-pointsize", letter_height,     "-gravity",  "North",
                    "-fill",      "#ffffffd0",       "-annotate", "+0+" + letter_height,
                    words};
  const Arguments storing = kit::StoringOptions(orientation);
  argv.insert(argv.end(), storing.begin(), storing.end());
  argv.insert(argv.end(), {"+repage", "-quality", "88", target});
  kit::RunTool(argv);
}

void WriteOriented(const std::string& path, int orientation) {
  const std::string number = std::to_string(orientation);
  WritePhotograph("jpeg:" + path, kPhotograph, kScenes[static_cast<size_t>(orientation - 1)],
                  "orientation " + number + " - this side up", orientation);
  kit::AddExif(path, {{"Exif.Image.Orientation", number}});
}

void WriteWithPreview(const std::string& path) {
  const kit::TempDir dir;
  WritePhotograph("jpeg:" + path, kPhotograph, kScenes[8], "with a camera's preview", 1);
  kit::RunTool(
      {kConvert, path, "-resize", "570x380!", "-quality", "75", "jpeg:" + dir / "preview"});
  kit::AddExifThumbnail(path, dir / "preview");
}

void WriteWindow(const std::string& path) {
  const kit::TempDir dir;
  kit::PaintLandscape(dir / "scene.ppm", {2400, 1600}, kScenes[9]);
  kit::RunTool({kConvert, dir / "scene.ppm", "(", "-size", "2400x1600", "xc:black", "-fill",
                "white", "-draw", "roundrectangle 150,150 2249,1449 400,400", ")", "-alpha", "off",
                "-compose", "CopyOpacity", "-composite", "-quality", "15", "png:" + path});
}

void WriteSunset(const std::string& path) {
  constexpr int kFrames = 12;
  const kit::TempDir dir;
  Arguments argv = {kConvert, "-delay", "12", "-loop", "0"};
  for (int frame = 0; frame < kFrames; ++frame) {
    kit::Scene scene = kScenes[3];
    scene.sun_y = 0.1F + 0.35F * static_cast<float>(frame) / kFrames;
    argv.push_back(dir / (std::to_string(frame) + ".ppm"));
    kit::PaintLandscape(argv.back(), {640, 427}, scene);
  }
  argv.insert(argv.end(), {"-layers", "optimize", "gif:" + path});
  kit::RunTool(argv);
}

void WritePhonePicture(const std::string& path) {
  constexpr int kOrientation = 6;
  const kit::TempDir dir;
  WritePhotograph("jpeg:" + dir / "picture", {2448, 3264}, kScenes[4], "from a phone (HEIC)",
                  kOrientation);
  kit::AddExif(dir / "picture", {{"Exif.Image.Orientation", std::to_string(kOrientation)}});
  kit::WriteHeicOf(path, dir / "picture", kOrientation);
}

void WriteRaw(const std::string& path) {
  const kit::TempDir dir;
  WritePhotograph("jpeg:" + dir / "picture", kPhotograph, kScenes[10], "raw camera file (DNG)", 1);
  kit::RunTool({kConvert, dir / "picture", "-resize", "1620x1080!", "jpeg:" + dir / "preview"});
  kit::WriteDngOf(path, dir / "picture", dir / "preview");
}

struct Entry {
  std::string name;
  std::function<void(const std::string& path)> write;
};

std::vector<Entry> AlbumEntries() {
  std::vector<Entry> entries;
  for (int orientation = 1; orientation <= 8; ++orientation) {
    entries.push_back(
        {"orientation-" + std::to_string(orientation) + ".jpg",
         [orientation](const std::string& path) { WriteOriented(path, orientation); }});
  }
  entries.push_back({"camera-preview.jpg", WriteWithPreview});
  entries.push_back({"window.png", WriteWindow});
  entries.push_back({"sunset.gif", WriteSunset});
  entries.push_back({"phone.heic", WritePhonePicture});
  entries.push_back({"raw.dng", WriteRaw});
  for (const View& view : kViews) {
    entries.push_back({view.name, [&view](const std::string& path) { WriteView(path, view); }});
  }
  entries.push_back({"notes.jpg", [](const std::string& path) {
                       kit::WriteFile(path, "Not a picture, whatever its name says.\n");
                     }});
  return entries;
}

void MakeAlbum(const std::string& folder) {
  for (const Entry& entry : AlbumEntries()) {
    const std::filesystem::path path = folder + "/" + entry.name;
    if (std::filesystem::exists(path)) continue;
    std::filesystem::create_directories(path.parent_path());
    const std::string unfinished = path.parent_path() / ("." + path.filename().string() + ".part");
    try {
      entry.write(unfinished);
    } catch (const kit::ToolFailure& failure) {
      std::filesystem::remove(unfinished);
      std::fprintf(stderr, "%s left out: %s\n", entry.name.c_str(), failure.Reason().c_str());
      continue;
    }
    std::filesystem::rename(unfinished, path);
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);
  }
}

}  // namespace
}  // namespace vexathumb::sample_album

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make-sample-album DIR\n");
    return 2;
  }
  try {
    vexathumb::sample_album::MakeAlbum(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make-sample-album: %s\n", error.what());
    return 1;
  }
  return 0;
}
