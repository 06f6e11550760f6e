// The pictures that consumers of the installed libraries are tried with.
//   make_pictures FOLDER
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <filesystem>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"

int main(int argc, char** argv) try {
  namespace kit = vexathumb::kit;
  if (argc != 2) return 2;
  const std::string folder = std::string(argv[1]) + "/";
  for (const char* name : {"large.jpg", "other.jpg", "threads.jpg", "host.jpg", "python.jpg"}) {
    kit::WriteJpeg(folder + name, {{1600, 1200}});
  }
  kit::JpegOptions with_preview;
  with_preview.size = {1600, 1200};
  with_preview.exif_thumbnail = {160, 120};
  kit::WriteJpeg(folder + "preview.jpg", with_preview);
  const std::string whole = kit::ReadFile(folder + "large.jpg");
  kit::WriteFile(folder + "cut.jpg", whole.substr(0, whole.size() * 3 / 4));
  kit::WriteFile(folder + "broken.jpg", whole.substr(0, 400) + std::string(2000, 'x'));
  kit::WriteFile(folder + "text.jpg", "This is no picture.\n");
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".jpg") kit::Age(entry.path());
  }
  std::filesystem::create_symlink("large.jpg", folder + "link.jpg");
  return 0;
} catch (const std::exception& error) {
  fprintf(stderr, "make_pictures: %s\n", error.what());
  return 1;
}
