#include "programs/vexathumb-web/response.h"

#include <stdio_ext.h>

#include <array>
#include <cstdio>

#include "programs/vexathumb-web/json_text.h"

namespace vexathumb::web {
namespace {

constexpr char kUnavailable[] = "Service Unavailable";

std::string Title(int status) {
  switch (status) {
    case 400:
      return "Bad Request";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 415:
      return "Unsupported Media Type";
    case 421:
      return "Misdirected Request";
    case 503:
      return kUnavailable;
    default:
      return "Internal Server Error";
  }
}

std::string Header(const std::string& name, const std::string& value) {
  return name + ": " + value + "\r\n";
}

void Send(std::string head, const std::string& body, bool is_head) {
  head += Header("Content-Length", std::to_string(body.size())) +
          Header("X-Content-Type-Options", "nosniff") + "\r\n";
  fwrite(head.data(), 1, head.size(), stdout);
  if (!is_head) fwrite(body.data(), 1, body.size(), stdout);
  fflush(stdout);
}

}  // namespace

void SendJson(const std::string& document, const Request& request) {
  const char* const caching = request.is_personal ? "private, no-cache" : "no-cache";
  Send(Header("Content-Type", "application/json") + Header("Cache-Control", caching),
       document + "\n", request.IsHead());
}

void SendMetricsText(const std::string& text, const Request& request) {
  Send(Header("Content-Type", "text/plain; version=0.0.4; charset=utf-8") +
           Header("Cache-Control", "no-store"),
       text, request.IsHead());
}

void SendProblem(const Problem& problem, bool is_head) {
  __fpurge(stdout);
  const std::string title = Title(problem.status());
  const std::string status = std::to_string(problem.status());
  JsonObject document;
  document.Add("type", JsonString("about:blank"));
  document.Add("title", JsonString(title));
  document.Add("status", status);
  document.Add("detail", JsonString(problem.detail()));
  std::string head = Header("Status", status + " " + title) +
                     Header("Content-Type", "application/problem+json") +
                     Header("Cache-Control", "no-store");
  if (problem.status() == 405) head += Header("Allow", "GET, HEAD");
  if (problem.status() == 503) {
    head += Header("Retry-After", std::to_string(problem.retry_after().count()));
  }
  Send(head, document.Take() + "\n", is_head);
}

int SendNoMemory(bool is_head) noexcept {
  constexpr char kDetail[] = "This machine has no memory for the answer at the moment.";
  std::array<char, 256> body = {};
  const int size =
      snprintf(body.data(), body.size(),
               "{\"type\":\"about:blank\",\"title\":\"%s\",\"status\":%d,\"detail\":\"%s\"}\n",
               kUnavailable, 503, kDetail);
  __fpurge(stdout);
  fprintf(stdout,
          "Status: 503 %s\r\n"
          "Content-Type: application/problem+json\r\n"
          "Cache-Control: no-store\r\n"
          "Retry-After: %d\r\n"
          "Content-Length: %d\r\n"
          "X-Content-Type-Options: nosniff\r\n\r\n",
          kUnavailable, static_cast<int>(Problem::kSoon.count()), size);
  if (!is_head) fwrite(body.data(), 1, static_cast<size_t>(size), stdout);
  fflush(stdout);
  return 503;
}

}  // namespace vexathumb::web
