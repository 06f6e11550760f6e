#include "platform/tool/tool_policy.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <memory>

namespace vexaplatform {
namespace {

constexpr char kFolder[] = "/share/vexathumb/tool-policy";
constexpr int kLevels = 3;  // from lib/x86_64-linux-gnu up to the prefix

std::string RealPath(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), &free);
  return real == nullptr ? "" : real.get();
}

// The file that this code was loaded from.
std::string OwnFile() {
  Dl_info info{};
  void* extra = nullptr;
  if (dladdr1(reinterpret_cast<void*>(&ToolPolicyFolder), &info, &extra, RTLD_DL_LINKMAP) == 0) {
    return "";
  }
  // A program itself has no name here.
  const std::string name = static_cast<const link_map*>(extra)->l_name;
  return RealPath(name.empty() ? "/proc/self/exe" : name);
}

std::string FindFolder() {
  std::string folder = OwnFile();
  for (int level = 0; level < kLevels && !folder.empty(); ++level) {
    folder.resize(folder.rfind('/'));
    std::string found = folder + kFolder;
    if (access((found + "/policy.xml").c_str(), R_OK) == 0) return found;
  }
  return "";
}

// When it is loaded: the name may be one that holds for the current folder of then.
const std::string own_folder = FindFolder();

}  // namespace

const std::string& ToolPolicyFolder() { return own_folder; }

}  // namespace vexaplatform
