#include "service/serve/served_thumbnail.h"

#include <unistd.h>

#include <cstdio>

#include "service/base/silenced_descriptor.h"
#include "service/base/source_path.h"

namespace vexathumb::service {
namespace {

bool Ask(Thumb& thumb, const LibraryRequest& request) {
  // What the tools complain of is not for whoever asked for a thumbnail.
  const SilencedDescriptor silent_tools(stderr);
  if (!request.box) return !thumb.CalcOutputFile(request.size).empty();
  // For a free box the library only offers to send the file.
  const SilencedDescriptor sent_nowhere(stdout);
  return thumb.Output(request.box->width, request.box->height);
}

}  // namespace

int WithinFullCircle(int64_t turns) { return static_cast<int>(((turns % 4) + 4) % 4); }

std::optional<ServedThumbnail> ServeThumbnail(const LibraryRequest& request) {
  // The photo-album application has no name for a free box.
  const int options = request.box ? request.options & ~Thumb::PIXDECK_EA : request.options;
  Thumb thumb(request.source, options);
  thumb.Rotate(request.turns);
  if (!Ask(thumb, request)) return std::nullopt;

  ServedThumbnail served;
  served.file = thumb.GetOutputFile();
  served.from = thumb.GetOutputType();
  served.mime = thumb.GetOutputMimeType();
  // After a preview that could not be stored the library names a file that is not there.
  if (served.from.empty() || access(served.file.c_str(), F_OK) != 0) return std::nullopt;

  if (served.from == "Pixdeck") served.turns_to_come = request.turns;
  // "To be deleted" stays set when an earlier, larger size was generated in vain, so it counts for
  // what generation makes only.
  const bool is_generated =
      served.from == "DocdeckVarTmp" || (served.from == "Docdeck" && thumb.IsNeedDelete());
  served.is_throw_away = is_generated && !IsSameFile(served.file, request.source);
  return served;
}

}  // namespace vexathumb::service
