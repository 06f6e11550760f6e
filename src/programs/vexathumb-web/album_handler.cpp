#include "programs/vexathumb-web/album_handler.h"

#include <string>

#include "programs/vexathumb-web/folder_listing.h"
#include "programs/vexathumb-web/json_text.h"
#include "programs/vexathumb-web/problem.h"
#include "programs/vexathumb-web/query.h"
#include "programs/vexathumb-web/response.h"
#include "programs/vexathumb-web/shared_file.h"
#include "service/base/percent_encoding.h"

namespace vexathumb::web {
namespace {

using service::PercentEncode;

constexpr int kMostEntries = 1000;
constexpr int kUsualEntries = 200;
constexpr int kLastOffset = 1'000'000'000;

// The components of a path, each encoded.
std::string EncodePath(const std::string& path) { return PercentEncode(path, "-._~/"); }

SortOrder ReadSortOrder(const Query& query) {
  const std::string sort = query.Text("sort").value_or("name");
  if (sort == "name") return SortOrder::kName;
  if (sort == "mtime") return SortOrder::kNewestFirst;
  throw Problem(400, "The parameter \"sort\" is name or mtime.");
}

std::string Describe(const Entry& entry, const std::string& folder, const std::string& pictures) {
  const std::string name = PercentEncode(entry.name);
  JsonObject described;
  described.Add("name", JsonString(entry.name));
  described.Add("mtime", std::to_string(entry.mtime.tv_sec));
  if (entry.kind == EntryKind::kFolder) {
    described.Add("kind", JsonString("folder"));
    described.Add("href", JsonString(folder + name + "/"));
    return described.Take();
  }
  described.Add("kind", JsonString(entry.kind == EntryKind::kImage ? "image" : "video"));
  described.Add("size", std::to_string(entry.size));
  described.Add("href", JsonString(pictures + name));
  if (entry.pixels) {
    described.Add("width", std::to_string(entry.pixels->width));
    described.Add("height", std::to_string(entry.pixels->height));
  }
  if (entry.is_damaged) described.Add("damaged", "true");
  return described.Take();
}

std::string ListShares(const Request& request, const vexaplatform::Settings& settings) {
  const Query none(request.query, {});
  JsonArray shares;
  for (const auto& share : settings.shares) {
    JsonObject described;
    described.Add("name", JsonString(share.name));
    described.Add("href", JsonString(request.base + "/album/" + PercentEncode(share.name) + "/"));
    shares.Add(described.Take());
  }
  JsonObject document;
  document.Add("shares", shares.Take());
  return document.Take();
}

std::string ListSharedFolder(const Request& request, const SharedFile& folder) {
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
  JsonArray entries;
  for (const Entry& entry : listing->entries) entries.Add(Describe(entry, here, thumbs));
  JsonObject document;
  document.Add("share", JsonString(folder.share.name));
  document.Add("path", JsonString(folder.relative));
  document.Add("href", JsonString(here));
  document.Add("total", std::to_string(listing->total));
  document.Add("offset", std::to_string(page.offset));
  document.Add("entries", entries.Take());
  if (!path.empty()) {
    const size_t last = path.rfind('/', path.size() - 2);
    document.Add("parent", JsonString(top + path.substr(0, last + 1)));
  }
  return document.Take();
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
