#include "service/watch/mount_table.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace vexathumb::service {
namespace {

constexpr char kTable[] = "/proc/self/mountinfo";

std::string WithoutLinks(const std::string& folder) {
  std::error_code error;
  const auto canonical = std::filesystem::weakly_canonical(folder, error);
  return error ? folder : canonical.string();
}

// Blanks and the like are three octal digits behind a backslash.
std::string Unescaped(const std::string& text) {
  std::string plain;
  for (size_t at = 0; at < text.size(); ++at) {
    const bool is_escaped = text[at] == '\\' && at + 3 < text.size();
    if (is_escaped) {
      plain += static_cast<char>(std::stoi(text.substr(at + 1, 3), nullptr, 8));
      at += 3;
    } else {
      plain += text[at];
    }
  }
  return plain;
}

bool IsInOrBelow(const std::string& path, const std::string& folder) {
  return path == folder || folder == "/" || path.rfind(folder + "/", 0) == 0;
}

}  // namespace

MountTable::MountTable(const std::vector<std::string>& folders)
    : table_(open(kTable, O_RDONLY | O_CLOEXEC)) {
  for (const std::string& folder : folders) folders_.push_back(WithoutLinks(folder));
  mounts_ = Read();
}

bool MountTable::HasChanged() {
  struct pollfd changes = {table_.get(), POLLPRI, 0};
  if (!table_ || poll(&changes, 1, 0) <= 0) return false;
  std::set<std::string> now = Read();
  mounts_.swap(now);
  return mounts_ != now;
}

std::set<std::string> MountTable::Read() const {
  std::set<std::string> mounts;
  std::ifstream table(kTable);
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string id;
    std::string parent;
    std::string device;
    std::string root;
    std::string place;
    fields >> id >> parent >> device >> root >> place;
    place = Unescaped(place);
    const bool is_near = std::any_of(folders_.begin(), folders_.end(), [&](const auto& folder) {
      return IsInOrBelow(folder, place) || IsInOrBelow(place, folder);
    });
    // With its number in the table: the same volume may have gone and come again meanwhile.
    if (is_near) mounts.insert(id.append(" ").append(device).append(" ").append(place));
  }
  return mounts;
}

}  // namespace vexathumb::service
