#include "service/index/manifest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <system_error>
#include <thread>

#include "posix/unique_fd.h"
#include "service/base/output_file.h"

namespace vexathumb::service {
namespace {

constexpr char kFirstLine[] = "vexathumb-manifest 2\n";
constexpr uint64_t kMostShards = 1000000;

[[noreturn]] void ThrowErrno(const std::string& path) {
  throw std::system_error(errno, std::generic_category(), path);
}

uint32_t Checksum(const std::string& text) {
  return static_cast<uint32_t>(
      crc32_z(0, reinterpret_cast<const unsigned char*>(text.data()), text.size()));
}

std::string Hexadecimal(uint32_t checksum) {
  std::array<char, 9> text = {};
  snprintf(text.data(), text.size(), "%08" PRIx32, checksum);
  return text.data();
}

void WriteAt(int fd, const std::string& text, uint64_t offset, const std::string& path) {
  for (size_t done = 0; done < text.size();) {
    const ssize_t count =
        pwrite(fd, text.data() + done, text.size() - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) ThrowErrno(path);
    done += static_cast<size_t>(count);
  }
}

// Less than `length` at the end of the file.
std::string ReadUpTo(int fd, uint64_t offset, uint64_t length, const std::string& path) {
  std::string text(length, '\0');
  size_t done = 0;
  while (done < length) {
    const ssize_t count =
        pread(fd, text.data() + done, length - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) ThrowErrno(path);
    if (count == 0) break;
    done += static_cast<size_t>(count);
  }
  text.resize(done);
  return text;
}

std::string ReadAt(int fd, uint64_t offset, uint64_t length, const std::string& path) {
  std::string text = ReadUpTo(fd, offset, length, path);
  if (text.size() < length) throw ManifestError("is cut short");
  return text;
}

struct ShardLine {
  uint64_t offset = 0;
  uint64_t length = 0;
  uint64_t sources = 0;
  uint32_t checksum = 0;
};

// Of the same length whatever the numbers.
std::string HeaderText(const ManifestFigures& figures, const std::vector<ShardLine>& shards) {
  std::array<char, 128> line = {};
  std::string text = kFirstLine;
  snprintf(line.data(), line.size(),
           "shards %20" PRIu64 "\nsources %20" PRIu64 "\nbytes %20" PRIu64 "\n", figures.shards,
           figures.sources, figures.bytes);
  text += line.data();
  for (const ShardLine& shard : shards) {
    snprintf(line.data(), line.size(), "shard %20" PRIu64 " %20" PRIu64 " %20" PRIu64 " %s\n",
             shard.offset, shard.length, shard.sources, Hexadecimal(shard.checksum).c_str());
    text += line.data();
  }
  return text + "end " + Hexadecimal(Checksum(text)) + "\n";
}

uint32_t ChecksumOfHeader(const std::string& text) {
  return Checksum(text.substr(0, text.rfind("end ")));
}

// Seconds, and nine digits of a part of one.
std::string TimeText(const struct timespec& time) {
  std::array<char, 40> text = {};
  snprintf(text.data(), text.size(), "%jd.%09ld", static_cast<intmax_t>(time.tv_sec), time.tv_nsec);
  return text.data();
}

// The names of all sources, on the disk until they are sorted.
class Spool {
 public:
  struct Source {
    uint64_t offset;
    uint64_t bytes;
  };

  explicit Spool(std::string path) : path_(std::move(path)) {
    std::string name = path_ + ".XXXXXX";
    const size_t slash = path_.rfind('/');
    name = (slash == std::string::npos ? "" : path_.substr(0, slash + 1)) + ".vexathumb-XXXXXX";
    file_ = posix::UniqueFd(mkostemp(name.data(), O_CLOEXEC));
    if (!file_) ThrowErrno(path_);
    unlink(name.c_str());
  }

  void Add(const SourceItem& item) {
    const std::string record = std::to_string(item.bytes) + " " + TimeText(item.modified) + " " +
                               item.path + std::string(1, '\0');
    sources_.push_back({end_ + waiting_.size(), static_cast<uint64_t>(item.bytes)});
    waiting_ += record;
    if (waiting_.size() > kBuffer) Flush();
  }

