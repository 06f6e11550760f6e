#include "service/serve/desktop_thumbnail.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string_view>

#include "service/base/atomic_file.h"
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
// Never appears there: it is read under its temporary name.
constexpr char kMadeAt[] = "/var/tmp/vexathumb_desktop.png";
constexpr char kHexDigits[] = "0123456789ABCDEF";

// As GLib writes them: services find their files by a sum of the URI.
std::string UriOf(const std::string& path) {
  constexpr std::string_view kKept = "!$&'()*+,-./:=@_~";
  std::string uri(kFileScheme);
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte < 0x80 && isalnum(byte) != 0) || kKept.find(c) != std::string_view::npos) {
      uri += c;
    } else {
      uri += '%';
      uri += kHexDigits[byte >> 4U];
      uri += kHexDigits[byte & 15U];
    }
  }
  return uri;
}

std::optional<std::string> DecodePath(std::string_view encoded) {
  const auto digit = [](char c) {
    const std::string_view digits = kHexDigits;
    const size_t value = digits.find(static_cast<char>(toupper(static_cast<unsigned char>(c))));
    return value == std::string_view::npos ? -1 : static_cast<int>(value);
  };
  std::string path;
  for (size_t i = 0; i < encoded.size(); ++i) {
    if (encoded[i] != '%') {
      path += encoded[i];
      continue;
    }
    if (i + 2 >= encoded.size()) return std::nullopt;
    const int high = digit(encoded[i + 1]);
    const int low = digit(encoded[i + 2]);
    if (high < 0 || low < 0 || high + low == 0) return std::nullopt;
    path += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return path;
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
std::string FitAsPng(const std::string& picture, uint32_t side) {
  ThumbnailRequest request;
  request.source = picture;
  request.box = ThumbDimension(side, side);
  ThumbInfo info = Describe(request);
  if (!Inspect(&info).IsUsable()) return "";
  if (PictureRenderer() != nullptr) {
    AtomicFile made(kMadeAt);
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
  const AtomicFile made(kMadeAt);
  return ConvertCmd(info, picture, made.path()).exec() ? ReadAll(made.path()) : "";
}

// The preview of a raw file of which only dcraw knows where it is, as a PNG; empty where there is
// none. The library's command would put it into the store's directory on its way.
std::string FitRawPreview(const std::string& source, uint32_t side) {
  constexpr char kDcraw[] = "/usr/bin/dcraw";
  const std::array<const char*, 7> arguments = {kDcraw, "-6",           "-w",   "-c",
                                                "-e",   source.c_str(), nullptr};
  AtomicFile preview(kMadeAt);
  const int file = preview.Create();
  FILE* const stream = file >= 0 ? VLIBCPopenv(kDcraw, "r", arguments.data()) : nullptr;
  if (stream == nullptr) return "";
  std::array<char, 65536> buffer = {};
  bool is_written = true;
  for (size_t size = 0; (size = fread(buffer.data(), 1, buffer.size(), stream)) > 0;) {
    is_written = is_written && write(file, buffer.data(), size) == static_cast<ssize_t>(size);
  }
  return VLIBCPclose(stream) == 0 && is_written ? FitAsPng(preview.path(), side) : "";
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
  const auto path = DecodePath(rest);
  if (!path || path->empty()) return std::nullopt;
  return DesktopSource{uri_or_path, AbsolutePath(*path)};
}

Thumbnail MakeDesktopThumbnail(const DesktopSource& source, uint32_t side, std::string* png) {
  ObtainOptions options = ObtainOptionsFrom(vexaplatform::CurrentSettings()->service);
  options.use_failure_record = false;
  options.build.is_for_one = true;
  options.build.outside_store = OutsideStore::kAlone;
  struct stat before = {};
  if (stat(source.path.c_str(), &before) != 0) {
    return Thumbnail::None(Outcome::kMissing, cause::kMissingSource);
  }
  Thumbnail thumbnail = ObtainThumbnail(RequestFor(source.path, side), options);
  const bool may_be_raw = thumbnail.outcome == Outcome::kUnusable && !IsSupportVideo(source.path);
  if (thumbnail.outcome != Outcome::kPicture && !may_be_raw) return thumbnail;
  const RemovedWhenGone guard(thumbnail);
  const std::string fitted =
      may_be_raw ? FitRawPreview(source.path, side) : FitAsPng(thumbnail.path, side);
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
