#include "platform/base/settings_file.h"

#include <fcntl.h>
#include <ini.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <system_error>
#include <utility>

#include "platform/base/unique_fd.h"

namespace vexaplatform {
namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File OpenRegular(const std::string& path) {
  UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!fd || fstat(fd.get(), &status) != 0) return {nullptr, &fclose};
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return {nullptr, &fclose};
  }
  return {fdopen(fd.Release(), "r"), &fclose};
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

// inih splits the file into keys and values. It neither counts lines for its handler nor tells of
// sections, cuts long names and splits long lines, so every line is looked at here on its way in.
class Parser {
 public:
  Parser(FILE* stream, Settings* settings) : stream_(stream), settings_(settings) {}

  // Fills the settings. Returns an empty text, or the number of the first bad line and what is
  // wrong with it.
  std::string Parse() {
    const int bad_line = ini_parse_stream(&ReadLine, this, &TakeEntry, this);
    if (ferror(stream_) != 0) return "cannot be read";
    for (const auto& [line, share] : share_lines_) {
      if (settings_->shares[share].path.empty()) {
        Complain(line, "[share " + settings_->shares[share].name + "] has no path");
      }
    }
    if (bad_line > 0) Complain(bad_line, "neither a [section] nor a key = value");
    if (complaints_.empty()) return "";
    const auto& [line, text] = *complaints_.begin();
    return std::to_string(line) + ": " + text;
  }

 private:
  static char* ReadLine(char* buffer, int size, void* parser) {
    return static_cast<Parser*>(parser)->NextLine(buffer, size);
  }

  static int TakeEntry(void* parser, const char* /*section*/, const char* key, const char* value) {
    static_cast<Parser*>(parser)->Take(key, value);
    return 1;
  }

  char* NextLine(char* buffer, int size) {
    int length = 0;
    bool sound = true;
    int c = getc(stream_);
    if (c == EOF) return nullptr;
    ++line_;
    for (; c != EOF; c = getc(stream_)) {
      // inih takes an indented line for the continuation of the value above it.
      if (length == 0 && (c == ' ' || c == '\t')) continue;
      sound = sound && c != '\0' && length < size - 1;
      if (sound) buffer[length++] = static_cast<char>(c);
      if (c == '\n') break;
    }
    buffer[length] = '\0';
    if (!sound) {
      Complain(line_, "longer than " + std::to_string(size - 2) + " bytes or not a text");
    }
    const char* end = buffer[0] == '[' ? strchr(buffer, ']') : nullptr;
    if (end != nullptr)
      EnterSection(std::string(buffer + 1, static_cast<size_t>(end - buffer) - 1));
    return buffer;
  }

  void EnterSection(const std::string& header) {
    static const std::set<std::string> kSections = {"store", "service", "http", "tools"};
    const std::string share = NameBehind("share ", header);
    const std::string tool = NameBehind("tool ", header);
    section_ = !share.empty() ? "share " + share : !tool.empty() ? "tool " + tool : header;
    keys_.clear();
    limits_ = nullptr;
    if (share.empty() && tool.empty() && kSections.count(section_) == 0) {
      Complain(line_, "unknown section [" + section_ + "]");
    } else if (!sections_.insert(section_).second) {
      Complain(line_, "[" + section_ + "] is given twice");
    } else if (!share.empty()) {
      share_lines_[line_] = settings_->shares.size();
      settings_->shares.push_back({share, "", false});
    } else if (!tool.empty()) {
      EnterTool(tool);
    }
  }

  // The name in a section's header, "" when the header does not begin so.
  static std::string NameBehind(const char* kind, const std::string& header) {
    const size_t start = header.find_first_not_of(' ', strlen(kind));
    if (header.rfind(kind, 0) != 0 || start == std::string::npos) return "";
    return header.substr(start, header.find_last_not_of(' ') + 1 - start);
  }

  void EnterTool(const std::string& name) {
    const auto limits = settings_->tools.limits.find(name);
    if (limits == settings_->tools.limits.end()) {
      Complain(line_, "unknown tool \"" + name + "\"");
    } else {
      limits_ = &limits->second;
    }
  }

  void Take(const std::string& key, const std::string& value) {
    const bool may_repeat = section_ == "http" && key == "map";
    if (!keys_.insert(key).second && !may_repeat) {
      Complain(line_, "\"" + key + "\" is given twice");
    }
    const bool known = section_ == "store"          ? TakeStore(key, value)
                       : section_ == "service"      ? TakeService(key, value)
                       : section_ == "http"         ? TakeHttp(key, value)
                       : section_ == "tools"        ? TakeTools(key, value)
                       : limits_ != nullptr         ? TakeLimit(key, value)
                       : !settings_->shares.empty() ? TakeShare(key, value)
                                                    : false;
    if (!known) Complain(line_, "unknown key \"" + key + "\" in [" + section_ + "]");
  }

  // These answer whether the key is known.
  bool TakeStore(const std::string& key, const std::string& value) {
    if (key == "layout") {
      static const std::map<std::string, StoreLayout> kLayouts = {
          {"beside", StoreLayout::kBeside},
          {"central", StoreLayout::kCentral},
          {"auto", StoreLayout::kAuto}};
      const auto layout = kLayouts.find(value);
      if (layout == kLayouts.end()) {
        Complain(line_, "layout is \"" + value + "\", not beside, central or auto");
      } else {
        settings_->layout = layout->second;
      }
      return true;
    }
    if (key == "root") {
      if (!TakePath(value, &settings_->root) || settings_->root == "/") {
        Complain(line_, "root is \"" + value + "\", not the absolute path of a folder below /");
      }
      return true;
    }
    return false;
  }

