#include "programs/vexathumb-web/response.h"

#include <stdio_ext.h>

#include <cstdio>
#include <nlohmann/json.hpp>

namespace vexathumb::web {
namespace {

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
      return "Service Unavailable";
    default:
      return "Internal Server Error";
  }
}

std::string Header(const std::string& name, const std::string& value) {
  return name + ": " + value + "\r\n";
}

std::string TextOf(const nlohmann::ordered_json& document) {
  return document.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

void Send(std::string head, const std::string& body, bool is_head) {
  head += Header("Content-Length", std::to_string(body.size())) +
          Header("X-Content-Type-Options", "nosniff") + "\r\n";
  fwrite(head.data(), 1, head.size(), stdout);
  if (!is_head) fwrite(body.data(), 1, body.size(), stdout);
  fflush(stdout);
}

}  // namespace

void SendJson(const nlohmann::ordered_json& document, const Request& request) {
  const char* const caching = request.is_personal ? "private, no-cache" : "no-cache";
  Send(Header("Content-Type", "application/json") + Header("Cache-Control", caching),
       TextOf(document), request.IsHead());
}

void SendMetricsText(const std::string& text, const Request& request) {
  Send(Header("Content-Type", "text/plain; version=0.0.4; charset=utf-8") +
           Header("Cache-Control", "no-store"),
       text, request.IsHead());
}

void SendProblem(const Problem& problem, bool is_head) {
  __fpurge(stdout);
  const std::string title = Title(problem.status());
  std::string head = Header("Status", std::to_string(problem.status()) + " " + title) +
                     Header("Content-Type", "application/problem+json") +
                     Header("Cache-Control", "no-store");
  if (problem.status() == 405) head += Header("Allow", "GET, HEAD");
  if (problem.status() == 503) {
    head += Header("Retry-After", std::to_string(problem.retry_after().count()));
  }
  Send(head,
       TextOf({{"type", "about:blank"},
               {"title", title},
               {"status", problem.status()},
               {"detail", problem.detail()}}),
       is_head);
}

}  // namespace vexathumb::web
