#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_FASTCGI_SERVER_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_FASTCGI_SERVER_H_

#include <optional>

namespace vexathumb::web {

// The socket on which FastCGI requests come in: the one that systemd passes, or standard input as
// web servers pass it. Nothing when this process is to answer one CGI request.
std::optional<int> FastCgiSocket();

// Answers requests, one at a time, until SIGTERM; the one under way is finished. Each has the C
// stream `stdout` to itself. Returns the process's exit status.
int ServeFastCgi(int socket);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_FASTCGI_SERVER_H_
