#include "service/picture/picture_renderer.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>

#include "posix/unique_fd.h"
#include "vexaplatform/settings.h"

namespace vexathumb::service {
namespace {

constexpr char kProgram[] = "vexathumb-render";
constexpr uint64_t kMebibyte = uint64_t{1} << 20U;
// The time that this many take is more than is allowed for one picture, whatever their type.
constexpr uint64_t kMostPixels = uint64_t{1} << 30U;

std::string RealPath(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), &free);
  return real == nullptr ? "" : real.get();
}

// The file that this code was loaded from: a program, or a library of somebody else's.
std::string OwnFile() {
  Dl_info info = {};
  void* extra = nullptr;
  if (dladdr1(reinterpret_cast<void*>(&PictureRenderer), &info, &extra, RTLD_DL_LINKMAP) == 0) {
    return "";
  }
  const std::string name = static_cast<const link_map*>(extra)->l_name;
  if (name.empty()) return "/proc/self/exe";  // a program itself has no name here
  return name[0] == '/' ? name : RealPath(name);
}

// When it is loaded: the name may be one that holds for the current folder of then.
const std::string own_file = OwnFile();

std::unique_ptr<render::Renderer> FindRenderer() {
  const std::string file = RealPath(own_file);
  const std::string folder = file.substr(0, file.rfind('/'));
  // A library may lie one folder deeper than programs do.
  for (const std::string& place : {folder, folder + "/../bin", folder + "/../libexec",
                                   folder + "/../../libexec", std::string(VEXATHUMB_LIBEXEC)}) {
    auto renderer = std::make_unique<render::Renderer>(place + "/" + kProgram);
    if (renderer->IsInstalled()) return renderer;
  }
  return nullptr;
}

// Types of which the library knows nothing, or knows them by some of their brands only.
bool IsShownByRenderer(const std::string& type) {
  for (const char* shown : {"image/jxl", "image/avif", "image/heic", "image/heif", "image/jp2",
                            "image/jpeg", "image/png", "image/webp"}) {
    if (type == shown) return true;
  }
  return false;
}

// A TIFF with addresses of 64 bits, which no raw file is.
bool IsBigTiff(int file) {
  std::array<char, 4> head = {};
  if (pread(file, head.data(), head.size(), 0) != static_cast<ssize_t>(head.size())) return false;
  const std::string mark(head.data(), head.size());
  return mark == std::string("II+\0", 4) || mark == std::string("MM\0+", 4);
}

}  // namespace

render::Renderer* PictureRenderer() {
  if (vexaplatform::CurrentSettings()->service.engine == vexaplatform::EngineSetting::kTools) {
    return nullptr;
  }
  static const std::unique_ptr<render::Renderer> renderer = FindRenderer();
  if (renderer == nullptr) return nullptr;
  const auto why_not_started = renderer->WhyNotStarted();
  if (!why_not_started) return renderer.get();
  static std::once_flag is_told;
  std::call_once(is_told, [&] {
    syslog(LOG_ERR, "%s; pictures come from the tools", why_not_started->c_str());
  });
  return nullptr;
}

int OfferRenderer() {
  render::Renderer* const renderer = PictureRenderer();
  return renderer == nullptr ? -1 : renderer->Offer();
}

void StartRendererIfWanted() {
  if (render::Renderer* const renderer = PictureRenderer()) renderer->StartIfWanted();
}

std::string RendererProgram() {
  const render::Renderer* const renderer = PictureRenderer();
  return renderer == nullptr ? "" : renderer->program();
}

std::optional<std::string> WhyRendererCannotWork() {
  render::Renderer* const renderer = PictureRenderer();
  const posix::UniqueFd nothing(memfd_create("nothing", MFD_CLOEXEC));
  if (renderer == nullptr) return std::nullopt;
  render::Job job;
  job.source = nothing.get();
  job.limits = RendererLimits();
  const render::Answer answer = renderer->Run(job);
  return answer.ending == render::Ending::kStopped ? std::make_optional(answer.detail)
                                                   : std::nullopt;
}

render::JobLimits RendererLimits() {
  const auto settings = vexaplatform::CurrentSettings();
  const vexaplatform::ToolLimits& tool = settings->tools.limits.at(kProgram);
  render::JobLimits limits;
  limits.memory = static_cast<uint64_t>(tool.address_space) * kMebibyte;
  limits.cpu = std::chrono::seconds(tool.cpu_time);
  limits.wall = std::chrono::seconds(tool.wall_time);
  limits.pixels = kMostPixels;
  limits.file_size = static_cast<uint64_t>(tool.file_size) * kMebibyte;
  return limits;
}

std::optional<SourceFacts> FactsByRenderer(int file) {
  render::Renderer* const renderer = PictureRenderer();
  if (renderer == nullptr) return std::nullopt;
  render::Job job;
  job.source = file;
  job.orientation = 1;
  job.takes_damaged = true;
  job.limits = RendererLimits();
  const render::Answer answer = renderer->Run(job);
  if (answer.ending != render::Ending::kDone) return std::nullopt;
  if (!IsShownByRenderer(answer.type) && !IsBigTiff(file)) return std::nullopt;
  SourceFacts facts;
  facts.mime = answer.type;
  facts.width = answer.width;
  facts.height = answer.height;
  return facts;
}

int ExifOrientation(int quarter_turns, bool flop) {
  constexpr std::array<int, 4> kTurned = {1, 6, 3, 8};
  constexpr std::array<int, 4> kTurnedAndMirrored = {2, 5, 4, 7};
  const size_t turns = static_cast<size_t>(quarter_turns) % 4;
  return flop ? kTurnedAndMirrored[turns] : kTurned[turns];
}

}  // namespace vexathumb::service
