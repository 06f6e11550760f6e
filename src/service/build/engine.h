#ifndef VEXATHUMB_SERVICE_BUILD_ENGINE_H_
#define VEXATHUMB_SERVICE_BUILD_ENGINE_H_

#include <string>
#include <vector>

#include "service/build/build_settings.h"
#include "service/build/thumbnail_request.h"

namespace vexathumb::service {

// What makes the pictures of a source.
enum class Engine {
  kRenderer,  // vexathumb-render (rendering.h)
  kDjpeg,     // the first of the library's commands for a JPEG (tool_pictures.h)
  kTools,     // all of them
};

// The engines for a request, the first one first; the other takes its place where it makes nothing
// of the source. `info` is the request's description.
std::vector<Engine> EnginesFor(const ThumbnailRequest& request, const ThumbInfo& info,
                               const BuildOptions& options);

// Has the renderer started, without waiting for it, if the request will need it as far as its name
// tells.
void PrepareEngine(const ThumbnailRequest& request);

// A row of the table by which they are chosen.
struct EngineChoice {
  const char* type;  // MIME type
  const char* name;  // as people know it
  Engine engine;
  const char* because;
};

// In the order in which people meet them.
const std::vector<EngineChoice>& EngineChoices();

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_ENGINE_H_
