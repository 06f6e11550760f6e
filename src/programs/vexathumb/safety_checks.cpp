#include "programs/vexathumb/safety_checks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

namespace vexathumb::program {
namespace {

using vexaplatform::Confinement;

// The first versions of Landlock that know of them.
constexpr int kLandlockWithTruncation = 3;
constexpr int kLandlockWithSignals = 6;

Finding CheckLandlock(const Confinement& confinement) {
  if (confinement.landlock == 0) {
    return {Level::kWarn, "Landlock", "not in this kernel: a tool can open whatever its user can",
            "run a kernel with Landlock, 5.13 or newer"};
  }
  return {Level::kOk, "Landlock",
          "version " + std::to_string(confinement.landlock) + ": tools open their own files only",
          ""};
}

Finding CheckSeccomp(const Confinement& confinement) {
  if (confinement.seccomp) {
    return {Level::kOk, "seccomp", "tools make the system calls of a list only", ""};
  }
  return {Level::kWarn, "seccomp",
          "not in this kernel: a tool can make sockets and processes, and change the dates, modes "
          "and attributes of files",
          "run a kernel with seccomp filters"};
}

// By the list of calls alone where this Landlock does not know of it, if it `can` be so.
Finding CheckKnown(const Confinement& confinement, int version, bool can,
                   const std::string& subject, const std::string& what) {
  const bool is_known = confinement.landlock >= version;
  if (is_known) return {Level::kOk, subject, what + ", by Landlock", ""};
  if (can) return {Level::kOk, subject, what + ", by seccomp alone", ""};
  return {Level::kWarn, subject, "not here: " + what,
          "run a kernel with version " + std::to_string(version) +
              " of Landlock, or with Landlock and seccomp filters"};
}

Finding CheckTruncation(const Confinement& confinement) {
  // What a tool can open to write it can cut short as well.
  return CheckKnown(confinement, kLandlockWithTruncation,
                    confinement.seccomp && confinement.landlock > 0, "truncation",
                    "tools cut no file short but their own");
}

Finding CheckSignals(const Confinement& confinement) {
  return CheckKnown(confinement, kLandlockWithSignals, confinement.seccomp, "signals",
                    "tools signal nobody");
}

Finding CheckUsage(const Confinement& confinement) {
  if (confinement.usage) {
    return {Level::kOk, "usage", "what a tool writes in all, and its threads, are limited", ""};
  }
  return {Level::kWarn, "usage",
          "not told by this kernel: only the size of each file that a tool writes is limited",
          "mount /proc, and run a kernel that counts what processes read and write"};
}

Finding CheckPolicy(const Confinement& confinement) {
  if (!confinement.policy.empty()) return {Level::kOk, "tool policy", confinement.policy, ""};
  return {Level::kFail, "tool policy", "share/vexathumb/tool-policy/policy.xml is missing",
          "install it with the libraries"};
}

Finding CheckTemporaries(const Confinement& confinement) {
  const std::string& folder = confinement.temp_dir;
  if (access(folder.c_str(), W_OK | X_OK) == 0) {
    return {Level::kOk, "aliases", "convert gets harmless names, in private folders in " + folder,
            ""};
  }
  return {Level::kFail, "aliases", "no private folder can be made in " + folder,
          "give the right to write there, or set temp_dir under [tools] in the settings"};
}

bool ProtectsLinks() {
  char answer = '1';  // a kernel without the setting is not to be warned of
  std::ifstream("/proc/sys/fs/protected_symlinks") >> answer;
  return answer != '0';
}

// A service manager gives a unit a /tmp of its own by mounting a folder of another name there.
bool IsTmpShared() {
  struct stat status = {};
  if (stat("/tmp", &status) != 0 || (status.st_mode & S_IWOTH) == 0) return false;
  std::ifstream mounts("/proc/self/mountinfo");
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream words(line);
    std::string id, parent, device, root, place;
    words >> id >> parent >> device >> root >> place;
    if (place == "/tmp" && root.find("systemd-private-") != std::string::npos) return false;
  }
  return true;
}

}  // namespace

std::vector<Finding> CheckConfinement(const Confinement& confinement) {
  std::vector<Finding> findings;
  if (confinement.enabled) {
    findings = {CheckLandlock(confinement), CheckSeccomp(confinement), CheckTruncation(confinement),
                CheckSignals(confinement)};
  } else {
    findings = {{Level::kWarn, "confinement", "switched off: tools have the rights of their user",
                 "take confinement = no out of [tools] in the settings"}};
  }
  findings.push_back(CheckUsage(confinement));
  findings.push_back(CheckPolicy(confinement));
  findings.push_back(CheckTemporaries(confinement));
  return findings;
}

std::vector<Finding> CheckSurroundings() {
  std::vector<Finding> findings;
  if (geteuid() == 0) {
    findings.push_back({Level::kWarn, "user",
                        "runs as root, whose threads the kernel does not limit: those of tools are "
                        "counted 50 times a second",
                        "run services as a user of their own, as the systemd units do"});
  }
  if (!ProtectsLinks()) {
    findings.push_back({Level::kWarn, "links",
                        "fs.protected_symlinks is 0: others' links in "
                        "shared folders are followed",
                        "sysctl fs.protected_symlinks=1"});
  }
  if (IsTmpShared()) {
    findings.push_back({Level::kWarn, "/tmp", "is shared with all users of this machine",
                        "run services with PrivateTmp, as the systemd units do"});
  }
  return findings;
}

}  // namespace vexathumb::program