  // Each record with its null byte.
  std::string Record(const Source& source) const {
    std::string record;
    while (record.find('\0') == std::string::npos) {
      std::array<char, 4096> part = {};
      const ssize_t count = pread(file_.get(), part.data(), part.size(),
                                  static_cast<off_t>(source.offset + record.size()));
      if (count <= 0) ThrowErrno(path_);
      record.append(part.data(), static_cast<size_t>(count));
    }
    record.resize(record.find('\0') + 1);
    return record;
  }

  std::vector<Source> TakeLargestFirst() {
    Flush();
    std::stable_sort(sources_.begin(), sources_.end(),
                     [](const Source& a, const Source& b) { return a.bytes > b.bytes; });
    return std::move(sources_);
  }

 private:
  static constexpr size_t kBuffer = 1 << 20;

  void Flush() {
    WriteAt(file_.get(), waiting_, end_, path_);
    end_ += waiting_.size();
    waiting_.clear();
  }

  std::string path_;
  posix::UniqueFd file_;
  std::string waiting_;
  uint64_t end_ = 0;
  std::vector<Source> sources_;
};

void Collect(SourceFeed& sources, Spool* spool,
             const std::function<void(const SourceItem&)>& on_unreadable) {
  while (!sources.AtEnd()) {
    const auto item = sources.Next();
    if (!item) {
      std::this_thread::sleep_for(sources.AskAgainAfter());
    } else if (item->kind == SourceItem::Kind::kSource) {
      spool->Add(*item);
    } else {
      on_unreadable(*item);
    }
  }
}

struct Header {
  ManifestFigures figures;
  std::vector<ShardLine> shards;
};

Header ReadHeader(int fd, const std::string& path) {
  constexpr size_t kFixed = sizeof(kFirstLine) - 1;
  if (ReadUpTo(fd, 0, kFixed, path) != kFirstLine) {
    throw ManifestError("is no manifest, or of another version");
  }
  const size_t figures_length = HeaderText({}, {}).size();
  const size_t line_length = HeaderText({}, {ShardLine()}).size() - figures_length;
  const std::string beginning = ReadAt(fd, 0, figures_length, path);
  Header header;
  ManifestFigures& figures = header.figures;
  if (sscanf(beginning.c_str() + kFixed, "shards %" SCNu64 "\nsources %" SCNu64 "\nbytes %" SCNu64,
             &figures.shards, &figures.sources, &figures.bytes) != 3 ||
      figures.shards > kMostShards) {
    throw ManifestError("is damaged");
  }
  const std::string text = ReadAt(fd, 0, figures_length + figures.shards * line_length, path);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    ShardLine shard;
    if (sscanf(line.c_str(), "shard %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNx32, &shard.offset,
               &shard.length, &shard.sources, &shard.checksum) == 4) {
      header.shards.push_back(shard);
    }
  }
  // What it says must be what it is made of, checksum included.
  if (header.shards.size() != figures.shards || HeaderText(figures, header.shards) != text) {
    throw ManifestError("is damaged");
  }
  figures.checksum = ChecksumOfHeader(text);
  return header;
}

posix::UniqueFd OpenManifest(const std::string& file) {
  posix::UniqueFd fd(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) ThrowErrno(file);
  return fd;
}

std::vector<SourceItem> ItemsOf(const std::string& records,
                                const std::vector<PathMapping>& mappings) {
  std::vector<SourceItem> items;
  for (size_t at = 0; at < records.size();) {
    const size_t end = records.find('\0', at);
    const size_t time = records.find(' ', at);
    const size_t blank = time == std::string::npos ? time : records.find(' ', time + 1);
    if (end == std::string::npos || blank == std::string::npos || blank + 1 >= end ||
        records[blank + 1] != '/') {
      throw ManifestError("is damaged");
    }
    SourceItem item;
    item.bytes = static_cast<off_t>(strtoll(records.c_str() + at, nullptr, 10));
    item.path = Mapped(records.substr(blank + 1, end - blank - 1), mappings);
    items.push_back(std::move(item));
    at = end + 1;
  }
  return items;
}

bool IsThere(const SourceItem& item) {
  struct stat st = {};
  return lstat(item.path.c_str(), &st) == 0;
}

}  // namespace

