#include "vexaplatform/settings.h"

#include <sys/stat.h>
#include <syslog.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <tuple>
#include <utility>

#include "platform/base/settings_file.h"

namespace vexaplatform {
namespace {

constexpr char kDefaultFile[] = "/etc/vexathumb/platform.ini";
constexpr char kFileVariable[] = "VEXATHUMB_CONFIG";

// What tells one state of a settings file from another.
struct FileState {
  std::string file;
  bool must_exist = false;
  int error = 0;  // of stat
  struct stat status {};

  auto Key() const {
    return std::tie(file, must_exist, error, status.st_dev, status.st_ino, status.st_size,
                    status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_ctim.tv_sec,
                    status.st_ctim.tv_nsec);
  }

  bool operator==(const FileState& other) const { return Key() == other.Key(); }
};

FileState LookAtFile() {
  FileState state;
  // A program with raised rights does not take its settings from whoever starts it.
  const char* named = secure_getenv(kFileVariable);
  state.must_exist = named != nullptr && named[0] != '\0';
  state.file = state.must_exist ? named : kDefaultFile;
  if (stat(state.file.c_str(), &state.status) != 0) {
    state.error = errno;
    state.status = {};
  }
  return state;
}

Settings Load(const FileState& state) {
  if (!state.must_exist && (state.error == ENOENT || state.error == ENOTDIR)) {
    Settings defaults;
    defaults.file = state.file;
    return defaults;
  }
  return ReadSettingsFile(state.file);
}

std::shared_ptr<const Settings> LookUpSettings() {
  static std::mutex mutex;
  static FileState known;
  static std::shared_ptr<const Settings> current;

  const int caller_errno = errno;
  const std::lock_guard<std::mutex> lock(mutex);
  FileState now = LookAtFile();
  if (current == nullptr || !(now == known)) {
    // The state is that of before the reading: a change in between is seen by the next call.
    current = std::make_shared<const Settings>(Load(now));
    known = std::move(now);
    if (!current->error.empty()) {
      syslog(LOG_ERR, "%s:%d (%s) \"%s; the default settings are used\"", "settings.cpp", __LINE__,
             __func__, current->error.c_str());
    }
  }
  errno = caller_errno;
  return current;
}

thread_local std::shared_ptr<const Settings> held;

}  // namespace

std::vector<Network> LoopbackNetworks() {
  constexpr int kFirstByteOfMapped = 96 + 8;
  Network of_v4;
  of_v4.address = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 127};
  of_v4.prefix = kFirstByteOfMapped;
  Network of_v6;
  of_v6.address.back() = 1;
  return {of_v4, of_v6};
}

std::shared_ptr<const Settings> CurrentSettings() {
  return held == nullptr ? LookUpSettings() : held;
}

SettingsHold::SettingsHold() : outermost_(held == nullptr) {
  if (outermost_) held = LookUpSettings();
}

SettingsHold::~SettingsHold() {
  if (outermost_) held = nullptr;
}

}  // namespace vexaplatform
