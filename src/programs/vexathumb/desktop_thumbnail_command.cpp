#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <system_error>

#include "posix/unique_fd.h"
#include "posix/write_all.h"
#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/one_picture.h"
#include "programs/vexathumb/report.h"
#include "service/base/output_file.h"
#include "service/base/silenced_descriptor.h"
#include "service/base/source_path.h"
#include "service/serve/desktop_thumbnail.h"

namespace vexathumb::program {
namespace {

struct DesktopOptions {
  std::string source;
  std::string output;
  uint32_t side = 128;
};

std::string MakePng(const DesktopOptions& options, const service::DesktopSource& source) {
  std::string png;
  PictureOrFailure(options.source, [&] {
    const service::SilencedDescriptor silent_tools(stderr);
    return service::MakeDesktopThumbnail(source, options.side, &png);
  });
  return png;
}

void WriteBytes(const std::string& bytes, int descriptor) {
  if (!posix::WriteAll(descriptor, bytes.data(), bytes.size())) {
    throw std::system_error(errno, std::generic_category());
  }
}

// Services make an empty file and read that very one later: no other may take its place. It has the
// whole picture or nothing.
bool FillEmptyFile(const std::string& png, const std::string& path) {
  const posix::UniqueFd file(open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size != 0) {
    return false;
  }
  try {
    WriteBytes(png, file.get());
  } catch (const std::system_error&) {
    if (ftruncate(file.get(), 0) != 0) return false;  // another in its place, or none
    throw;
  }
  return true;
}

void WriteOutput(const std::string& png, const std::string& path) {
  try {
    if (FillEmptyFile(png, path)) return;
    service::OutputFile file(service::AbsolutePath(path));
    WriteBytes(png, file.descriptor());
    file.Commit();
  } catch (const std::system_error& error) {
    throw Failure{
        kInternal,
        path,
        {"cannot be written: " + error.code().message(), "check the place and its space"}};
  }
}

ExitCode RunDesktopThumbnail(const DesktopOptions& options) {
  const auto source = service::ReadDesktopSource(options.source);
  if (!source) {
    throw Failure{kSourceUnreadable, options.source, {"is no local file", "name file:///..."}};
  }
  CheckPicture(options.source, source->path, options.output);
  WriteOutput(MakePng(options, *source), options.output);
  return kDone;
}

}  // namespace

Run AddDesktopThumbnailCommand(CLI::App& app) {
  constexpr int kMaxSide = 4096;
  const auto options = std::make_shared<DesktopOptions>();
  CLI::App* command =
      app.add_subcommand("desktop-thumbnail", "Make a PNG for the thumbnail service of a desktop");
  command->add_option("-s,--size", options->side, "Pixels a side at most (128)")
      ->type_name("N")
      ->check(CLI::Range(1, kMaxSide));
  command->add_option("SOURCE", options->source, "The picture: a file: URI or a path")->required();
  command->add_option("OUTPUT", options->output, "Where the PNG is to be")->required();
  return [options] { return RunDesktopThumbnail(*options); };
}

}  // namespace vexathumb::program
