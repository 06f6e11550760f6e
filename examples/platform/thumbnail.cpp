// The library on the platform of my_platform.cpp: prints where a photo's thumbnail lies.
#include <cstdio>
#include <exception>
#include <filesystem>

#include "thumb/libvexathumb.h"

int main(int argc, char** argv) try {
  if (argc != 2) return 2;
  vexathumb::Thumb thumb(std::filesystem::absolute(argv[1]), vexathumb::Thumb::ALL_EA);
  const std::string file = thumb.CalcOutputFile(vexathumb::kMedium);
  std::printf("%s\n", file.c_str());
  return file.empty() ? 1 : 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
