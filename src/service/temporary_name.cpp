#include "service/temporary_name.h"

#include <unistd.h>

#include <ctime>

namespace vexathumb::service {

std::string TemporaryBeside(const std::string& path) {
  return path + "_" + std::to_string(getpid()) + "_" + std::to_string(time(nullptr));
}

}  // namespace vexathumb::service
