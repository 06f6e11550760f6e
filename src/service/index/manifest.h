#ifndef VEXATHUMB_SERVICE_INDEX_MANIFEST_H_
#define VEXATHUMB_SERVICE_INDEX_MANIFEST_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/index/source_feed.h"

namespace vexathumb::service {

// A frozen list of sources, cut into shards that cost about the same, for machines that share the
// work. docs/manifest-format.md describes the file.

// A manifest that cannot be used; one line without the file's name.
struct ManifestError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A shard of which no source is there, as on a machine that has not mounted them.
struct SourcesMissing : ManifestError {
  using ManifestError::ManifestError;
};

struct ManifestFigures {
  uint64_t shards = 0;
  uint64_t sources = 0;
  uint64_t bytes = 0;     // length of the sources
  uint32_t checksum = 0;  // of the header, which has those of all shards
};

// Writes all sources of a feed to `file`, in shards of at most `shard_size`, which is not 0. The
// file appears when it is complete. Memory: 16 bytes a source; the names wait on the disk. Items
// that are no sources are given to `on_unreadable`. Throws std::system_error.
ManifestFigures WriteManifest(const std::string& file, SourceFeed& sources, uint64_t shard_size,
                              const std::function<void(const SourceItem&)>& on_unreadable);

// Throws ManifestError, or std::system_error when the file cannot be read.
ManifestFigures ReadManifestFigures(const std::string& file);

// Where a folder of the machine that wrote the manifest lies on this one.
struct PathMapping {
  std::string from;
  std::string to;
};

// "FROM=TO" with absolute paths, divided at the first "=/"; nothing for anything else.
std::optional<PathMapping> ParsePathMapping(const std::string& text);

// The path under the first mapping that it lies below, or as it is.
std::string Mapped(const std::string& path, const std::vector<PathMapping>& mappings);

// Reads and checks one shard; they are numbered from 1. Throws ManifestError, SourcesMissing, or
// std::system_error when the file cannot be read.
std::vector<SourceItem> ReadShard(const std::string& file, uint64_t shard,
                                  const std::vector<PathMapping>& mappings);

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_INDEX_MANIFEST_H_
