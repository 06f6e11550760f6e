#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_REQUEST_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_REQUEST_H_

#include <string>
#include <vector>

namespace vexathumb::web {

enum class Route { kThumb, kAlbum, kHealth, kMetrics, kNone };

// What a client asks for.
struct Request {
  std::string method;
  std::vector<std::string> hosts;  // that it is for, by its header and its address
  Route route = Route::kNone;
  std::string base;               // what precedes the route in the address, as it was sent
  std::vector<std::string> path;  // the components behind the route, decoded; maybe an empty last
  std::string query;              // as it was sent
  bool is_personal = false;       // who asks is said, so that the answer may not be for others
  std::string client;             // its address, or that of a server that passes requests on
  bool is_forwarded = false;      // it says that it has been passed on
  char** variables = nullptr;     // of CGI, as an environment

  bool IsHead() const { return method == "HEAD"; }
};

// Reads a request from CGI's variables. The address is taken as the client sent it and decoded
// here, once. An address without the name of a route is one of no route; below the program's own
// address (/cgi-bin/vexathumb-web) the routes are the same. Throws Problem.
Request ReadRequest(char** variables);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_REQUEST_H_
