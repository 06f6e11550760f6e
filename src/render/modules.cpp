#include "render/modules.h"

#include <gmodule.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vips/vips8>

#include "render/loaders.h"

namespace vexathumb::render {
namespace {

struct LoaderModule {
  const char* name;
  bool is_loaded = false;
};

LoaderModule heif_module = {"vips-heif"};
LoaderModule jxl_module = {"vips-jxl"};

// Its decoders may be modules too.
void StartHeif(GModule* module) {
  gpointer symbol = nullptr;
  if (g_module_symbol(module, "heif_init", &symbol) == 0) return;
  struct Error {
    int code;
    int subcode;
    const char* message;
  };
  reinterpret_cast<Error (*)(void*)>(symbol)(nullptr);
}

// Where this release has the loader in itself there is no such file.
void Load(LoaderModule* loader) {
  if (loader->is_loaded) return;
  loader->is_loaded = true;
  const std::string release =
      std::to_string(vips_version(0)) + "." + std::to_string(vips_version(1));
  const std::string path =
      std::string(VIPS_LIBRARY_FOLDER) + "/vips-modules-" + release + "/" + loader->name + ".so";
  GModule* const module = g_module_open(path.c_str(), G_MODULE_BIND_LAZY);
  if (module == nullptr) return;
  g_module_make_resident(module);
  if (loader == &heif_module) StartHeif(module);
  AllowLoaders();
}

}  // namespace

void LeaveModulesOut() { setenv("VIPSHOME", "/nonexistent", 1); }

void LoadModulesFor(int source) {
  std::array<char, 12> head = {};
  if (pread(source, head.data(), head.size(), 0) != static_cast<ssize_t>(head.size())) return;
  const std::string_view start(head.data(), head.size());
  if (start.substr(4, 4) == "ftyp") Load(&heif_module);
  if (start.substr(0, 2) == "\xff\x0a" || start.substr(4, 4) == "JXL ") Load(&jxl_module);
}

void LoadAllModules() {
  for (LoaderModule* loader : {&heif_module, &jxl_module}) Load(loader);
}

}  // namespace vexathumb::render
