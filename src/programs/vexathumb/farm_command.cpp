#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/counted.h"
#include "programs/vexathumb/report.h"
#include "service/index/farm_jobs.h"
#include "service/index/farm_log.h"
#include "service/index/farm_summary.h"

namespace vexathumb::program {
namespace {

struct FarmOptions {
  std::string log;
  std::string hosts;
  service::FarmBuild build;
  bool quiet = false;
  bool json = false;
};

service::ManifestFigures ReadFigures(const std::string& manifest) {
  try {
    return service::ReadManifestFigures(manifest);
  } catch (const service::ManifestError& error) {
    throw Failure{kSourceUnreadable, "", {manifest + " " + error.what(), ""}};
  } catch (const std::system_error& error) {
    throw Failure{kSourceUnreadable, manifest, {error.code().message(), "name a manifest"}};
  }
}

std::vector<service::FarmHost> ReadHosts(const std::string& path) {
  std::ifstream file(path);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  if (!file) throw Failure{kSourceUnreadable, "", {path + " cannot be read", ""}};
  try {
    auto hosts = service::ParseFarmHosts(text);
    if (hosts.empty()) throw Failure{kUsage, "", {path + " names no host", ""}};
    return hosts;
  } catch (const service::FarmError& error) {
    throw Failure{kUsage, path, {error.what(), ""}};
  }
}

ExitCode Prepare(const FarmOptions& options) {
  const service::ManifestFigures manifest = ReadFigures(options.build.manifest);
  std::vector<service::FarmHost> hosts;
  std::string command;
  if (manifest.shards > 0) {
    hosts = ReadHosts(options.hosts);
    try {
      command = service::FarmCommand(options.build, hosts);
    } catch (const service::FarmError& error) {
      throw Failure{kUsage, "", {error.what(), ""}};
    }
  }
  try {
    service::FarmLog(options.log).Prepare(manifest, hosts, options.build, command);
  } catch (const std::system_error& error) {
    throw Failure{kInternal, options.log, {error.code().message(), "name another with --log"}};
  }
  if (manifest.shards == 0) {
    std::cout << "Nothing to do\n";
  } else {
    std::cout << Counted(manifest.shards, "shard", "shards") << " for "
              << Counted(hosts.size(), "host", "hosts") << "\n";
  }
  return kDone;
}

uint64_t ShardsOf(const std::string& log) {
  try {
    return service::FarmLog(log).Shards();
  } catch (const service::FarmError& error) {
    throw Failure{kSourceUnreadable, log, {error.what(), "see vexathumb farm prepare"}};
  }
}

// Reads to the end whatever happens: who writes to a pipe that nobody reads is ended.
ExitCode Follow(const FarmOptions& options) {
  const uint64_t shards = ShardsOf(options.log);
  const std::string sources = service::FarmLog(options.log).sources();
  std::ofstream file(sources, std::ios::app);
  service::FarmTally tally;
  for (std::string line; std::getline(std::cin, line);) {
    file << line << "\n" << std::flush;
    const auto done = tally.Take(line);
    if (!done || options.quiet) continue;
    std::cout << "shard " << done->shard << " of " << shards << " done by " << done->host << "\n"
              << std::flush;
  }
  if (!file) throw Failure{kInternal, sources, {"cannot be written", ""}};
  return kDone;
}

Json ToJson(const service::FarmTally& tally, uint64_t shards, uint64_t done) {
  Json hosts = Json::array();
  for (const auto& [name, host] : tally.hosts()) {
    hosts.push_back({{"host", name}, {"built", host.built}, {"left", host.left}});
  }
  return {{"hosts", hosts}, {"built", tally.built()}, {"shards", shards}, {"done", done}};
}

void PrintTally(const service::FarmTally& tally) {
  for (const auto& [name, host] : tally.hosts()) {
    std::cout << name << ": sources built for: " << host.built
              << "; shards left to others: " << host.left << "\n";
  }
  std::cout << "sources built for in all: " << tally.built() << "\n";
}

ExitCode Report(const FarmOptions& options) {
  const service::FarmLog log(options.log);
  const uint64_t shards = ShardsOf(options.log);
  service::FarmTally tally;
  std::ifstream sources(log.sources());
  for (std::string line; std::getline(sources, line);) tally.Take(line);
  std::ifstream joblog(log.joblog());
  const uint64_t done = service::CountDoneShards(joblog);
  if (options.json) {
    PrintJson(ToJson(tally, shards, done));
  } else {
    PrintTally(tally);
  }
  if (done < shards) {
    throw Failure{
        kNoThumbnail,
        "",
        {std::to_string(shards - done) + " of " + std::to_string(shards) + " shards are not done",
         "see " + options.log + ", and call again"}};
  }
  if (!options.json) std::cout << "All " << shards << " shards are done\n";
  return kDone;
}

CLI::App* AddStep(CLI::App* farm, const char* name, const char* description, FarmOptions* options) {
  CLI::App* step = farm->add_subcommand(name, description);
  step->add_option("--log", options->log, "The folder that keeps what becomes of the shards")
      ->type_name("FOLDER")
      ->required();
  return step;
}

}  // namespace

Run AddFarmCommand(CLI::App& app) {
  const auto options = std::make_shared<FarmOptions>();
  options->build.program = "vexathumb";
  CLI::App* farm = app.add_subcommand(
      "farm", "Prepare, follow and sum up the work of several hosts, for the script run-farm");
  farm->require_subcommand(1);

  CLI::App* prepare =
      AddStep(farm, "prepare", "Write what GNU Parallel is to have the hosts do", options.get());
  prepare->add_option("--program", options->build.program, "The program on the hosts (vexathumb)")
      ->type_name("PATH");
  prepare->add_option("HOSTS", options->hosts, "A file with a host a line")->required();
  prepare->add_option("MANIFEST", options->build.manifest, "What 'vexathumb plan' wrote")
      ->required();
  prepare->add_option("BUILD-OPTION", options->build.options,
                      "Options of 'vexathumb build' besides, behind --");

  CLI::App* follow = AddStep(
      farm, "follow", "Keep what the hosts tell, and tell which shards are done", options.get());
  follow->add_flag("--quiet", options->quiet, "Only keep it");

  CLI::App* report =
      AddStep(farm, "report", "Tell which host did what, and whether all is done", options.get());
  report->add_flag("--json", options->json, "Report as JSON");

  return [options, prepare, follow] {
    if (prepare->parsed()) return Prepare(*options);
    return follow->parsed() ? Follow(*options) : Report(*options);
  };
}

}  // namespace vexathumb::program
