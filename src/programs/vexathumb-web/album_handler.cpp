#include "programs/vexathumb-web/album_handler.h"

#include <nlohmann/json.hpp>
#include <string>

#include "programs/vexathumb-web/folder_listing.h"
#include "programs/vexathumb-web/percent_encoding.h"
#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/query.h"
#include "programs/vexathumb-web/response.h"
#include "programs/vexathumb-web/shared_file.h"

namespace vexathumb::web {
namespace {

using json = nlohmann::ordered_json;

constexpr int kMostEntries = 1000;
constexpr int kUsualEntries = 200;
constexpr int kLastOffset = 1'000'000'000;

// The components of a path, each encoded.
std::string EncodePath(const std::string& path) {
  std::string encoded;
  for (size_t start = 0;;) {
    const size_t slash = path.find('/', start);
    encoded += PercentEncode(path.substr(start, slash - start));
    if (slash == std::string::npos) return encoded;
    encoded += '/';
    start = slash + 1;
  }
}

SortOrder ReadSortOrder(const Query& query) {
  const std::string sort = query.Text("sort").value_or("name");
  if (sort == "name") return SortOrder::kName;
  if (sort == "mtime") return SortOrder::kNewestFirst;
  throw Problem(400, "The parameter \"sort\" is name or mtime.");
}

json Describe(const Entry& entry, const std::string& folder, const std::string& pictures) {
  const std::string name = PercentEncode(entry.name);
  json described = {{"name", entry.name}, {"mtime", entry.mtime.tv_sec}};
  if (entry.kind == EntryKind::kFolder) {
    described["kind"] = "folder";
    described["href"] = folder + name + "/";
    return described;
  }
  described["kind"] = entry.kind == EntryKind::kImage ? "image" : "video";
  described["size"] = entry.size;
  described["href"] = pictures + name;
  if (entry.pixels) {
    described["width"] = entry.pixels->width;
    described["height"] = entry.pixels->height;
  }
  if (entry.is_damaged) described["damaged"] = true;
  return described;
}

json ListShares(const Request& request, const vexaplatform::Settings& settings) {
  const Query none(request.query, {});
  json shares = json::array();
  for (const auto& share : settings.shares) {
    shares.push_back({{"name", share.name},
                      {"href", request.base + "/album/" + PercentEncode(share.name) + "/"}});
  }
  return {{"shares", shares}};
}

json ListSharedFolder(const Request& request, const SharedFile& folder) {
  const Query query(request.query, {"sort", "offset", "limit"});
  const SortOrder order = ReadSortOrder(query);
  const Page page = {
      static_cast<size_t>(query.Number("offset", 0, kLastOffset).value_or(0)),
      static_cast<size_t>(query.Number("limit", 1, kMostEntries).value_or(kUsualEntries))};
  const auto listing = ListFolder(folder.file.handle.get(), folder.file.path, order, page);
  if (!listing) throw NotFound();

  const std::string share = PercentEncode(folder.share.name) + "/";
  const std::string path = folder.relative.empty() ? "" : EncodePath(folder.relative) + "/";
  const std::string top = request.base + "/album/" + share;
  const std::string here = top + path;
  const std::string thumbs = request.base + "/thumb/" + share + path;
  json entries = json::array();
  for (const Entry& entry : listing->entries) entries.push_back(Describe(entry, here, thumbs));
  json document = {
      {"share", folder.share.name}, {"path", folder.relative}, {"href", here},
      {"total", listing->total},    {"offset", page.offset},   {"entries", std::move(entries)}};
  if (!path.empty())
    document["parent"] = top + path.substr(0, path.rfind('/', path.size() - 2) + 1);
  return document;
}

}  // namespace

void SendAlbum(const Request& request, const vexaplatform::Settings& settings) {
  std::vector<std::string> path = request.path;
  if (!path.empty() && path.back().empty()) path.pop_back();  // a slash at the end
  SendJson(path.empty() ? ListShares(request, settings)
                        : ListSharedFolder(request, FindSharedFile(settings, path)),
           request);
}

}  // namespace vexathumb::web
