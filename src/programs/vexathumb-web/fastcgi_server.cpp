#include "programs/vexathumb-web/fastcgi_server.h"

#include <fcgiapp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "programs/vexathumb-web/answer.h"
#include "programs/vexathumb-web/workers.h"
#include "service/serve/upkeep.h"
#include "vexaplatform/settings.h"

namespace vexathumb::web {
namespace {

bool IsListening(int fd) {
  int listening = 0;
  socklen_t size = sizeof(listening);
  return getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) == 0 && listening != 0;
}

bool IsLocal(int fd) {
  int family = 0;
  socklen_t size = sizeof(family);
  return getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &family, &size) == 0 && family == AF_UNIX;
}

// The FastCGI library keeps each connection after its answer until the web server has closed it as
// well, lest what is still on its way make the network drop the answer. A local socket delivers
// what has been written whatever comes after it, and the next request need not wait.
void CloseLocalConnectionsAtOnce(int socket) {
  if (IsLocal(socket)) setenv("LIBFCGI_OS_CLOSE_POLL_TIMEOUT", "0", 1);
}

void FinishAfterThisRequest(int /*signal*/) { FCGX_ShutdownPending(); }

void OnTerminationFinish() {
  struct sigaction action = {};
  action.sa_handler = &FinishAfterThisRequest;  // without SA_RESTART: waiting for a request ends
  sigaction(SIGTERM, &action, nullptr);
}

ssize_t WriteToClient(void* writer, const char* bytes, size_t size) {
  const int part = static_cast<int>(std::min<size_t>(size, INT_MAX));
  const int written = FCGX_PutStr(bytes, part, static_cast<FCGX_Stream*>(writer));
  return std::max(written, 0);  // 0 is a stream's failure: the client has gone
}

// The C stream `stdout` over the writer of a request.
class ResponseStream {
 public:
  explicit ResponseStream(FCGX_Stream* writer) : before_(stdout) {
    cookie_io_functions_t functions = {};
    functions.write = &WriteToClient;
    stream_ = fopencookie(writer, "w", functions);
    if (stream_ == nullptr) return;
    setvbuf(stream_, nullptr, _IOFBF, kBufferSize);
    stdout = stream_;
  }
  ~ResponseStream() {
    stdout = before_;
    if (stream_ != nullptr) fclose(stream_);
  }
  ResponseStream(const ResponseStream&) = delete;
  ResponseStream& operator=(const ResponseStream&) = delete;

  explicit operator bool() const { return stream_ != nullptr; }

 private:
  static constexpr size_t kBufferSize = size_t{1} << 16;

  FILE* before_;
  FILE* stream_;
};

// One of those that answer requests side by side. The settings may name another folder by now.
void BeCounted() noexcept {
  try {
    JoinWorkers(vexaplatform::CurrentSettings()->service.lock_dir);
  } catch (const std::exception&) {
    return;  // a request that needs the folder, or memory, says so
  }
}

}  // namespace

std::optional<int> FastCgiSocket() {
  constexpr int kFirstPassedSocket = 3;
  const char* const pid = getenv("LISTEN_PID");
  const char* const sockets = getenv("LISTEN_FDS");
  const bool passed = pid != nullptr && sockets != nullptr && std::to_string(getpid()) == pid &&
                      std::string(sockets) == "1";
  if (passed && IsListening(kFirstPassedSocket)) return kFirstPassedSocket;
  if (IsListening(STDIN_FILENO)) return STDIN_FILENO;
  return std::nullopt;
}

int ServeFastCgi(int socket) {
  FCGX_Request request;
  CloseLocalConnectionsAtOnce(socket);
  if (FCGX_Init() != 0 || FCGX_InitRequest(&request, socket, 0) != 0) return EXIT_FAILURE;
  OnTerminationFinish();
  service::SweepLeftoversHourly();
  BeCounted();
  while (FCGX_Accept_r(&request) == 0) {
    {
      const ResponseStream stream(request.out);
      if (stream) AnswerRequest(request.envp);
    }
    FCGX_Finish_r(&request);
    service::EvictNotedFreeBoxes();
    service::SweepLeftoversHourly();
    BeCounted();
  }
  return EXIT_SUCCESS;
}

}  // namespace vexathumb::web
