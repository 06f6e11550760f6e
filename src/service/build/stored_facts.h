#ifndef VEXATHUMB_SERVICE_BUILD_STORED_FACTS_H_
#define VEXATHUMB_SERVICE_BUILD_STORED_FACTS_H_

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "service/picture/source_facts.h"

namespace vexathumb::service {

// What the metadata of a source say, by the mark of a stored thumbnail of one of these sizes
// (source_mark.h): that costs a fraction of reading them, and is as good for finding out what is
// stored. Nothing where no thumbnail tells. `source` is its status of now.
std::optional<SourceFacts> StoredFacts(const std::string& path, const struct stat& source,
                                       const std::vector<std::string>& labels);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_BUILD_STORED_FACTS_H_
