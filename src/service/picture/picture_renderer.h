#ifndef VEXATHUMB_SERVICE_PICTURE_PICTURE_RENDERER_H_
#define VEXATHUMB_SERVICE_PICTURE_PICTURE_RENDERER_H_

#include <optional>
#include <string>

#include "render/renderer.h"
#include "service/picture/source_facts.h"

namespace vexathumb::service {

// The renderer of this process, and of those that it forks: a program beside this one, or where it
// was installed. Null where it is not installed, where the settings want the tools alone (engine =
// tools), and while it cannot be started, which is logged once. Started by its first job. Callable
// from any thread.
render::Renderer* PictureRenderer();

// Has the processes that this one will fork share one renderer, which StartRendererIfWanted()
// starts when the first of them wants it: when something can be read from this descriptor. -1 where
// there is nothing to wait for (any more). Callable again and again.
int OfferRenderer();
void StartRendererIfWanted();

// Its path; empty where there is none.
std::string RendererProgram();

// Tries a job of nothing. Why even that cannot be done; nothing where it can, and where there is no
// renderer.
std::optional<std::string> WhyRendererCannotWork();

// What a job may take, by the settings.
render::JobLimits RendererLimits();

// The picture's type and pixels, as they are stored, by the renderer's loaders: of types that the
// library does not know. Nothing where they do not take the file either, or it only looks like a
// picture of those: a raw file is a TIFF as well. `file` is open for this alone.
std::optional<SourceFacts> FactsByRenderer(int file);

// How EXIF numbers the turning and mirroring, which the library applies in this order.
int ExifOrientation(int quarter_turns, bool flop);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_PICTURE_PICTURE_RENDERER_H_
