#include "programs/vexathumb/machine_checks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "service/base/silenced_descriptor.h"
#include "service/build/animation.h"
#include "service/build/engine.h"
#include "service/picture/picture_renderer.h"
#include "service/store/store_place_check.h"
#include "thumb/thumb_convert_cmd.h"
#include "vexaplatform/settings.h"
#include "vlibc/process.h"

namespace vexathumb::program {
namespace {

struct ToolRun {
  int ending = -1;  // as VLIBCPclose tells it
  std::string output;
};

ToolRun RunTool(const std::vector<const char*>& arguments) {
  std::vector<const char*> argv = arguments;
  argv.push_back(nullptr);
  // Some tools tell their version on standard error.
  const service::SilencedDescriptor silence(stderr);
  ToolRun run;
  FILE* stream = VLIBCPopenv(argv[0], "r", argv.data());
  if (stream == nullptr) return run;
  std::array<char, 4096> buffer;
  size_t size = 0;
  while ((size = fread(buffer.data(), 1, buffer.size(), stream)) > 0) {
    run.output.append(buffer.data(), size);
  }
  run.ending = VLIBCPclose(stream);
  return run;
}

std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

struct Tool {
  std::string path;
  const char* question;  // the argument that makes it answer and do nothing; null for none
  int answer;            // the status it then exits with
  const char* package;
  const char* purpose;
};

Finding CheckTool(const Tool& tool) {
  const std::string advice = std::string("install the package ") + tool.package;
  if (access(tool.path.c_str(), F_OK) != 0) {
    return {Level::kFail, tool.path, std::string("missing: ") + tool.purpose, advice};
  }
  if (access(tool.path.c_str(), X_OK) != 0) {
    return {Level::kFail, tool.path, "cannot be executed", "give the right to execute it"};
  }
  std::vector<const char*> arguments = {tool.path.c_str()};
  if (tool.question != nullptr) arguments.push_back(tool.question);
  const ToolRun run = RunTool(arguments);
  if (run.ending != tool.answer) {
    return {Level::kFail, tool.path, "does not work",
            "reinstall the package " + std::string(tool.package)};
  }
  return {Level::kOk, tool.path, tool.purpose, ""};
}

struct Format {
  const char* name;
  bool is_basic;  // one that every installation is expected to read
  const char* advice;
};

constexpr Format kFormats[] = {
    {"JPEG", true, "install the package imagemagick"},
    {"PNG", true, "install the package imagemagick"},
    {"GIF", true, "install the package imagemagick"},
    {"BMP", true, "install the package imagemagick"},
    {"TIFF", true, "install the package imagemagick"},
    {"WEBP", false, "install an imagemagick with WebP"},
    {"HEIC", false, "install an imagemagick with libheif, and libheif1"},
    {"AVIF", false, "install an imagemagick with libheif, and libheif1"},
    {"JXL", false, "install an imagemagick with libjxl"},
};

// The "rw+" column of ImageMagick's list of formats says what can be read.
bool IsReadable(const std::string& list, const std::string& format) {
  std::istringstream lines(list);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string name;
    std::string module;
    std::string mode;
    words >> name >> module >> mode;
    if (!name.empty() && name.back() == '*') name.pop_back();
    if (name == format) return !mode.empty() && mode.front() == 'r';
  }
  return false;
}

const char* LayoutText(vexaplatform::StoreLayout layout) {
  switch (layout) {
    case vexaplatform::StoreLayout::kCentral:
      return "central";
    case vexaplatform::StoreLayout::kAuto:
      return "auto";
    default:
      return "beside";
  }
}

bool IsFolder(const std::string& path) {
  struct stat st = {};
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

std::vector<Finding> CheckTools() {
  const Tool tools[] = {
      {ThumbConvertCmd::kConvert, "-version", 0, "imagemagick", "scales and turns pictures"},
      {ThumbConvertCmd::kDjpeg, "-version", 0, "libjpeg-turbo-progs", "scales JPEG pictures"},
      {ThumbConvertCmd::kJpegtran, "-version", 0, "libjpeg-turbo-progs", "turns stored thumbnails"},
      {ThumbConvertCmd::kDcraw, nullptr, 1, "dcraw", "reads the previews of raw files"},
      {"/bin/mv", "--version", 0, "coreutils", "moves thumbnails across volumes"},
  };
  std::vector<Finding> findings;
  for (const Tool& tool : tools) findings.push_back(CheckTool(tool));
  // convert stands in for it.
  findings.push_back(
      CheckTool({service::kGifsicle, "--version", 0, "gifsicle", "makes animations quickly"}));
  if (findings.back().level == Level::kFail) findings.back().level = Level::kWarn;
  return findings;
}

std::vector<Finding> CheckFormats() {
  const ToolRun run = RunTool({ThumbConvertCmd::kConvert.c_str(), "-list", "format"});
  std::vector<Finding> findings;
  for (const Format& format : kFormats) {
    const std::string subject = std::string("format ") + format.name;
    if (run.ending == 0 && IsReadable(run.output, format.name)) {
      findings.push_back({Level::kOk, subject, "can be read", ""});
    } else {
      findings.push_back({format.is_basic ? Level::kFail : Level::kWarn, subject, "cannot be read",
                          format.advice});
    }
  }
  const bool has_dcraw = access(ThumbConvertCmd::kDcraw.c_str(), X_OK) == 0;
  findings.push_back({has_dcraw ? Level::kOk : Level::kWarn, "format raw",
                      has_dcraw ? "previews of raw files can be read" : "cannot be read",
                      has_dcraw ? "" : "install the package dcraw"});
  return findings;
}

std::vector<Finding> CheckEngines() {
  if (vexaplatform::CurrentSettings()->service.engine == vexaplatform::EngineSetting::kTools) {
    return {{Level::kOk, "renderer", "not used: engine is tools in the settings", ""}};
  }
  const std::string program = service::RendererProgram();
  if (program.empty()) {
    return {
        {Level::kWarn, "renderer",
         "not installed: pictures come from the tools, slower and without their colour profiles",
         "build with libvips 8.14 or newer"}};
  }
  // What the loader of its libraries has to say comes before its own first word.
  const ToolRun run = RunTool({"/bin/sh", "-c", "exec \"$0\" --types 2>&1", program.c_str()});
  const std::string why_not = run.ending != 0 ? program + " does not work: " + FirstLine(run.output)
                                              : service::WhyRendererCannotWork().value_or("");
  if (!why_not.empty()) {
    return {{Level::kFail, "renderer", why_not + "; pictures come from the tools",
             "install libvips, or set engine = tools under [service] in the settings"}};
  }
  std::vector<Finding> findings = {{Level::kOk, "renderer", program, ""}};
  for (const service::EngineChoice& choice : service::EngineChoices()) {
    const bool is_rendered = choice.engine == service::Engine::kRenderer;
    const bool is_loaded = run.output.find(std::string(choice.type) + "\n") != std::string::npos;
    const std::string subject = std::string("engine for ") + choice.name;
    if (is_rendered && !is_loaded) {
      findings.push_back({Level::kOk, subject, "the tools: this libvips has no loader for it", ""});
    } else {
      findings.push_back(
          {Level::kOk, subject,
           std::string(is_rendered ? "the renderer: " : "the tools: ") + choice.because, ""});
    }
  }
  return findings;
}

std::vector<Finding> CheckStore(const std::string& folder) {
  if (!IsFolder(folder)) return {{Level::kFail, folder, "is no folder", "name a folder"}};
  const std::string separator = folder.back() == '/' ? "" : "/";
  const service::StorePlace place = service::CheckStorePlace(folder + separator + "picture.jpg");
  const std::string advice = "set layout = auto under [store] in the settings";
  const std::string subject = "store of " + folder;
  if (!place.volume_fits) {
    return {{Level::kFail, subject, "its volume is remote or an image of a medium", advice}};
  }
  if (!place.obstacle.empty()) {
    return {{Level::kFail, subject, "cannot be written: " + place.obstacle,
             "give the right to write there, or " + advice}};
  }
  const std::string parent = place.directory.substr(0, place.directory.rfind('/'));
  return {{Level::kOk, subject, "thumbnails lie in " + parent, ""}};
}

std::vector<Finding> CheckSettings() {
  const auto settings = vexaplatform::CurrentSettings();
  if (!settings->error.empty()) {
    return {{Level::kFail, "settings", settings->error,
             "correct the file; until then the defaults are used"}};
  }
  std::string text = "store layout " + std::string(LayoutText(settings->layout));
  if (settings->layout != vexaplatform::StoreLayout::kBeside) text += ", root " + settings->root;
  text += ", " + std::to_string(settings->shares.size()) + " shares";
  const bool exists = access(settings->file.c_str(), F_OK) == 0;
  std::vector<Finding> findings = {
      {Level::kOk, exists ? settings->file : "settings, defaults", text, ""}};
  for (const vexaplatform::ShareSettings& share : settings->shares) {
    if (IsFolder(share.path)) continue;
    findings.push_back({Level::kWarn, "share " + share.name, share.path + " is no folder",
                        "correct its path in the settings"});
  }
  return findings;
}

}  // namespace vexathumb::program
