#ifndef VEXATHUMB_BINDINGS_C_REQUEST_H_
#define VEXATHUMB_BINDINGS_C_REQUEST_H_

#include <chrono>
#include <optional>
#include <string>

#include "bindings/c/vexathumb.h"
#include "service/build/thumbnail_request.h"

// What is behind the pointers that the C interface hands out.
struct VexathumbRequest {
  vexathumb::service::ThumbnailRequest asked;  // with its source, unless that lies in a share
  std::optional<std::string> share;            // by name
  std::string path_in_share;
  bool has_size = false;
  bool try_again = false;
  std::optional<int> patience;  // seconds; negative for any time

  // Of the last call.
  std::string message;
  std::string advice;
  std::chrono::seconds retry_after{0};
};

#endif  // VEXATHUMB_BINDINGS_C_REQUEST_H_
