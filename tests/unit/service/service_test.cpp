#include "unit/service/service_test.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "common/util/util.h"
#include "kit/files.h"
#include "kit/run_tool.h"
#include "service/build/thumbnail_builder.h"
#include "service/picture/source_version.h"
#include "service/store/store_files.h"

namespace vexathumb::service {

ThumbnailRequest ForLabel(const std::string& source, const std::string& label) {
  ThumbnailRequest request;
  request.source = source;
  request.label = label;
  request.box = Thumb::strThumbSizeMap_.at(label);
  return request;
}

ThumbnailRequest ForBox(const std::string& source, uint32_t width, uint32_t height) {
  ThumbnailRequest request;
  request.source = source;
  request.box = {width, height};
  return request;
}

ThumbnailRequest ForAvatar(const std::string& source, uint32_t width, uint32_t height) {
  ThumbnailRequest request = ForBox(source, width, height);
  request.avatar = true;
  return request;
}

ThumbInfo Inspected(const ThumbnailRequest& request) {
  ThumbInfo info = Describe(request);
  try {
    info.ExtractImgInfo(false);
  } catch (const Error&) {
    return info;
  }
  return info;
}

void SetModificationTime(const std::string& path, time_t seconds) {
  const struct timespec times[] = {{seconds, 0}, {seconds, 0}};
  if (utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
}

struct stat StatusOf(const std::string& path) {
  struct stat st = {};
  if (stat(path.c_str(), &st) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  return st;
}

time_t ModificationTimeOf(const std::string& path) {
  struct stat st = {};
  return stat(path.c_str(), &st) == 0 ? st.st_mtime : -1;
}

ino_t InodeOf(const std::string& path) {
  struct stat st = {};
  return stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

void WritePhoto(const std::string& path, const kit::Size& size, int orientation) {
  kit::JpegOptions options;
  options.size = size;
  options.orientation = orientation;
  kit::WriteJpeg(path, options);
  SetModificationTime(path, kSourceTime);
}

void WriteText(const std::string& path) {
  kit::WriteFile(path, "This is no picture, though it is as long as the shortest of them may be.");
  SetModificationTime(path, kSourceTime);
}

void WriteUndecodable(const std::string& path) {
  WritePhoto(path, {800, 600});
  std::string jpeg = kit::ReadFile(path);
  const size_t frame_header = jpeg.find("\xff\xc0");
  constexpr size_t kPrecision = 4;
  jpeg.at(frame_header + kPrecision) = 12;  // bits, which the decoders do not support
  kit::WriteFile(path, jpeg);
  SetModificationTime(path, kSourceTime);
}

void WriteDecodedJpeg(const std::string& path) {
  const kit::TempDir dir;
  WritePhoto(dir / "photo.jpg", {320, 240});
  kit::RunTool({"/usr/bin/djpeg", "-bmp", "-outfile", path, dir / "photo.jpg"});
}

std::vector<std::string> NamesIn(const std::string& directory) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> OwnTemporaries() {
  const std::string pid = std::to_string(getpid());
  std::vector<std::string> own;
  for (const std::string directory : {"/tmp", "/var/tmp"}) {
    for (const std::string& name : NamesIn(directory)) {
      const bool is_own = name.find("_" + pid + "_") != std::string::npos ||
                          name.find("." + pid + ".") != std::string::npos;
      if (is_own) own.push_back(directory + "/" + name);
    }
  }
  return own;
}

ServiceTest::ServiceTest() {
  SetIndexed(false);
  setenv("VEXATHUMB_CONFIG", (elsewhere_ / "platform.ini").c_str(), 1);
  options_.lock_directory = elsewhere_ / "locks";
  options_.limits = {2, 100};
}

ServiceTest::~ServiceTest() { unsetenv("VEXATHUMB_CONFIG"); }

void ServiceTest::SetIndexed(bool indexed) {
  // The library takes the second component of a path for the share's name.
  const size_t name = share_.path().find('/', 1) + 1;
  const std::string folder = share_.path().substr(name, share_.path().find('/', name) - name);
  kit::WriteFile(elsewhere_ / "platform.ini", "[share " + folder + "]\npath = " + share_.path() +
                                                  "\nindexed = " + (indexed ? "yes" : "no") +
                                                  "\n[service]\nengine = " + engine_ + "\n");
}

void ServiceTest::SetEngine(const char* engine) {
  engine_ = engine;
  SetIndexed(false);
}

std::string ServiceTest::StorePath(const std::string& picture, const std::string& entry) {
  return StoreDirectoryOf(picture) + "/" + entry;
}

void ServiceTest::WriteStored(const std::string& picture, const std::string& entry,
                              const std::string& content, time_t time) {
  ASSERT_TRUE(file::MakeEADir(picture));
  kit::WriteFile(StorePath(picture, entry), content);
  SetModificationTime(StorePath(picture, entry), time);
}

std::vector<std::string> ServiceTest::Stored(const std::string& picture) {
  return NamesIn(StoreDirectoryOf(picture));
}

Thumbnail ServiceTest::Obtain(const ThumbnailRequest& request) const {
  return ObtainThumbnail(request, options_);
}

std::optional<Thumbnail> ServiceTest::Build(const ThumbnailRequest& request) const {
  const SourceVersion version(request.source);
  Thumbnail built =
      ThumbnailBuilder(request.source, version, options_.build).Build(request, Inspected(request));
  return built.outcome == Outcome::kPicture ? std::make_optional(std::move(built)) : std::nullopt;
}

}  // namespace vexathumb::service
