#include "platform/base/settings_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <system_error>

#include "platform/base/settings_keys.h"
#include "platform/base/settings_lines.h"
#include "posix/unique_fd.h"

namespace vexaplatform {
namespace {

using vexathumb::posix::UniqueFd;

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

// Puts what the lines say into the settings.
class Parser : public SettingsLineHandler {
 public:
  explicit Parser(Settings* settings) : settings_(settings) {}

  // Returns an empty text, or the number of the first bad line and what is wrong with it.
  std::string Parse(FILE* stream) {
    if (!ReadSettingsLines(stream, this, &complaints_)) return "cannot be read";
    for (const auto& [line, share] : shares_without_path_) {
      complaints_.Add(line, "[share " + share + "] has no path");
    }
    return complaints_.First();
  }

  void OnSection(int line, const std::string& header) override {
    const std::string share = NameBehind("share ", header);
    const std::string tool = NameBehind("tool ", header);
    kind_ = !share.empty() ? "share" : !tool.empty() ? "tool" : header;
    section_ = kind_ == header ? header : kind_ + " " + share + tool;
    keys_.clear();
    const bool lacks_name = kind_ == header && (header == "share" || header == "tool");
    if (lacks_name || !IsSettingsSection(kind_)) {
      Leave(line, "unknown section [" + section_ + "]");
    } else if (!sections_.insert(section_).second) {
      Leave(line, "[" + section_ + "] is given twice");
    } else if (!share.empty()) {
      settings_->shares.push_back({share, "", false});
      share_line_ = line;
      shares_without_path_[line] = share;
    } else if (!tool.empty()) {
      EnterTool(line, tool);
    }
  }

  void OnEntry(int line, const std::string& name, const std::string& value) override {
    const SettingsKey* const key = FindSettingsKey(kind_, name);
    const bool may_repeat = key != nullptr && key->repeat == Repeat::kAny;
    if (!keys_.insert(name).second && !may_repeat) {
      complaints_.Add(line, "\"" + name + "\" is given twice");
    }
    if (key == nullptr) {
      complaints_.Add(line, "unknown key \"" + name + "\" in [" + section_ + "]");
      return;
    }
    ShareSettings* const share = kind_ == "share" ? &settings_->shares.back() : nullptr;
    if (!key->value.take(value, {settings_, share, limits_})) {
      complaints_.Add(line, name + " is \"" + value + "\", not " + key->value.wanted);
    }
    if (share != nullptr && name == "path") shares_without_path_.erase(share_line_);
  }

 private:
  // The name in a section's header, "" when the header does not begin so.
  static std::string NameBehind(const char* kind, const std::string& header) {
    const size_t start = header.find_first_not_of(' ', strlen(kind));
    if (header.rfind(kind, 0) != 0 || start == std::string::npos) return "";
    return header.substr(start, header.find_last_not_of(' ') + 1 - start);
  }

  void EnterTool(int line, const std::string& name) {
    const auto limits = settings_->tools.limits.find(name);
    if (limits == settings_->tools.limits.end()) {
      Leave(line, "unknown tool \"" + name + "\"");
    } else {
      limits_ = &limits->second;
    }
  }

  // What follows belongs to no section.
  void Leave(int line, const std::string& why) {
    kind_ = "";
    complaints_.Add(line, why);
  }

  Settings* settings_;
  LineComplaints complaints_;
  std::string kind_;              // of the section: for SettingsKey::section
  std::string section_;           // its whole name
  ToolLimits* limits_ = nullptr;  // of the section, when it is a tool's
  std::set<std::string> sections_;
  std::set<std::string> keys_;                      // of the section so far
  int share_line_ = 0;                              // of the last share
  std::map<int, std::string> shares_without_path_;  // by their line
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
  const std::string complaint = Parser(&settings).Parse(stream.get());
  if (complaint.empty()) return settings;
  broken.error = file + ":" + complaint;
  return broken;
}

}  // namespace vexaplatform