ManifestFigures WriteManifest(const std::string& file, SourceFeed& sources, uint64_t shard_size,
                              const std::function<void(const SourceItem&)>& on_unreadable) {
  Spool spool(file);
  Collect(sources, &spool, on_unreadable);
  const std::vector<Spool::Source> sorted = spool.TakeLargestFirst();

  ManifestFigures figures;
  figures.sources = sorted.size();
  figures.shards = (figures.sources + shard_size - 1) / shard_size;
  if (figures.shards > kMostShards) {
    throw std::system_error(E2BIG, std::generic_category(), "a million shards at most");
  }
  for (const Spool::Source& source : sorted) figures.bytes += source.bytes;
  std::vector<ShardLine> shards(figures.shards);
  OutputFile manifest(file);
  uint64_t end = HeaderText(figures, shards).size();
  for (uint64_t number = 0; number < figures.shards; ++number) {
    std::string records;
    uint64_t count = 0;
    // Dealt out from the largest to the smallest, forth and back, so that all get about the same.
    for (uint64_t round = 0; round * figures.shards < sorted.size(); ++round) {
      const uint64_t turn = round % 2 == 0 ? number : figures.shards - 1 - number;
      const uint64_t index = round * figures.shards + turn;
      if (index >= sorted.size()) break;
      records += spool.Record(sorted[index]);
      ++count;
    }
    WriteAt(manifest.descriptor(), records, end, file);
    shards[number] = {end, records.size(), count, Checksum(records)};
    end += records.size();
  }
  const std::string header = HeaderText(figures, shards);
  figures.checksum = ChecksumOfHeader(header);
  WriteAt(manifest.descriptor(), header, 0, file);
  if (fsync(manifest.descriptor()) != 0) ThrowErrno(file);
  manifest.Commit();
  return figures;
}

ManifestFigures ReadManifestFigures(const std::string& file) {
  return ReadHeader(OpenManifest(file).get(), file).figures;
}

std::optional<PathMapping> ParsePathMapping(const std::string& text) {
  const size_t division = text.find("=/");
  if (text.empty() || text[0] != '/' || division == std::string::npos) return std::nullopt;
  PathMapping mapping = {text.substr(0, division), text.substr(division + 1)};
  for (std::string* path : {&mapping.from, &mapping.to}) {
    while (path->size() > 1 && path->back() == '/') path->pop_back();
  }
  return mapping;
}

std::string Mapped(const std::string& path, const std::vector<PathMapping>& mappings) {
  for (const auto& [from, to] : mappings) {
    const std::string folder = from == "/" ? "/" : from + "/";
    if (path.rfind(folder, 0) != 0) continue;
    return (to == "/" ? "/" : to + "/") + path.substr(folder.size());
  }
  return path;
}

std::vector<SourceItem> ReadShard(const std::string& file, uint64_t shard,
                                  const std::vector<PathMapping>& mappings) {
  const posix::UniqueFd manifest = OpenManifest(file);
  const Header header = ReadHeader(manifest.get(), file);
  if (shard < 1 || shard > header.shards.size()) {
    throw ManifestError(header.shards.empty()
                            ? "has no shards: there was nothing to build"
                            : "has the shards 1 to " + std::to_string(header.shards.size()));
  }
  const ShardLine& line = header.shards[shard - 1];
  struct stat st = {};
  if (fstat(manifest.get(), &st) != 0) ThrowErrno(file);
  const auto size = static_cast<uint64_t>(st.st_size);
  if (line.offset > size || line.length > size - line.offset) throw ManifestError("is cut short");
  const std::string records = ReadAt(manifest.get(), line.offset, line.length, file);
  if (Checksum(records) != line.checksum) throw ManifestError("is damaged");
  std::vector<SourceItem> items = ItemsOf(records, mappings);
  if (items.empty() || items.size() != line.sources) throw ManifestError("is damaged");
  if (!std::any_of(items.begin(), items.end(), IsThere)) {
    throw SourcesMissing("names no file that is there: " + items.front().path + ", …");
  }
  return items;
}

}  // namespace vexathumb::service
