#include "fuzz/memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vexathumb::fuzz {

MemoryFile::MemoryFile()
    : fd_(memfd_create("fuzz", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(fd_)) {
  if (fd_ < 0) throw std::system_error(errno, std::generic_category(), "memfd_create");
}

MemoryFile::~MemoryFile() { close(fd_); }

void MemoryFile::SetContent(const uint8_t* data, size_t size) const {
  if (ftruncate(fd_, 0) != 0 || pwrite(fd_, data, size, 0) != static_cast<ssize_t>(size)) {
    throw std::system_error(errno, std::generic_category(), path_);
  }
}

}  // namespace vexathumb::fuzz
