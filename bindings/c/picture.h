#ifndef VEXATHUMB_BINDINGS_C_PICTURE_H_
#define VEXATHUMB_BINDINGS_C_PICTURE_H_

#include <sys/types.h>
#include <unistd.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "bindings/c/vexathumb.h"
#include "posix/unique_fd.h"
#include "service/picture/displayed_pixels.h"

struct VexathumbPicture {
  VexathumbPicture() = default;
  VexathumbPicture(const VexathumbPicture&) = delete;
  VexathumbPicture& operator=(const VexathumbPicture&) = delete;
  ~VexathumbPicture() {
    if (is_temporary && owner == getpid()) unlink(path.c_str());
  }

  vexathumb::posix::UniqueFd file;
  std::string path;
  std::string mime;
  VexathumbOrigin origin = VEXATHUMB_ORIGIN_SOURCE;
  uint64_t bytes = 0;
  bool is_temporary = false;
  const pid_t owner = getpid();  // its forks have copies
  bool is_damaged = false;

  // Read when they are first asked for.
  mutable std::mutex mutex;
  mutable bool has_looked_at_pixels = false;
  mutable std::optional<vexathumb::service::Pixels> pixels;
};

#endif  // VEXATHUMB_BINDINGS_C_PICTURE_H_
