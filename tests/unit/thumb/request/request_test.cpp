#include "unit/thumb/request/request_test.h"

#include <sys/stat.h>
#include <utime.h>

namespace vexathumb {
namespace {

using kit::Call;
using kit::CallJournal;

std::string Short(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  return name.rfind("thumb.", 0) == 0 && path.rfind("/tmp/thumb.", 0) == 0 ? "preview" : name;
}

std::string StepOf(const Call& call) {
  const std::string& operation = call.operation;
  if (operation == "VEXAShareGet") return "share";
  if (operation == "VEXAEAPath") return "name " + call.arguments[0];
  if (operation == "VEXAGetFSType") return "volume";
  if (operation == "VEXAEADirPath") return "store";
  if (operation == "VEXAEAMKDir") return "make store";
  if (operation == "VLIBCExecv" || operation == "VLIBCExecl") return "run " + Short(call.path);
  if (operation == "VLIBCPopenv") return "open " + Short(call.path);
  if (operation == "rename")
    return "rename " + Short(call.path) + " -> " + Short(call.arguments[0]);
  if (operation == "HttpOutputFile") return "send " + Short(call.path);
  if (operation == "HttpOutputStream") return "stream " + Short(call.path);
  if (operation == "puts") return "puts";
  // The preview gets its times while it is extracted.
  const std::string name = Short(call.path);
  if (operation == "stat" && name.rfind("VEXA", 0) != 0) return "";
  if (operation == "utime" && name == "preview") return "";
  if (operation == "access" || operation == "stat" || operation == "unlink" ||
      operation == "chmod" || operation == "utime") {
    return operation + " " + name;
  }
  return "";
}

}  // namespace

RequestTest::RequestTest() {
  libc_.time = now_;
  kit::TakeLog();
}

std::string RequestTest::Jpeg(const kit::JpegOptions& options) const {
  std::string path = dir_ / "photo.jpg";
  kit::WriteJpeg(path, options);
  return path;
}

std::string RequestTest::Png() const {
  std::string path = dir_ / "photo.png";
  kit::WritePng(path);
  return path;
}

std::string RequestTest::Bmp() const {
  std::string path = dir_ / "photo.bmp";
  kit::WriteBmp(path);
  return path;
}

std::string RequestTest::Gif() const {
  std::string path = dir_ / "photo.gif";
  kit::WriteGif(path);
  return path;
}

std::string RequestTest::Tiff() const {
  std::string path = dir_ / "photo.tif";
  kit::WriteTiff(path);
  return path;
}

std::string RequestTest::Text() const {
  std::string path = dir_ / "text.jpg";
  // Exiv2 calls much shorter ones unreadable instead of unknown.
  kit::WriteFile(path, "This is a text, though its name says picture.");
  return path;
}

std::string RequestTest::Video() const {
  std::string path = dir_ / "clip.mp4";
  kit::WriteFile(path, "video");
  return path;
}

std::string RequestTest::StorePath(const std::string& source, const std::string& name) const {
  return dir_ / (".vexaea/" + source.substr(source.rfind('/') + 1) + "/" + name);
}

std::string RequestTest::Store(const std::string& source, const std::string& name,
                               int seconds) const {
  std::string path = StorePath(source, name);
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  kit::WriteFile(path, "stored");
  SetModifiedAt(path, ModifiedAt(source) + seconds);
  return path;
}

void RequestTest::SetShareStatus(int status) {
  // The second component of the path, or the source's name where there is but one.
  const std::string path = dir_ / "x";
  const size_t begin = path.find('/', 1) + 1;
  platform_.shares[path.substr(begin, path.find('/', begin) - begin)] = status;
}

RequestTest::Vector RequestTest::TakeSteps() const {
  Vector steps;
  for (const Call& call : CallJournal::Get().All()) {
    const std::string step = StepOf(call);
    if (!step.empty()) steps.push_back(step);
  }
  CallJournal::Get().Clear();
  return steps;
}

RequestTest::Vector RequestTest::TakeTools() const {
  Vector tools;
  for (const Vector& vector : CallJournal::Get().ToolVectors()) tools.push_back(Short(vector[0]));
  CallJournal::Get().Clear();
  return tools;
}

RequestTest::Vector RequestTest::TakeMessages() {
  Vector messages;
  for (const kit::LogLine& line : kit::TakeLog()) {
    const size_t function = line.text.find('(');
    const size_t message = line.text.find('"', function);
    messages.push_back(line.text.substr(function + 1, line.text.find(')') - function - 1) + ": " +
                       line.text.substr(message + 1, line.text.size() - message - 2));
  }
  return messages;
}

time_t RequestTest::ModifiedAt(const std::string& path) {
  struct stat st = {};
  return stat(path.c_str(), &st) == 0 ? st.st_mtime : -1;
}

void RequestTest::SetModifiedAt(const std::string& path, time_t when) {
  const struct utimbuf times = {when, when};
  utime(path.c_str(), &times);
}

bool RequestTest::Exists(const std::string& path) { return std::filesystem::exists(path); }

int RequestTest::PreviewsInTmp() {
  int previews = 0;
  const std::string prefix = "thumb." + std::to_string(getpid()) + ".";
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    if (entry.path().filename().string().rfind(prefix, 0) == 0) ++previews;
  }
  return previews;
}

}  // namespace vexathumb
