#include "platform/tool/path_aliases.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <set>

namespace vexaplatform {
namespace {

// The extension of a path with its dot; "" when there is none, or one that is no plain word.
std::string Extension(const std::string& path) {
  constexpr char kPlain[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
  constexpr size_t kLongest = 32;
  const size_t dot = path.rfind('.');
  if (dot == std::string::npos || path.size() - dot > kLongest) return "";
  return path.find_first_not_of(kPlain, dot + 1) == std::string::npos ? path.substr(dot) : "";
}

// By the source's extension convert tells formats of like contents: it keeps its own.
std::string SourceExtension(const PathArgument& source) { return Extension(source.path); }

// By the destination's it chooses what to write: a picture's format, and the source's where the
// extension is none of these.
std::string DestinationExtension(const PathArgument& destination) {
  static const std::set<std::string> pictures = {
      ".jpg",  ".jpeg", ".jpe",  ".png",  ".gif", ".bmp", ".tif", ".tiff",
      ".webp", ".heic", ".heif", ".avif", ".jxl", ".jp2", ".j2k", ".pnm",
      ".ppm",  ".pgm",  ".pbm",  ".pam",  ".tga", ".pcx", ".psd", ".ico"};
  const std::string extension = Extension(destination.path);
  std::string lower = extension;
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return pictures.count(lower) > 0 ? extension : "";
}

bool Absolute(const std::string& path, std::string* absolute) {
  *absolute = path;
  if (path[0] == '/') return true;
  std::array<char, PATH_MAX> folder{};
  if (getcwd(folder.data(), folder.size()) == nullptr) return false;
  *absolute = std::string(folder.data()) + "/" + path;
  return true;
}

bool GiveAlias(const PathArgument& argument, const std::string& name, ToolOrder* order) {
  Link link;
  if (!Absolute(argument.path, &link.target)) return false;
  link.path = order->private_folder + "/" + name;
  order->arguments[argument.index] = argument.before + link.path + argument.behind;
  order->links.push_back(link);
  return true;
}

}  // namespace

bool GiveAliases(const ToolPaths& paths, ToolOrder* order) {
  return GiveAlias(paths.source, "source" + SourceExtension(paths.source), order) &&
         GiveAlias(paths.destination, "destination" + DestinationExtension(paths.destination),
                   order);
}

}  // namespace vexaplatform
