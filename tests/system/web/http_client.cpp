#include "system/web/http_client.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace vexathumb::web_test {
namespace {

size_t TakeHeader(char* data, size_t size, size_t count, void* response) {
  const std::string line(data, size * count);
  auto& headers = static_cast<HttpResponse*>(response)->headers;
  if (line.rfind("HTTP/", 0) == 0) headers.clear();
  const size_t colon = line.find(": ");
  if (colon != std::string::npos) {
    std::string name = line.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    const std::string value = line.substr(colon + 2, line.find_last_not_of("\r\n") - colon - 1);
    const auto [header, is_first] = headers.emplace(name, value);
    if (!is_first) header->second += ", " + value;
  }
  return size * count;
}

size_t TakeBody(char* data, size_t size, size_t count, void* response) {
  static_cast<HttpResponse*>(response)->body.append(data, size * count);
  return size * count;
}

size_t Leave(char* /*data*/, size_t /*size*/, size_t /*count*/, void* /*unused*/) { return 0; }

using Session = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

Session Begin(const std::string& url) {
  static const bool initialised = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  Session session(initialised ? curl_easy_init() : nullptr, &curl_easy_cleanup);
  if (!session) throw std::runtime_error("libcurl cannot be used");
  curl_easy_setopt(session.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(session.get(), CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(session.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(session.get(), CURLOPT_NOPROXY, "*");
  return session;
}

}  // namespace

std::string HttpResponse::Header(const std::string& name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? "" : found->second;
}

HttpResponse Ask(const std::string& url, const HttpRequest& request) {
  const Session session = Begin(url);
  HttpResponse response;
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(nullptr,
                                                                      &curl_slist_free_all);
  for (const std::string& header : request.headers) {
    headers.reset(curl_slist_append(headers.release(), header.c_str()));
  }
  if (headers) curl_easy_setopt(session.get(), CURLOPT_HTTPHEADER, headers.get());
  if (request.method == "HEAD") {
    curl_easy_setopt(session.get(), CURLOPT_NOBODY, 1L);
  } else {
    curl_easy_setopt(session.get(), CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }
  curl_easy_setopt(session.get(), CURLOPT_HEADERFUNCTION, &TakeHeader);
  curl_easy_setopt(session.get(), CURLOPT_HEADERDATA, &response);
  curl_easy_setopt(session.get(), CURLOPT_WRITEFUNCTION, &TakeBody);
  curl_easy_setopt(session.get(), CURLOPT_WRITEDATA, &response);
  response.is_whole = curl_easy_perform(session.get()) == CURLE_OK;
  curl_easy_getinfo(session.get(), CURLINFO_RESPONSE_CODE, &response.status);
  return response;
}

void AskAndLeave(const std::string& url) {
  const Session session = Begin(url);
  curl_easy_setopt(session.get(), CURLOPT_BUFFERSIZE, 1024L);
  curl_easy_setopt(session.get(), CURLOPT_WRITEFUNCTION, &Leave);
  curl_easy_perform(session.get());
}

}  // namespace vexathumb::web_test
