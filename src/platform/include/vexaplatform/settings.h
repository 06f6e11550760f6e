#ifndef VEXAPLATFORM_VEXAPLATFORM_SETTINGS_H_
#define VEXAPLATFORM_VEXAPLATFORM_SETTINGS_H_

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "vexa/types.h"
#include "vexaplatform/tool_limits.h"

namespace vexaplatform {

// Where the thumbnail store of a source lies; vexa/ea.h describes the three.
enum class StoreLayout { kBeside, kCentral, kAuto };

struct ShareSettings {
  std::string name;
  std::string path;  // absolute, without a trailing slash
  bool indexed = false;
};

// What makes thumbnails in our programs.
enum class EngineSetting {
  kAuto,   // the renderer where it is installed and has a loader, else the tools
  kTools,  // the library's tools alone
};

// Addresses of IPv6 that begin alike; those of IPv4 are mapped into them (::ffff:192.0.2.1).
struct Network {
  std::array<uint8_t, 16> address = {};
  int prefix = 128;  // how many bits are alike, 0 to 128
};

// This machine's own: 127.0.0.0/8 and ::1.
VEXAPLATFORM_API std::vector<Network> LoopbackNetworks();

// What our programs do around the library; the platform itself does not use them.
struct ServiceSettings {
  std::string lock_dir = "/run/lock/vexathumb";  // absolute; shared by all users that build
  int builders = 0;   // builds at once on the machine, 0 to 1024; 0: as many as processors
  int waiting = 100;  // builds that may wait for their turn besides, 0 to 10000
  int patience = 10;  // for which a web request waits for its turn, 1 to 3600 seconds
  EngineSetting engine = EngineSetting::kAuto;
  bool compaction = true;           // re-encode thumbnails that the fast path left as BMP data
  int quality = 85;                 // of JPEGs that our programs encode, 1 to 100
  int free_boxes = 16;              // thumbnails of free boxes kept for one source, 0 to 1000
  int free_box_space = 32;          // MB of these, of one source, 1 to 1048576
  int free_box_store_space = 2048;  // MB of these, of all sources of a share, 1 to 1048576
  std::vector<Network> metrics = LoopbackNetworks();  // whoever asks from there is told figures
};

// Who sends the bytes of a file over HTTP: this process, or the web server, told so by a header.
enum class HttpDelivery { kSelf, kXSendfile, kXAccelRedirect };

// Files below `path` are known to the web server below `uri`.
struct UriMapping {
  std::string path;  // absolute, without a trailing slash
  std::string uri;   // begins with a slash, without a trailing one
};

struct HttpSettings {
  HttpDelivery delivery = HttpDelivery::kSelf;
  std::vector<UriMapping> map;  // for kXAccelRedirect; the file's order
  // By which clients reach the web server, without ports; "*" is any.
  std::vector<std::string> hosts = {"localhost", "127.0.0.1", "[::1]"};
};

// How external tools are run.
struct ToolSettings {
  bool confinement = true;            // Landlock and seccomp, where the kernel has them
  std::string temp_dir = "/var/tmp";  // absolute; holds a private folder for each run of convert
  // By the program's file name; "other" is for all that have no entry of their own.
  std::map<std::string, ToolLimits> limits = {
      {"convert", {}},  {"djpeg", {768}},    {"jpegtran", {768}}, {"cjpeg", {768}},
      {"dcraw", {768}}, {"gifsicle", {768}}, {"mv", {768}},       {"vexathumb-render", {768}},
      {"other", {}}};
};

struct Settings {
  std::string file;  // where they come from, whether it exists or not
  StoreLayout layout = StoreLayout::kBeside;
  std::string root = "/var/lib/vexathumb/store";  // absolute, without a trailing slash
  std::vector<ShareSettings> shares;              // in the file's order
  ServiceSettings service;
  HttpSettings http;
  ToolSettings tools;
  std::string error;  // empty, or file, line and what is wrong there; all else is then the default
};

// The settings that hold now: those of the file that the environment variable VEXATHUMB_CONFIG
// names, else of /etc/vexathumb/platform.ini, which need not exist. The file is read again when it
// has changed or another one is named; a record once handed out stays as it is.
//
// A broken file, and a file that VEXATHUMB_CONFIG names and that cannot be read, gives one line in
// the system log for every change of it, and the defaults. Never null. Throws std::bad_alloc only.
// Callable from any thread.
VEXAPLATFORM_API std::shared_ptr<const Settings> CurrentSettings();

// While one lives, CurrentSettings() in its thread goes on to give what it gave when the outermost
// one was made: a request is answered by the same settings from beginning to end, and the file is
// looked at once.
class VEXAPLATFORM_API SettingsHold {
 public:
  SettingsHold();  // throws as CurrentSettings() does
  ~SettingsHold();
  SettingsHold(const SettingsHold&) = delete;
  SettingsHold& operator=(const SettingsHold&) = delete;

 private:
  bool outermost_;
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_SETTINGS_H_
