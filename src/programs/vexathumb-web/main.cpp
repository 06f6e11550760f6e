// Thumbnails and folder listings over HTTP, as a CGI program or a FastCGI worker.
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "programs/vexathumb-web/answer.h"
#include "programs/vexathumb-web/fastcgi_server.h"
#include "service/picture/metadata_warnings.h"
#include "service/serve/upkeep.h"

int main() {
  openlog("vexathumb-web", LOG_PID, LOG_USER);
  signal(SIGPIPE, SIG_IGN);  // a client that goes away is told by write
  vexathumb::service::MuteMetadataWarnings();
  if (const auto socket = vexathumb::web::FastCgiSocket()) {
    return vexathumb::web::ServeFastCgi(*socket);
  }
  if (getenv("GATEWAY_INTERFACE") == nullptr) {
    fputs("vexathumb-web is started by a web server, as CGI or FastCGI.\n", stderr);
    return 2;
  }
  vexathumb::web::AnswerRequest(environ);
  vexathumb::service::EvictNotedFreeBoxes();
  vexathumb::service::SweepLeftoversHourly();
  return EXIT_SUCCESS;
}
