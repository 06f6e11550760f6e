#include "service/index/farm_jobs.h"

#include <algorithm>
#include <sstream>

#include "service/index/manifest.h"

namespace vexathumb::service {
namespace {

constexpr char kBlanks[] = " \t\r";

// What stands before a "#" that begins a word.
std::string WithoutComment(const std::string& line) {
  for (size_t at = line.find('#'); at != std::string::npos; at = line.find('#', at + 1)) {
    if (at == 0 || std::string(kBlanks).find(line[at - 1]) != std::string::npos) {
      return line.substr(0, at);
    }
  }
  return line;
}

// As a word of a shell's command.
std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// The host's name as GNU Parallel has it in PARALLEL_SSHHOST: without user and port.
std::string NameOf(const FarmHost& host) {
  const size_t at = host.login.find('@');
  const std::string name = at == std::string::npos ? host.login : host.login.substr(at + 1);
  return name == ":" ? name : name.substr(0, name.rfind(':'));
}

// Where hosts have the storage elsewhere: sets m to the manifest's path there, and the arguments.
std::string MappingsOf(const std::string& manifest, const std::vector<FarmHost>& hosts) {
  std::string cases;
  for (const FarmHost& host : hosts) {
    const auto mapping = ParsePathMapping(host.mapping);
    if (!mapping) continue;
    cases += " " + Quoted(NameOf(host)) + ") m=" + Quoted(Mapped(manifest, {*mapping})) +
             "; set -- --path-map " + Quoted(host.mapping) + ";;";
  }
  return cases.empty() ? "" : " case \"$PARALLEL_SSHHOST\" in" + cases + " esac;";
}

}  // namespace

std::vector<FarmHost> ParseFarmHosts(const std::string& text) {
  std::vector<FarmHost> hosts;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    line = WithoutComment(line);
    const size_t start = line.find_first_not_of(kBlanks);
    if (start == std::string::npos) continue;
    line = line.substr(start, line.find_last_not_of(kBlanks) + 1 - start);
    const size_t end = std::min(line.find_first_of(kBlanks), line.size());
    FarmHost host = {line.substr(0, end), ""};
    const size_t behind = line.find_first_not_of(kBlanks, end);
    if (behind != std::string::npos) {
      host.mapping = line.substr(behind);
      if (!ParsePathMapping(host.mapping)) {
        throw FarmError(host.mapping + ": FROM=TO with two absolute paths is wanted");
      }
    }
    hosts.push_back(std::move(host));
  }
  return hosts;
}

std::string FarmCommand(const FarmBuild& build, const std::vector<FarmHost>& hosts) {
  std::string work = R"(printf '\n{"host":"%s"}\n' "$PARALLEL_SSHHOST"; m=)";
  work += Quoted(build.manifest) + "; set --;" + MappingsOf(build.manifest, hosts) + " " +
          Quoted(build.program) + R"( build --json --manifest "$m" --shard $0 "$@")";
  for (const std::string& option : build.options) work += " " + Quoted(option);
  // 1 says that some files are no pictures, which is remembered: the shard is done all the same.
  work += "; [ $? -le 1 ]";
  if (std::count(work.begin(), work.end(), '{') > 1) {
    throw FarmError("paths and options with { are not possible here");
  }
  return "sh -c " + Quoted(work) + " {}";
}

}  // namespace vexathumb::service
