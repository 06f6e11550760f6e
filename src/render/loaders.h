#ifndef VEXATHUMB_RENDER_LOADERS_H_
#define VEXATHUMB_RENDER_LOADERS_H_

#include <string>
#include <vips/vips8>

namespace vexathumb::render {

struct Loader {
  const char* name;      // the decoder's class
  const char* type;      // MIME
  bool turns_by_itself;  // what it gives is upright, and says nothing of how it was stored
  bool has_frames;       // what it calls pages are pictures, and not one in several resolutions
  bool fills_up;         // it gives what is missing of a picture one colour
  bool scales_by_two;    // or by 4 or 8, as it decodes
};

// Lets nothing be decoded but what Loader has a row for, whatever is installed.
void AllowLoaders();

// The types of which this release of the decoders has a loader, a line each.
std::string InstalledTypes();

// The one that takes the content; null where none is allowed to.
const Loader* LoaderFor(const vips::VSource& source);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_LOADERS_H_
