#include "bindings/c/picture.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string>
#include <system_error>

#include "bindings/c/no_throw.h"
#include "posix/write_all.h"
#include "service/base/output_file.h"
#include "service/base/source_path.h"

namespace {

using vexathumb::c::NoThrow;

// How many bytes there are from `offset` on, up to `size`; throws std::system_error.
size_t ReadAt(int file, uint64_t offset, char* buffer, size_t size) {
  size_t count = 0;
  while (count < size && offset + count <= LLONG_MAX) {
    const ssize_t part =
        pread(file, buffer + count, size - count, static_cast<off_t>(offset + count));
    if (part < 0 && errno == EINTR) continue;
    if (part < 0) throw std::system_error(errno, std::generic_category());
    if (part == 0) break;
    count += static_cast<size_t>(part);
  }
  return count;
}

}  // namespace

void vexathumb_picture_free(VexathumbPicture* picture) { delete picture; }

const char* vexathumb_picture_path(const VexathumbPicture* picture) {
  return picture == nullptr ? nullptr : picture->path.c_str();
}

bool vexathumb_picture_is_temporary(const VexathumbPicture* picture) {
  return picture != nullptr && picture->is_temporary;
}

const char* vexathumb_picture_mime(const VexathumbPicture* picture) {
  return picture == nullptr ? nullptr : picture->mime.c_str();
}

VexathumbOrigin vexathumb_picture_origin(const VexathumbPicture* picture) {
  return picture == nullptr ? VEXATHUMB_ORIGIN_TO_BE_MADE : picture->origin;
}

bool vexathumb_picture_is_damaged(const VexathumbPicture* picture) {
  return picture != nullptr && picture->is_damaged;
}

uint64_t vexathumb_picture_bytes(const VexathumbPicture* picture) {
  return picture == nullptr ? 0 : picture->bytes;
}

VexathumbStatus vexathumb_picture_size(const VexathumbPicture* picture, uint32_t* width,
                                       uint32_t* height) {
  if (picture == nullptr || width == nullptr || height == nullptr) return VEXATHUMB_INVALID;
  return NoThrow([&] {
    const std::lock_guard<std::mutex> lock(picture->mutex);
    if (!picture->has_looked_at_pixels) {
      picture->pixels = vexathumb::service::DisplayedPixels("/proc/self/fd/" +
                                                            std::to_string(picture->file.get()));
      picture->has_looked_at_pixels = true;
    }
    if (!picture->pixels) return VEXATHUMB_UNUSABLE;
    *width = picture->pixels->width;
    *height = picture->pixels->height;
    return VEXATHUMB_OK;
  });
}

int vexathumb_picture_descriptor(const VexathumbPicture* picture) {
  return picture == nullptr ? -1 : picture->file.get();
}

VexathumbStatus vexathumb_picture_read(const VexathumbPicture* picture, uint64_t offset,
                                       void* buffer, size_t size, size_t* count) {
  if (picture == nullptr || (buffer == nullptr && size > 0) || count == nullptr) {
    return VEXATHUMB_INVALID;
  }
  return NoThrow([&] {
    *count = ReadAt(picture->file.get(), offset, static_cast<char*>(buffer), size);
    return VEXATHUMB_OK;
  });
}

VexathumbStatus vexathumb_picture_load(const VexathumbPicture* picture, void** bytes,
                                       size_t* size) {
  if (picture == nullptr || bytes == nullptr || size == nullptr) return VEXATHUMB_INVALID;
  return NoThrow([&] {
    std::unique_ptr<char, void (*)(void*)> memory(
        static_cast<char*>(malloc(std::max<size_t>(picture->bytes, 1))), &free);
    if (memory == nullptr) return VEXATHUMB_NO_MEMORY;
    *size = ReadAt(picture->file.get(), 0, memory.get(), picture->bytes);
    *bytes = memory.release();
    return VEXATHUMB_OK;
  });
}

VexathumbStatus vexathumb_picture_save(const VexathumbPicture* picture, const char* path) {
  if (picture == nullptr || path == nullptr || path[0] == '\0') return VEXATHUMB_INVALID;
  return NoThrow([&] {
    constexpr size_t kPart = size_t{1} << 16U;
    std::string buffer(kPart, '\0');
    vexathumb::service::OutputFile file(vexathumb::service::AbsolutePath(path));
    size_t count = 0;
    for (uint64_t offset = 0;
         (count = ReadAt(picture->file.get(), offset, buffer.data(), kPart)) > 0; offset += count) {
      if (!vexathumb::posix::WriteAll(file.descriptor(), buffer.data(), count)) {
        throw std::system_error(errno, std::generic_category());
      }
    }
    file.Commit();
    return VEXATHUMB_OK;
  });
}
