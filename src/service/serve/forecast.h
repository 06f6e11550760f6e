#ifndef VEXATHUMB_SERVICE_SERVE_FORECAST_H_
#define VEXATHUMB_SERVICE_SERVE_FORECAST_H_

#include <string>
#include <vector>

#include "service/picture/embedded_previews.h"
#include "service/picture/inspection.h"

namespace vexathumb::service {

// A place in the store where an application keeps a thumbnail of one size.
struct StoreEntry {
  std::string application;  // "Pixdeck", "Pixdeck, former scheme", "Docdeck", "Avatar", "Reeldeck"
  std::string path;         // empty when the store has none for this source
  bool exists = false;
  bool is_current = false;  // carries the source's modification time
};

struct Forecast {
  std::string from;    // as the library would name it; empty when there would be no thumbnail
  std::string output;  // the path; empty for results that are not kept
  std::string why;
};

// The entries of one size label but "original", which has none.
std::vector<StoreEntry> StoreEntriesFor(const InspectedSource& source, const std::string& label);

// What a request for the label with both stores and no further option would be answered with, told
// without making it. Tools that fail are not foreseen.
Forecast ForecastFor(const InspectedSource& source, const std::string& label,
                     const std::vector<EmbeddedPreview>& previews);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_FORECAST_H_
