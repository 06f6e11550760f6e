// Prints where the thumbnail of a photo lies, and has it made where it is missing.
//   thumbnail PHOTO [SIZE]
#include <cstdio>
#include <exception>
#include <filesystem>

#include "thumb/libvexathumb.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: thumbnail PHOTO [small|medium|big|large|xlarge]\n");
    return 2;
  }
  try {
    vexathumb::Thumb thumb(std::filesystem::absolute(argv[1]), vexathumb::Thumb::ALL_EA);
    const std::string file = thumb.CalcOutputFile(argc > 2 ? argv[2] : "big");
    if (file.empty()) {
      std::fprintf(stderr, "%s: no thumbnail can be made of it\n", argv[1]);
      return 1;
    }
    std::printf("%s\t%s\t%s\n", file.c_str(), thumb.GetOutputMimeType().c_str(),
                thumb.GetOutputType().c_str());
    return 0;
  } catch (const std::exception& error) {  // vexathumb::Error is one
    std::fprintf(stderr, "%s: %s\n", argv[1], error.what());
    return 1;
  }
}
