#include "unit/platform/http/http_exchange.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "kit/files.h"
#include "kit/temp_dir.h"
#include "posix/unique_fd.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

constexpr char kEarly[] = "Cache-Control: early\r\n";
constexpr char kLate[] = "late";
constexpr char kHeadsEnd[] = "\r\n\r\n";

Received ThroughDescriptors(const Respond& respond, UniqueFd client, UniqueFd server) {
  Received received;
  std::thread reader([&] { received.text = Drain(client.get()); });
  {
    const ScopedStdout output(fdopen(server.Release(), "w"));
    fputs(kEarly, stdout);
    received.result = respond();
    fputs(kLate, stdout);
    fflush(stdout);
  }
  reader.join();
  return received;
}

}  // namespace

ScopedRequest::ScopedRequest(const RequestVariables& variables) {
  for (const auto& [name, value] : variables) {
    setenv(name.c_str(), value.c_str(), 1);
    names_.push_back(name);
  }
}

ScopedRequest::~ScopedRequest() {
  for (const std::string& name : names_) unsetenv(name.c_str());
}

Received ThroughFile(const Respond& respond, const char* mode) {
  const vexathumb::kit::TempDir folder;
  Received received;
  {
    const ScopedStdout output(fopen((folder / "output").c_str(), mode));
    fputs(kEarly, stdout);
    received.result = respond();
    fputs(kLate, stdout);
  }
  received.text = vexathumb::kit::ReadFile(folder / "output");
  return received;
}

Received ThroughPipe(const Respond& respond) {
  int ends[2];
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  return ThroughDescriptors(respond, UniqueFd(ends[0]), UniqueFd(ends[1]));
}

Received ThroughBusySocket(const Respond& respond) {
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const int small = 4096;
  setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &small, sizeof(small));
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  return ThroughDescriptors(respond, UniqueFd(ends[0]), UniqueFd(ends[1]));
}

Received ThroughStreamWithoutDescriptor(const Respond& respond) {
  Received received;
  const cookie_io_functions_t functions = {nullptr,
                                           [](void* text, const char* data, size_t size) {
                                             static_cast<std::string*>(text)->append(data, size);
                                             return static_cast<ssize_t>(size);
                                           },
                                           nullptr, nullptr};
  const ScopedStdout output(fopencookie(&received.text, "w", functions));
  fputs(kEarly, stdout);
  received.result = respond();
  const std::string before_late = received.text;  // flushed by the response itself
  fputs(kLate, stdout);
  fflush(stdout);
  if (received.result == 0) {
    EXPECT_EQ(received.text, before_late + kLate);
  }
  return received;
}

std::string Drain(int fd) {
  std::string text;
  char buffer[4096];
  for (ssize_t size = 0; (size = read(fd, buffer, sizeof(buffer))) > 0;) {
    text.append(buffer, static_cast<size_t>(size));
  }
  return text;
}

std::string HeaderOf(const std::string& response, const std::string& name) {
  const std::string heads = "\r\n" + response.substr(0, response.find(kHeadsEnd) + 2);
  const std::string start = "\r\n" + name + ": ";
  const size_t found = heads.find(start);
  if (found == std::string::npos) return "";
  const size_t value = found + start.size();
  return heads.substr(value, heads.find("\r\n", value) - value);
}

std::string BodyOf(const std::string& response) {
  const size_t end = response.find(kHeadsEnd);
  return end == std::string::npos ? "" : response.substr(end + 4);
}

}  // namespace vexaplatform
