#include "service/serve/desktop_thumbnail.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>

#include "posix/write_all.h"
#include "service/base/atomic_file.h"
#include "service/base/lock_file.h"
#include "service/base/percent_encoding.h"
#include "service/base/source_path.h"
#include "service/base/version.h"
#include "service/picture/inspection.h"
#include "service/picture/picture_renderer.h"
#include "service/serve/obtain.h"
#include "service/serve/png_text.h"
#include "thumb/thumb_convert_cmd.h"
#include "vexaplatform/settings.h"
#include "vlibc/process.h"

namespace vexathumb::service {
namespace {

constexpr std::string_view kFileScheme = "file://";

// The sandboxes in which desktops run programs like this have little more than /usr, the source and
// a /tmp of their own. Some have a root folder besides in which the rest can be made, for the
// tools; in others all is closed to writers.
class Places {
 public:
  explicit Places(const std::string& locks) : locks_(locks) {
    std::error_code error;
    if (std::filesystem::create_directories(temporary_, error)) chmod(temporary_.c_str(), 01777);
    if (access(temporary_.c_str(), W_OK) != 0) temporary_ = "/tmp";
    try {
      const LockFile usable(locks, "desktop");
    } catch (const std::system_error&) {
      locks_ = "/tmp/vexathumb";
    }
  }

  const std::string& temporary() const { return temporary_; }
  const std::string& locks() const { return locks_; }

  // Never appears there: it is read under its temporary name.
  std::string NewPng() const { return temporary_ + "/vexathumb_desktop.png"; }

 private:
  std::string temporary_ = "/var/tmp";
  std::string locks_;
};

// As GLib writes them: services find their files by a sum of the URI.
std::string UriOf(const std::string& path) {
  return std::string(kFileScheme) + PercentEncode(path, "!$&'()*+,-./:=@_~");
}

// Of the smallest named size that is large enough, which is what a store may have.
ThumbnailRequest RequestFor(const std::string& source, uint32_t side) {
  ThumbnailRequest request;
  request.source = source;
  request.box = ThumbDimension(side, side);
  for (const std::string& label : Thumb::size_vec) {
    const ThumbDimension& box = Thumb::strThumbSizeMap_.at(label);
    if (label == kOriginal || box.width_ < side || box.height_ < side) continue;
    if (!request.IsFreeBox() && box.width_ >= request.box.width_) continue;
    request.label = label;
    request.box = box;
  }
  return request;
}

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Fits a picture into a square, upright, as a PNG. Its bytes; empty where that cannot be done.
std::string FitAsPng(const std::string& picture, uint32_t side, const Places& places) {
  ThumbnailRequest request;
  request.source = picture;
  request.box = ThumbDimension(side, side);
  ThumbInfo info = Describe(request);
  if (!Inspect(&info).IsUsable()) return "";
  if (PictureRenderer() != nullptr) {
    AtomicFile made(places.NewPng());
    const posix::UniqueFd source = OpenSource(picture);
    render::Job job;
    job.source = source.get();
    job.orientation = ExifOrientation(info.GetRotate(), info.GetFlop());
    job.takes_damaged = true;
    job.limits = RendererLimits();
    render::PictureOrder order;
    order.width = side;
    order.height = side;
    order.coding = render::Coding::kPng;
    order.file = made.Create();
    job.pictures = {order};
    if (source && order.file >= 0 && PictureRenderer()->Run(job).ending == render::Ending::kDone) {
      return ReadAll(made.path());
    }
  }
  // `convert` would enlarge it.
  const uint32_t longest = std::min(side, std::max(info.GetWidth(), info.GetHeight()));
  info.SetDimension(ThumbDimension(longest, longest));
  const AtomicFile made(places.NewPng());
  return ConvertCmd(info, picture, made.path()).exec() ? ReadAll(made.path()) : "";
}

// The preview of a raw file of which only dcraw knows where it is, as a PNG; empty where there is
// none. The library's command would put it into the store's directory on its way.
std::string FitRawPreview(const std::string& source, uint32_t side, const Places& places) {
  constexpr char kDcraw[] = "/usr/bin/dcraw";
  const std::array<const char*, 7> arguments = {kDcraw, "-6",           "-w",   "-c",
                                                "-e",   source.c_str(), nullptr};
  AtomicFile preview(places.NewPng());
  const int file = preview.Create();
  FILE* const stream = file >= 0 ? VLIBCPopenv(kDcraw, "r", arguments.data()) : nullptr;
  if (stream == nullptr) return "";
  std::array<char, 65536> buffer = {};
  bool is_written = true;
  for (size_t size = 0; (size = fread(buffer.data(), 1, buffer.size(), stream)) > 0;) {
    is_written = is_written && posix::WriteAll(file, buffer.data(), size);
  }
  return VLIBCPclose(stream) == 0 && is_written ? FitAsPng(preview.path(), side, places) : "";
}

std::string TypeOf(const std::string& source, const Thumbnail& thumbnail) {
  if (!thumbnail.made_of.empty()) return thumbnail.made_of;
  const InspectedSource inspected(source, false);
  return inspected.inspection().IsUsable() ? inspected.info().GetMimeType() : "";
}

class RemovedWhenGone {
 public:
  explicit RemovedWhenGone(const Thumbnail& thumbnail) : thumbnail_(thumbnail) {}
  RemovedWhenGone(const RemovedWhenGone&) = delete;
  RemovedWhenGone& operator=(const RemovedWhenGone&) = delete;
  ~RemovedWhenGone() {
    if (thumbnail_.owner == Owner::kCaller) unlink(thumbnail_.path.c_str());
  }

