// What somebody else's program looks like: installed headers and libraries only.
#include <cstdio>

#include "http/http_file_responder.h"
#include "thumb/libvexathumb.h"
#include "vexa/ea.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  char directory[4096];
  if (VEXAEADirPath(EATYPE_VEXAEA, argv[1], directory, sizeof(directory)) != 0) return 1;
  try {
    vexathumb::Thumb thumb(argv[1], vexathumb::Thumb::ALL_EA | vexathumb::Thumb::EA_ONLY);
    const std::string file = thumb.CalcOutputFile(vexathumb::kOriginal);
    std::printf("%s from %s\n", file.c_str(), thumb.GetOutputType().c_str());
    return file == argv[1] ? 0 : 1;
  } catch (const vexathumb::Error& error) {
    std::printf("%s\n", error.what());
    return error.Code() == vexathumb::Error::kInternalError ? 3 : 1;
  }
}
