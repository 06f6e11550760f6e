// What it costs to ask for a stored thumbnail by its photograph's address instead of by its own:
// the same file, sent by the same web server, through vexathumb-web and as a file of the document
// root. lighttpd and nginx run with the configurations of deploy/.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/median.h"
#include "bench/photograph.h"
#include "bench/size_option.h"
#include "bench/wrk.h"
#include "kit/files.h"
#include "system/web/processes.h"
#include "system/web/web_site.h"

namespace vexathumb::bench {
namespace {

constexpr char kThumbnailAddress[] = "/thumb/photos/photo.jpg?size=small";
constexpr char kFileAddress[] = "/small.jpg";

struct Options {
  int rounds = 5;
  int seconds = 3;
  kit::Size photograph = kPhotographSize;
};

void Demand(bool condition, const std::string& otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

// A web server with one stored thumbnail, which is also in its document root.
class ServedThumbnail {
 public:
  ServedThumbnail(web_test::WebServer server, const kit::Size& photograph)
      : site_({server, web_test::Delivery::kByServer}) {
    WritePhotograph(site_.Photo("photo.jpg"), photograph);
    const web_test::HttpResponse built = site_.Get(kThumbnailAddress);
    Demand(built.status == 200 && built.is_whole, "the thumbnail cannot be built");
    bytes_ = built.body;
    std::filesystem::create_hard_link(StoredFile(), site_.State("page/small.jpg"));
    // A file that has just changed is not handed over yet.
    Demand(web_test::Eventually([this] { return site_.SendsItself(kThumbnailAddress); }),
           "the web server does not send the thumbnail itself");
  }

  std::string Url(const std::string& address) const { return site_.Url(address); }
  size_t Size() const { return bytes_.size(); }

  void CheckAnswers() const {
    for (const char* address : {kThumbnailAddress, kFileAddress}) {
      const web_test::HttpResponse response = site_.Get(address);
      Demand(response.status == 200 && response.Header("content-type") == "image/jpeg" &&
                 response.body == bytes_,
             std::string("the answer is not the stored thumbnail: ") + address);
    }
    Demand(site_.SendsItself(kThumbnailAddress), "vexathumb-web sends the thumbnail itself");
  }

 private:
  std::string StoredFile() const {
    for (const auto& entry :
         std::filesystem::directory_iterator(site_.Photo(".vexaea/photo.jpg"))) {
      if (kit::ReadFile(entry.path()) == bytes_) return entry.path();
    }
    throw std::runtime_error("the thumbnail is not stored");
  }

  web_test::WebSite site_;
  std::string bytes_;
};

struct Round {
  LoadReport file;
  LoadReport thumbnail;
};

// Each round begins with the other address, so that neither always has the warmer machine.
std::vector<Round> Measure(const ServedThumbnail& served, int connections, const Options& options) {
  std::vector<Round> rounds(static_cast<size_t>(options.rounds));
  bool file_first = true;
  for (Round& round : rounds) {
    const auto load = [&](const char* address) {
      return RunWrk(served.Url(address), connections, options.seconds);
    };
    if (file_first) round.file = load(kFileAddress);
    round.thumbnail = load(kThumbnailAddress);
    if (!file_first) round.file = load(kFileAddress);
    file_first = !file_first;
  }
  return rounds;
}

template <typename Value>
double MedianOf(const std::vector<Round>& rounds, Value value) {
  std::vector<double> values;
  for (const Round& round : rounds) values.push_back(value(round));
  return Median(std::move(values));
}

void Report(const char* server, int connections, const std::vector<Round>& rounds) {
  const auto median = [&rounds](auto value) { return MedianOf(rounds, value); };
  printf("%-9s %11d %9.0f %11.0f %6.2f %9.0f %9.0f %8.1f %13.1f\n", server, connections,
         median([](const Round& round) { return round.file.requests_per_second; }),
         median([](const Round& round) { return round.thumbnail.requests_per_second; }),
         median([](const Round& round) {
           return round.thumbnail.requests_per_second / round.file.requests_per_second;
         }),
         median([](const Round& round) { return round.thumbnail.p50_microseconds; }),
         median([](const Round& round) { return round.thumbnail.p99_microseconds; }),
         median([](const Round& round) {
           return round.thumbnail.p99_microseconds / round.thumbnail.p50_microseconds;
         }),
         median([](const Round& round) {
           return round.file.p99_microseconds / round.file.p50_microseconds;
         }));
  fflush(stdout);
}

void Run(const Options& options) {
  struct Server {
    const char* name;
    web_test::WebServer server;
  };
  bool first = true;
  for (const Server& server : {Server{"lighttpd", web_test::WebServer::kLighttpd},
                               Server{"nginx", web_test::WebServer::kNginx}}) {
    const ServedThumbnail served(server.server, options.photograph);
    if (first) {
      printf("A stored thumbnail of %zu bytes; medians of %d rounds of %d s\n\n", served.Size(),
             options.rounds, options.seconds);
      printf("%-9s %11s %9s %11s %6s %9s %9s %8s %13s\n", "server", "connections", "file/s",
             "thumbnail/s", "ratio", "p50 us", "p99 us", "p99/p50", "of the file");
      first = false;
    }
    served.CheckAnswers();
    for (const int connections : {1, 8}) {
      Report(server.name, connections, Measure(served, connections, options));
    }
    served.CheckAnswers();
  }
}

}  // namespace
}  // namespace vexathumb::bench

int main(int argc, char** argv) {
  vexathumb::bench::Options options;
  CLI::App app("Measures stored thumbnails against the same file sent statically");
  app.add_option("--rounds", options.rounds)->check(CLI::PositiveNumber)->capture_default_str();
  app.add_option("--seconds", options.seconds, "length of one measurement")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  vexathumb::bench::AddPhotographSize(&app, &options.photograph);
  CLI11_PARSE(app, argc, argv);
  try {
    vexathumb::bench::Run(options);
  } catch (const std::exception& error) {
    fprintf(stderr, "serving_benchmark: %s\n", error.what());
    return 1;
  }
  return 0;
}