  bool TakeShare(const std::string& key, const std::string& value) {
    ShareSettings& share = settings_->shares.back();
    if (key == "path") {
      if (!TakePath(value, &share.path)) {
        share.path = value.empty() ? "?" : value;  // said once, here
        Complain(line_, "path is \"" + value + "\", not an absolute path");
      }
      return true;
    }
    if (key == "indexed") return TakeYesNo(key, value, &share.indexed);
    return false;
  }

  bool TakeService(const std::string& key, const std::string& value) {
    ServiceSettings& service = settings_->service;
    if (key == "lock_dir") {
      if (!TakePath(value, &service.lock_dir) || service.lock_dir == "/") {
        Complain(line_, "lock_dir is \"" + value + "\", not the absolute path of a folder below /");
      }
      return true;
    }
    if (key == "builders") return TakeNumber(key, value, {0, 1024}, &service.builders);
    if (key == "waiting") return TakeNumber(key, value, {0, 10000}, &service.waiting);
    if (key == "compaction") return TakeYesNo(key, value, &service.compaction);
    if (key == "quality") return TakeNumber(key, value, {1, 100}, &service.quality);
    if (key == "free_boxes") return TakeNumber(key, value, {0, 1000}, &service.free_boxes);
    return false;
  }

  bool TakeHttp(const std::string& key, const std::string& value) {
    if (key == "delivery") {
      static const std::map<std::string, HttpDelivery> kDeliveries = {
          {"self", HttpDelivery::kSelf},
          {"x-sendfile", HttpDelivery::kXSendfile},
          {"x-accel-redirect", HttpDelivery::kXAccelRedirect}};
      const auto delivery = kDeliveries.find(value);
      if (delivery == kDeliveries.end()) {
        Complain(line_, "delivery is \"" + value + "\", not self, x-sendfile or x-accel-redirect");
      } else {
        settings_->http.delivery = delivery->second;
      }
      return true;
    }
    if (key == "map") {
      const size_t equals = value.rfind('=');
      UriMapping mapping;
      if (equals == std::string::npos ||
          !TakePath(Trimmed(value.substr(0, equals)), &mapping.path) ||
          !TakePath(Trimmed(value.substr(equals + 1)), &mapping.uri)) {
        Complain(line_, "map is \"" + value + "\", not PATH = URI, both beginning with a slash");
      }
      settings_->http.map.push_back(mapping);
      return true;
    }
    return false;
  }

  bool TakeTools(const std::string& key, const std::string& value) {
    ToolSettings& tools = settings_->tools;
    if (key == "confinement") return TakeYesNo(key, value, &tools.confinement);
    if (key == "temp_dir") {
      if (!TakePath(value, &tools.temp_dir)) {
        Complain(line_, "temp_dir is \"" + value + "\", not the absolute path of a folder");
      }
      return true;
    }
    return false;
  }

  bool TakeLimit(const std::string& key, const std::string& value) {
    constexpr int kMost = 1 << 20;
    if (key == "address_space") return TakeNumber(key, value, {16, kMost}, &limits_->address_space);
    if (key == "cpu_time") return TakeNumber(key, value, {1, 86400}, &limits_->cpu_time);
    if (key == "wall_time") return TakeNumber(key, value, {1, 86400}, &limits_->wall_time);
    if (key == "file_size") return TakeNumber(key, value, {1, kMost}, &limits_->file_size);
    if (key == "open_files") return TakeNumber(key, value, {16, kMost}, &limits_->open_files);
    if (key == "jpeg_memory") return TakeNumber(key, value, {1, kMost}, &limits_->jpeg_memory);
    if (key == "threads") return TakeNumber(key, value, {1, 1024}, &limits_->threads);
    return false;
  }

  bool TakeYesNo(const std::string& key, const std::string& value, bool* target) {
    static const std::map<std::string, bool> kAnswers = {
        {"yes", true}, {"true", true}, {"1", true}, {"no", false}, {"false", false}, {"0", false}};
    const auto answer = kAnswers.find(value);
    if (answer == kAnswers.end()) {
      Complain(line_, key + " is \"" + value + "\", not yes or no");
    } else {
      *target = answer->second;
    }
    return true;
  }

  struct Range {
    int least;
    int most;
  };

  bool TakeNumber(const std::string& key, const std::string& value, Range range, int* target) {
    const char* const end = value.data() + value.size();
    int number = 0;
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (error != std::errc() || stop != end || number < range.least || number > range.most) {
      Complain(line_, key + " is \"" + value + "\", not a number from " +
                          std::to_string(range.least) + " to " + std::to_string(range.most));
    } else {
      *target = number;
    }
    return true;
  }

  void Complain(int line, const std::string& text) { complaints_.emplace(line, text); }

  FILE* stream_;
  Settings* settings_;
  int line_ = 0;
  std::string section_;
  ToolLimits* limits_ = nullptr;  // of the section, when it is a tool's
  std::set<std::string> sections_;
  std::set<std::string> keys_;             // of the section so far
  std::map<int, size_t> share_lines_;      // line to index in Settings::shares
  std::map<int, std::string> complaints_;  // by line, the first of each
};

}  // namespace

Settings ReadSettingsFile(const std::string& file) {
  Settings broken;
  broken.file = file;
  const File stream = OpenRegular(file);
  if (!stream) {
    broken.error = file + ": " + std::generic_category().message(errno);
    return broken;
  }
  Settings settings;
  settings.file = file;
  const std::string complaint = Parser(stream.get(), &settings).Parse();
  if (complaint.empty()) return settings;
  broken.error = file + ":" + complaint;
  return broken;
}

}  // namespace vexaplatform
