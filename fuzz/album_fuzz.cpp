// The listing of a folder whose entries have hostile names. The input is names, a slash between
// two; the first byte of each decides between a folder, a picture and another file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "fuzz/harness.h"
#include "kit/temp_dir.h"
#include "programs/vexathumb-web/album_handler.h"
#include "programs/vexathumb-web/problem.h"
#include "service/base/percent_encoding.h"

namespace vexathumb::web {
namespace {

constexpr size_t kMostEntries = 20;
constexpr size_t kLongestName = 255;

// What the document on `stdout` has behind its headers.
std::string SentBody(const Request& request, const vexaplatform::Settings& settings) {
  char* sent = nullptr;
  size_t size = 0;
  FILE* const standard_output = stdout;
  stdout = open_memstream(&sent, &size);
  SendAlbum(request, settings);
  fclose(stdout);
  stdout = standard_output;
  const std::string text(sent, size);
  free(sent);
  const size_t blank_line = text.find("\r\n\r\n");
  MUST_HOLD(blank_line != std::string::npos);
  return text.substr(blank_line + 4);
}

// Makes the entry and returns its name; empty when the system allows no such name.
std::string MakeEntry(const std::string& folder, const std::string& part) {
  if (part.size() < 2 || part.find('\0') != std::string::npos) return "";
  std::string name = part.substr(1, kLongestName);
  if (part[0] == 'd') return mkdir((folder + "/" + name).c_str(), 0700) == 0 ? name : "";
  if (part[0] == 'p') name = name.substr(0, kLongestName - 4) + ".jpg";
  const int fd = open((folder + "/" + name).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return "";
  close(fd);
  return name;
}

std::set<std::string> MakeEntries(const std::string& folder, const std::string& names) {
  std::set<std::string> made;
  for (size_t start = 0; start < names.size() && made.size() < kMostEntries;) {
    const size_t end = std::min(names.find('/', start), names.size());
    const std::string name = MakeEntry(folder, names.substr(start, end - start));
    if (!name.empty()) made.insert(name);
    start = end + 1;
  }
  return made;
}

void CheckDocument(const std::string& body, const std::set<std::string>& made) {
  const auto document = nlohmann::json::parse(body);  // which takes no text that is not UTF-8
  MUST_HOLD(document["entries"].size() == document["total"]);
  MUST_HOLD(document["total"] <= made.size());
  std::set<std::string> listed;
  for (const auto& entry : document["entries"]) {
    std::string address = entry["href"];
    const bool is_folder = entry["kind"] == "folder";
    const std::string start = is_folder ? "/album/share/" : "/thumb/share/";
    MUST_HOLD(address.rfind(start, 0) == 0);
    if (is_folder) address.pop_back();
    const auto name = service::PercentDecode(address.substr(start.size()));
    MUST_HOLD(name && made.count(*name) == 1);
    MUST_HOLD(listed.insert(*name).second);
  }
}

}  // namespace
}  // namespace vexathumb::web

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vexathumb::web;
  const vexathumb::kit::TempDir folder;
  const auto made =
      MakeEntries(folder.path(), std::string(reinterpret_cast<const char*>(data), size));
  vexaplatform::Settings settings;
  settings.shares = {{"share", folder.path(), false}};
  Request request;
  request.method = "GET";
  request.route = Route::kAlbum;
  request.path = {"share", ""};
  CheckDocument(SentBody(request, settings), made);
  return 0;
}
