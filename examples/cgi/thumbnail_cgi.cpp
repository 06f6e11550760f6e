// A CGI program of one's own: GET /cgi-bin/thumbnail_cgi/2026/a.jpg?size=big answers with the
// thumbnail of the photo at that path below the folder $PHOTO_ROOT, which the web server sets.
//
// Conditions and ranges, and who sends the bytes, are the platform library's.
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

#include "thumb/libvexathumb.h"

namespace {

namespace fs = std::filesystem;

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

int Refuse(const char* status) {
  std::printf("Status: %s\r\nContent-Type: text/plain\r\nCache-Control: no-store\r\n\r\n%s\n",
              status, status);
  return 0;
}

// The size that "size=LABEL" asks for; empty for any other query.
std::string SizeOf(const std::string& query) {
  if (query.empty()) return vexathumb::kMedium;
  const std::string size = query.rfind("size=", 0) == 0 ? query.substr(5) : "";
  return vexathumb::Thumb::strThumbSizeMap_.count(size) > 0 ? size : "";
}

// A photo below the root, whatever links there are; empty for anything else.
std::string PhotoAt(const fs::path& root, const std::string& path_info) {
  std::error_code error;
  const fs::path photo = fs::canonical(root / fs::path(path_info).relative_path(), error);
  if (error || !fs::is_regular_file(photo, error)) return "";
  const fs::path relative = photo.lexically_relative(fs::canonical(root, error));
  if (error || relative.empty()) return "";
  for (const fs::path& step : relative) {
    if (step.native()[0] == '.') return "";  // "..", and what is hidden, as the store is
  }
  return photo;
}

}  // namespace

int main() {
  const std::string size = SizeOf(Variable("QUERY_STRING"));
  if (size.empty()) return Refuse("400 Bad Request");
  const std::string root = Variable("PHOTO_ROOT");
  const std::string photo = root.empty() ? "" : PhotoAt(root, Variable("PATH_INFO"));
  if (photo.empty()) return Refuse("404 Not Found");
  try {
    vexathumb::Thumb thumb(photo, vexathumb::Thumb::ALL_EA);
    const bool is_sent = thumb.Output(size);
    if (thumb.IsNeedDelete()) unlink(thumb.GetOutputFile().c_str());
    return is_sent ? 0 : Refuse("415 Unsupported Media Type");
  } catch (const std::exception& failure) {
    syslog(LOG_ERR, "no thumbnail: %s", failure.what());
    return Refuse("415 Unsupported Media Type");
  }
}
