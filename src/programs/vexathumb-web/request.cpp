#include "programs/vexathumb-web/request.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "programs/vexathumb-web/problem.h"
#include "service/base/percent_encoding.h"

namespace vexathumb::web {
namespace {

std::string_view Variable(char** variables, std::string_view name) {
  for (; *variables != nullptr; ++variables) {
    const std::string_view entry = *variables;
    if (entry.size() > name.size() && entry[name.size()] == '=' &&
        entry.substr(0, name.size()) == name) {
      return entry.substr(name.size() + 1);
    }
  }
  return "";
}

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

// Clients may send "http://host/path" in the place of "/path".
std::string_view TakeHost(std::string_view* address) {
  const size_t scheme = address->find("://");
  if (StartsWith(*address, "/") || scheme == std::string_view::npos) return "";
  const size_t host = scheme + 3;
  const size_t path = std::min(address->find_first_of("/?", host), address->size());
  const std::string_view taken = address->substr(host, path - host);
  *address = path == address->size() ? "/" : address->substr(path);
  return taken;
}

// The route whose name begins the path, which then loses it.
Route TakeRoute(std::string_view* path) {
  struct Name {
    std::string_view text;
    Route route;
  };
  for (const Name& name : {Name{"/thumb", Route::kThumb}, Name{"/album", Route::kAlbum},
                           Name{"/health", Route::kHealth}, Name{"/metrics", Route::kMetrics}}) {
    if (!StartsWith(*path, name.text)) continue;
    const std::string_view rest = path->substr(name.text.size());
    if (!rest.empty() && rest[0] != '/') continue;
    *path = rest;
    return name.route;
  }
  return Route::kNone;
}

std::vector<std::string> DecodeComponents(std::string_view path) {
  std::vector<std::string> components;
  while (!path.empty()) {
    path.remove_prefix(1);  // the slash
    const std::string_view encoded = path.substr(0, path.find('/'));
    const auto component = service::PercentDecode(encoded);
    if (!component || component->find('\0') != std::string::npos) throw NotFound();
    components.push_back(*component);
    path.remove_prefix(encoded.size());
  }
  return components;
}

// By a header of the client's, or by the web server that has asked for a password itself and keeps
// it from others.
bool IsPersonal(char** variables) {
  for (const char* name : {"HTTP_AUTHORIZATION", "HTTP_COOKIE", "AUTH_TYPE", "REMOTE_USER"}) {
    if (!Variable(variables, name).empty()) return true;
  }
  return false;
}

// By any of the headers that servers add when they pass a request on.
bool IsForwarded(char** variables) {
  for (const char* name : {"HTTP_FORWARDED", "HTTP_X_FORWARDED_FOR", "HTTP_X_FORWARDED_HOST",
                           "HTTP_X_REAL_IP", "HTTP_VIA"}) {
    if (!Variable(variables, name).empty()) return true;
  }
  return false;
}

}  // namespace

Request ReadRequest(char** variables) {
  std::string_view address = Variable(variables, "REQUEST_URI");
  if (address.empty()) throw Problem(500, "The web server does not pass REQUEST_URI on.");

  Request request;
  for (const std::string_view host : {Variable(variables, "HTTP_HOST"), TakeHost(&address)}) {
    if (!host.empty()) request.hosts.emplace_back(host);
  }
  request.variables = variables;
  request.is_personal = IsPersonal(variables);
  request.client = Variable(variables, "REMOTE_ADDR");
  request.is_forwarded = IsForwarded(variables);
  request.method = Variable(variables, "REQUEST_METHOD");
  const size_t question = address.find('?');
  if (question != std::string_view::npos) request.query = address.substr(question + 1);
  std::string_view path = address.substr(0, question);
  request.route = TakeRoute(&path);
  const std::string_view program = Variable(variables, "SCRIPT_NAME");
  if (request.route == Route::kNone && !program.empty() && StartsWith(path, program)) {
    path.remove_prefix(program.size());
    request.route = TakeRoute(&path);
    request.base = program;
  }
  if (request.route != Route::kNone) request.path = DecodeComponents(path);
  return request;
}

}  // namespace vexathumb::web
