#include "bindings/c/request.h"

#include <cerrno>
#include <memory>

#include "bindings/c/no_throw.h"
#include "service/base/source_path.h"

namespace {

using vexathumb::Thumb;
using vexathumb::ThumbDimension;
using vexathumb::c::NoThrow;

// Null with errno.
template <typename Describe>
VexathumbRequest* MakeRequest(const char* path, Describe describe) {
  if (path == nullptr || path[0] == '\0') {
    errno = EINVAL;
    return nullptr;
  }
  VexathumbRequest* request = nullptr;
  const VexathumbStatus status = NoThrow([&] {
    auto made = std::make_unique<VexathumbRequest>();
    describe(made.get());
    request = made.release();
    return VEXATHUMB_OK;
  });
  if (status != VEXATHUMB_OK) errno = ENOMEM;
  return request;
}

}  // namespace

VexathumbRequest* vexathumb_request_new(const char* path) {
  return MakeRequest(path, [path](VexathumbRequest* request) {
    request->asked.source = vexathumb::service::AbsolutePath(path);
  });
}

VexathumbRequest* vexathumb_request_new_in_share(const char* share, const char* path) {
  return MakeRequest(share == nullptr ? nullptr : path, [share, path](VexathumbRequest* request) {
    request->share = share;
    request->path_in_share = path;
  });
}

void vexathumb_request_free(VexathumbRequest* request) { delete request; }

VexathumbStatus vexathumb_request_set_size(VexathumbRequest* request, const char* size) {
  if (request == nullptr || size == nullptr) return VEXATHUMB_INVALID;
  return NoThrow([&] {
    const auto found = Thumb::strThumbSizeMap_.find(size);
    if (found == Thumb::strThumbSizeMap_.end()) return VEXATHUMB_INVALID;
    request->asked.label = found->first;
    request->asked.box = found->second;
    request->has_size = true;
    return VEXATHUMB_OK;
  });
}

VexathumbStatus vexathumb_request_set_box(VexathumbRequest* request, uint32_t width,
                                          uint32_t height) {
  static_assert(VEXATHUMB_LARGEST_SIDE == vexathumb::service::kLargestSide);
  const auto is_side = [](uint32_t side) { return side >= 1 && side <= VEXATHUMB_LARGEST_SIDE; };
  if (request == nullptr || !is_side(width) || !is_side(height)) return VEXATHUMB_INVALID;
  request->asked.label.clear();
  request->asked.box = ThumbDimension(width, height);
  request->has_size = true;
  return VEXATHUMB_OK;
}

void vexathumb_request_set_fill(VexathumbRequest* request, bool fill) {
  if (request != nullptr) request->asked.avatar = fill;
}

void vexathumb_request_set_turns(VexathumbRequest* request, int quarter_turns) {
  if (request != nullptr) request->asked.turns = ((quarter_turns % 4) + 4) % 4;
}

VexathumbStatus vexathumb_request_set_stores(VexathumbRequest* request, unsigned stores) {
  constexpr unsigned kAll = VEXATHUMB_STORE_PIXDECK | VEXATHUMB_STORE_DOCDECK;
  if (request == nullptr || (stores & ~kAll) != 0) return VEXATHUMB_INVALID;
  request->asked.pixdeck = (stores & VEXATHUMB_STORE_PIXDECK) != 0;
  request->asked.docdeck = (stores & VEXATHUMB_STORE_DOCDECK) != 0;
  return VEXATHUMB_OK;
}

void vexathumb_request_set_any_share(VexathumbRequest* request, bool any_share) {
  if (request != nullptr) request->asked.any_share = any_share;
}

void vexathumb_request_set_may_build(VexathumbRequest* request, bool may_build) {
  if (request != nullptr) request->asked.only_stored = !may_build;
}

void vexathumb_request_set_allow_smaller(VexathumbRequest* request, bool allow_smaller) {
  if (request != nullptr) request->asked.allow_smaller = allow_smaller;
}

void vexathumb_request_set_animated(VexathumbRequest* request, bool animated) {
  if (request != nullptr) request->asked.animated_gif = animated;
}

void vexathumb_request_set_try_again(VexathumbRequest* request, bool try_again) {
  if (request != nullptr) request->try_again = try_again;
}

void vexathumb_request_set_patience(VexathumbRequest* request, int seconds) {
  if (request != nullptr) request->patience = seconds;
}

const char* vexathumb_request_error_message(const VexathumbRequest* request) {
  return request == nullptr ? "" : request->message.c_str();
}

const char* vexathumb_request_error_advice(const VexathumbRequest* request) {
  return request == nullptr ? "" : request->advice.c_str();
}

int64_t vexathumb_request_retry_after(const VexathumbRequest* request) {
  return request == nullptr ? 0 : request->retry_after.count();
}
