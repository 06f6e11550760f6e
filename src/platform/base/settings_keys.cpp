#include "platform/base/settings_keys.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

namespace vexaplatform {
namespace {

// The part of the settings that a field belongs to.
template <typename Part>
Part& PartOf(const SettingsTarget& target);
template <>
Settings& PartOf(const SettingsTarget& target) {
  return *target.settings;
}
template <>
ServiceSettings& PartOf(const SettingsTarget& target) {
  return target.settings->service;
}
template <>
HttpSettings& PartOf(const SettingsTarget& target) {
  return target.settings->http;
}
template <>
ToolSettings& PartOf(const SettingsTarget& target) {
  return target.settings->tools;
}
template <>
ShareSettings& PartOf(const SettingsTarget& target) {
  return *target.share;
}
template <>
ToolLimits& PartOf(const SettingsTarget& target) {
  return *target.limits;
}

// Brings an absolute path to the form without a trailing slash. False for a relative path and for
// one that climbs.
bool TakePath(std::string path, std::string* target) {
  if (path.empty() || path[0] != '/') return false;
  if ((path + "/").find("/../") != std::string::npos) return false;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  *target = std::move(path);
  return true;
}

std::string Trimmed(const std::string& text) {
  const size_t start = text.find_first_not_of(" \t");
  if (start == std::string::npos) return "";
  return text.substr(start, text.find_last_not_of(" \t") + 1 - start);
}

template <typename Part>
SettingsValue Number(int Part::*field, int least, int most) {
  const auto take = [field, least, most](const std::string& text, const SettingsTarget& target) {
    const char* const end = text.data() + text.size();
    int number = 0;
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < least || number > most) return false;
    PartOf<Part>(target).*field = number;
    return true;
  };
  return {"a number from " + std::to_string(least) + " to " + std::to_string(most), take};
}

template <typename Part>
SettingsValue YesNo(bool Part::*field) {
  const auto take = [field](const std::string& text, const SettingsTarget& target) {
    static const std::map<std::string, bool> kAnswers = {
        {"yes", true}, {"true", true}, {"1", true}, {"no", false}, {"false", false}, {"0", false}};
    const auto answer = kAnswers.find(text);
    if (answer == kAnswers.end()) return false;
    PartOf<Part>(target).*field = answer->second;
    return true;
  };
  return {"yes or no", take};
}

template <typename Part, typename Choice>
SettingsValue OneOf(Choice Part::*field, std::vector<std::pair<std::string, Choice>> choices) {
  std::string wanted;
  for (size_t i = 0; i < choices.size(); ++i) {
    wanted += i == 0 ? "" : i + 1 < choices.size() ? ", " : " or ";
    wanted += choices[i].first;
  }
  const auto take = [field, choices = std::move(choices)](const std::string& text,
                                                          const SettingsTarget& target) {
    for (const auto& [name, choice] : choices) {
      if (name != text) continue;
      PartOf<Part>(target).*field = choice;
      return true;
    }
    return false;
  };
  return {wanted, take};
}

template <typename Part>
SettingsValue Path(std::string Part::*field, const char* wanted = "an absolute path") {
  const auto take = [field](const std::string& text, const SettingsTarget& target) {
    return TakePath(text, &(PartOf<Part>(target).*field));
  };
  return {wanted, take};
}

template <typename Part>
SettingsValue Folder(std::string Part::*field) {
  return Path(field, "the absolute path of a folder");
}

template <typename Part>
SettingsValue FolderBelowRoot(std::string Part::*field) {
  const auto take = [field](const std::string& text, const SettingsTarget& target) {
    std::string& path = PartOf<Part>(target).*field;
    return TakePath(text, &path) && path != "/";
  };
  return {"the absolute path of a folder below /", take};
}

// One more mapping with each.
SettingsValue PathToUri(std::vector<UriMapping> HttpSettings::*field) {
  const auto take = [field](const std::string& text, const SettingsTarget& target) {
    const size_t equals = text.rfind('=');
    UriMapping mapping;
    if (equals == std::string::npos || !TakePath(Trimmed(text.substr(0, equals)), &mapping.path) ||
        !TakePath(Trimmed(text.substr(equals + 1)), &mapping.uri)) {
      return false;
    }
    (PartOf<HttpSettings>(target).*field).push_back(mapping);
    return true;
  };
  return {"PATH = URI, both beginning with a slash", take};
}

// In the place of those that it had.
SettingsValue HostNames(std::vector<std::string> HttpSettings::*field) {
  const auto take = [field](const std::string& text, const SettingsTarget& target) {
    std::vector<std::string> names;
    std::istringstream words(text);
    for (std::string name; words >> name;) names.push_back(name);
    const bool are_names = std::all_of(names.begin(), names.end(), [](const std::string& name) {
      const bool is_address = name.front() == '[' && name.back() == ']';
      return name.find('/') == std::string::npos &&
             (is_address || name.find(':') == std::string::npos);
    });
    if (names.empty() || !are_names) return false;
    PartOf<HttpSettings>(target).*field = std::move(names);
    return true;
  };
  return {"names of hosts without ports, with spaces between them", take};
}

// "192.0.2.0/24", "2001:db8::/32", or one address.
bool TakeNetwork(const std::string& text, Network* network) {
  constexpr int kBitsOfMapping = 96;
  const size_t slash = text.find('/');
  const std::string address = text.substr(0, slash);
  const bool is_v4 = address.find(':') == std::string::npos;
  const std::string mapped = (is_v4 ? "::ffff:" : "") + address;
  if (inet_pton(AF_INET6, mapped.c_str(), network->address.data()) != 1) return false;
  if (slash == std::string::npos) return true;
  const char* const end = text.data() + text.size();
  int bits = 0;
  const auto [stop, error] = std::from_chars(text.data() + slash + 1, end, bits);
  network->prefix = is_v4 ? bits + kBitsOfMapping : bits;
  return error == std::errc() && stop == end && bits >= 0 && network->prefix <= 128;
}

// In the place of those that it had.
SettingsValue Networks(std::vector<Network> ServiceSettings::*field) {
  const auto take = [field](const std::string& text, const SettingsTarget& target) {
    std::vector<Network> networks;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
      if (word == "loopback") {
        for (const Network& loopback : LoopbackNetworks()) networks.push_back(loopback);
      } else if (Network network; TakeNetwork(word, &network)) {
        networks.push_back(network);
      } else if (text != "off") {
        return false;
      }
    }
    if (text.empty()) return false;
    PartOf<ServiceSettings>(target).*field = std::move(networks);
    return true;
  };
  return {"off, or loopback and networks like 192.0.2.0/24 with spaces between them", take};
}

