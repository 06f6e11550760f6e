#ifndef VEXAPLATFORM_TOOL_TOOL_PATHS_H_
#define VEXAPLATFORM_TOOL_TOOL_PATHS_H_

#include <string>
#include <vector>

namespace vexaplatform {

enum class Tool {
  kConvert,
  kDjpeg,
  kJpegtran,
  kCjpeg,
  kDcraw,
  kFfmpeg,
  kFfmpegThumbnailer,
  kMv,
  kOnFiles,  // whatever it is: it has two open files, and by its name it is none
  kOther
};

// By the program's file name, in whatever folder it lies.
Tool ToolOf(const std::string& program);

// An argument that names a file.
struct PathArgument {
  size_t index = 0;    // 0: there is none
  std::string before;  // what stands before the path in the argument: "png:"
  std::string path;
  std::string behind;  // what stands behind: "[0]"
};

// Which files a tool's vector names.
struct ToolPaths {
  bool understood = false;  // no option or operand is unknown; else nothing below is set
  bool animation = false;   // convert works on all frames
  PathArgument source;
  PathArgument destination;  // without one the tool writes to its standard output
};

ToolPaths FindToolPaths(Tool tool, const std::vector<std::string>& arguments);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_PATHS_H_