 private:
  const Thumbnail& thumbnail_;
};

}  // namespace

std::optional<DesktopSource> ReadDesktopSource(const std::string& uri_or_path) {
  std::string_view rest = uri_or_path;
  if (rest.find("://") == std::string_view::npos || rest[0] == '/') {
    const std::string path = AbsolutePath(uri_or_path);
    return DesktopSource{UriOf(path), path};
  }
  if (rest.substr(0, kFileScheme.size()) != kFileScheme) return std::nullopt;
  rest.remove_prefix(kFileScheme.size());
  const std::string_view host = rest.substr(0, rest.find('/'));
  if (!host.empty() && host != "localhost") return std::nullopt;
  rest.remove_prefix(host.size());
  const auto path = PercentDecode(rest);
  if (!path || path->empty() || path->find('\0') != std::string::npos) return std::nullopt;
  return DesktopSource{uri_or_path, AbsolutePath(*path)};
}

Thumbnail MakeDesktopThumbnail(const DesktopSource& source, uint32_t side, std::string* png) {
  ObtainOptions options = ObtainOptionsFrom(vexaplatform::CurrentSettings()->service);
  options.use_failure_record = false;
  options.build.is_for_one = true;
  options.build.outside_store = OutsideStore::kAlone;
  const Places places(options.lock_directory);
  options.lock_directory = places.locks();
  options.build.outside_folder = places.temporary();
  struct stat before = {};
  if (stat(source.path.c_str(), &before) != 0) {
    return Thumbnail::None(Outcome::kMissing, cause::kMissingSource);
  }
  Thumbnail thumbnail = ObtainThumbnail(RequestFor(source.path, side), options);
  const bool may_be_raw = thumbnail.outcome == Outcome::kUnusable && !IsSupportVideo(source.path);
  if (thumbnail.outcome != Outcome::kPicture && !may_be_raw) return thumbnail;
  const RemovedWhenGone guard(thumbnail);
  const std::string fitted = may_be_raw ? FitRawPreview(source.path, side, places)
                                        : FitAsPng(thumbnail.path, side, places);
  if (fitted.empty() && may_be_raw) return thumbnail;
  const auto with_texts =
      WithTexts(fitted, {{"Thumb::URI", source.uri},
                         {"Thumb::MTime", std::to_string(before.st_mtim.tv_sec)},
                         {"Thumb::Size", std::to_string(before.st_size)},
                         {"Thumb::Mimetype", TypeOf(source.path, thumbnail)},
                         {"Software", std::string("vexathumb ") + kVersion}});
  if (!with_texts) return Thumbnail::None(Outcome::kUnusable, cause::kNoTool);
  *png = *with_texts;
  Thumbnail made = thumbnail;
  made.outcome = Outcome::kPicture;
  return made;
}

}  // namespace vexathumb::service
