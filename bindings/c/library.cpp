#include <cstdlib>

#include "bindings/c/no_throw.h"
#include "bindings/c/vexathumb.h"
#include "service/base/version.h"
#include "service/picture/metadata_process.h"
#include "service/picture/picture_renderer.h"
#include "service/serve/upkeep.h"

const char* vexathumb_version() { return vexathumb::service::kVersion; }

const char* vexathumb_status_name(VexathumbStatus status) {
  switch (status) {
    case VEXATHUMB_OK:
      return "ok";
    case VEXATHUMB_INVALID:
      return "invalid";
    case VEXATHUMB_MISSING:
      return "missing";
    case VEXATHUMB_NOT_STORED:
      return "not stored";
    case VEXATHUMB_UNUSABLE:
      return "unusable";
    case VEXATHUMB_SOURCE_CHANGED:
      return "source changed";
    case VEXATHUMB_OVERLOAD:
      return "overload";
    case VEXATHUMB_POSTPONED:
      return "postponed";
    case VEXATHUMB_SYSTEM:
      return "system";
    case VEXATHUMB_NO_MEMORY:
      return "no memory";
  }
  return "unknown";
}

VexathumbStatus vexathumb_prepare() {
  return vexathumb::c::NoThrow([] {
    vexathumb::render::Renderer* const renderer = vexathumb::service::PictureRenderer();
    if (renderer != nullptr) renderer->Start();
    return vexathumb::service::PrepareMetadataProcess() ? VEXATHUMB_OK : VEXATHUMB_SYSTEM;
  });
}

void vexathumb_maintain() {
  vexathumb::service::EvictNotedFreeBoxes();
  vexathumb::service::SweepLeftoversHourly();
}

void vexathumb_free(void* memory) { free(memory); }