const std::vector<SettingsKey>& Keys() {
  constexpr int kMost = 1 << 20;
  static const std::vector<SettingsKey> keys = {
      {"store", "layout",
       OneOf(&Settings::layout, {{"beside", StoreLayout::kBeside},
                                 {"central", StoreLayout::kCentral},
                                 {"auto", StoreLayout::kAuto}})},
      {"store", "root", FolderBelowRoot(&Settings::root)},

      {"share", "path", Path(&ShareSettings::path)},
      {"share", "indexed", YesNo(&ShareSettings::indexed)},

      {"service", "lock_dir", FolderBelowRoot(&ServiceSettings::lock_dir)},
      {"service", "builders", Number(&ServiceSettings::builders, 0, 1024)},
      {"service", "waiting", Number(&ServiceSettings::waiting, 0, 10000)},
      {"service", "patience", Number(&ServiceSettings::patience, 1, 3600)},
      {"service", "engine",
       OneOf(&ServiceSettings::engine,
             {{"auto", EngineSetting::kAuto}, {"tools", EngineSetting::kTools}})},
      {"service", "compaction", YesNo(&ServiceSettings::compaction)},
      {"service", "quality", Number(&ServiceSettings::quality, 1, 100)},
      {"service", "free_boxes", Number(&ServiceSettings::free_boxes, 0, 1000)},
      {"service", "free_box_space", Number(&ServiceSettings::free_box_space, 1, kMost)},
      {"service", "free_box_store_space", Number(&ServiceSettings::free_box_store_space, 1, kMost)},
      {"service", "metrics", Networks(&ServiceSettings::metrics)},

      {"http", "delivery",
       OneOf(&HttpSettings::delivery, {{"self", HttpDelivery::kSelf},
                                       {"x-sendfile", HttpDelivery::kXSendfile},
                                       {"x-accel-redirect", HttpDelivery::kXAccelRedirect}})},
      {"http", "hosts", HostNames(&HttpSettings::hosts)},
      {"http", "map", PathToUri(&HttpSettings::map), Repeat::kAny},

      {"tools", "confinement", YesNo(&ToolSettings::confinement)},
      {"tools", "temp_dir", Folder(&ToolSettings::temp_dir)},

      {"tool", "address_space", Number(&ToolLimits::address_space, 16, kMost)},
      {"tool", "cpu_time", Number(&ToolLimits::cpu_time, 1, 86400)},
      {"tool", "wall_time", Number(&ToolLimits::wall_time, 1, 86400)},
      {"tool", "file_size", Number(&ToolLimits::file_size, 1, kMost)},
      {"tool", "written", Number(&ToolLimits::written, 1, kMost)},
      {"tool", "open_files", Number(&ToolLimits::open_files, 16, kMost)},
      {"tool", "tasks", Number(&ToolLimits::tasks, 1, kMost)},
      {"tool", "jpeg_memory", Number(&ToolLimits::jpeg_memory, 1, kMost)},
      {"tool", "threads", Number(&ToolLimits::threads, 1, 1024)},
  };
  return keys;
}

}  // namespace

const SettingsKey* FindSettingsKey(const std::string& section, const std::string& name) {
  const auto& keys = Keys();
  const auto key = std::find_if(keys.begin(), keys.end(), [&](const SettingsKey& one) {
    return one.section == section && one.name == name;
  });
  return key == keys.end() ? nullptr : &*key;
}

bool IsSettingsSection(const std::string& section) {
  const auto& keys = Keys();
  return std::any_of(keys.begin(), keys.end(),
                     [&](const SettingsKey& key) { return key.section == section; });
}

}  // namespace vexaplatform
