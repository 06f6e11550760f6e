#include "service/bmp_data.h"

#include <fstream>

namespace vexathumb::service {

bool HoldsBmpData(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  char magic[2] = {};
  return file.read(magic, sizeof(magic)) && magic[0] == 'B' && magic[1] == 'M';
}

}  // namespace vexathumb::service
