// How alike pictures of one size look: picture_ssim ONE OTHER [ONE OTHER]... prints a line a pair.

#include <cstdio>
#include <exception>

#include "kit/pictures/ssim.h"

int main(int argc, char** argv) {
  if (argc < 3 || argc % 2 == 0) {
    std::fprintf(stderr, "usage: %s ONE OTHER [ONE OTHER]...\n", argv[0]);
    return 2;
  }
  try {
    for (int i = 1; i < argc; i += 2) {
      std::printf("%.6f\n", vexathumb::kit::Ssim(argv[i], argv[i + 1]));
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "picture_ssim: %s\n", error.what());
    return 1;
  }
  return 0;
}
