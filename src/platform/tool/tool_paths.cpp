#include "platform/tool/tool_paths.h"

#include <algorithm>
#include <map>

namespace vexaplatform {
namespace {

constexpr char kFirstFrame[] = "[0]";

// Options and whether each is followed by a value.
using Options = std::map<std::string, bool>;

const Options& OptionsOf(Tool tool) {
  static const Options none;
  static const Options convert = {{"-strip", false},     {"-flop", false},     {"-coalesce", false},
                                  {"-colorspace", true}, {"-thumbnail", true}, {"-crop", true},
                                  {"-rotate", true},     {"-layers", true},    {"-gravity", true},
                                  {"-background", true}, {"-extent", true},    {"-resize", true},
                                  {"-quality", true}};
  static const Options jpeg = {{"-outfile", true},   {"-scale", true},       {"-dct", true},
                               {"-rotate", true},    {"-quality", true},     {"-fast", false},
                               {"-onepass", false},  {"-bmp", false},        {"-trim", false},
                               {"-optimize", false}, {"-progressive", false}};
  static const Options dcraw = {{"-6", false}, {"-w", false}, {"-c", false}, {"-e", false}};
  static const Options mv = {{"-f", false}, {"-T", false}};
  switch (tool) {
    case Tool::kConvert:
      return convert;
    case Tool::kDjpeg:
    case Tool::kJpegtran:
    case Tool::kCjpeg:
      return jpeg;
    case Tool::kDcraw:
      return dcraw;
    case Tool::kMv:
      return mv;
    case Tool::kOther:
      break;
  }
  return none;
}

bool Contains(const std::vector<std::string>& arguments, const char* option) {
  return std::find(arguments.begin(), arguments.end(), option) != arguments.end();
}

// A format stands before a path that begins with a slash, and only there it can be told from one.
PathArgument WithFormat(size_t index, const std::string& argument) {
  const size_t slash = argument.find('/');
  const bool has_format = slash != std::string::npos && slash > 0 && argument[slash - 1] == ':';
  const size_t start = has_format ? slash : 0;
  return {index, argument.substr(0, start), argument.substr(start), ""};
}

PathArgument WithFrame(size_t index, const std::string& argument) {
  const size_t length = sizeof(kFirstFrame) - 1;
  const bool has_frame = argument.size() > length &&
                         argument.compare(argument.size() - length, length, kFirstFrame) == 0;
  const size_t end = argument.size() - (has_frame ? length : 0);
  return {index, "", argument.substr(0, end), argument.substr(end)};
}

}  // namespace

Tool ToolOf(const std::string& program) {
  static const std::map<std::string, Tool> tools = {
      {"convert", Tool::kConvert}, {"djpeg", Tool::kDjpeg}, {"jpegtran", Tool::kJpegtran},
      {"cjpeg", Tool::kCjpeg},     {"dcraw", Tool::kDcraw}, {"mv", Tool::kMv}};
  const auto tool = tools.find(program.substr(program.rfind('/') + 1));
  return tool == tools.end() ? Tool::kOther : tool->second;
}

ToolPaths FindToolPaths(Tool tool, const std::vector<std::string>& arguments) {
  const Options& options = OptionsOf(tool);
  const bool two_operands = tool == Tool::kConvert || tool == Tool::kMv;
  std::vector<size_t> operands;
  ToolPaths paths;
  for (size_t i = 1; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const auto option = options.find(argument);
    if (option == options.end()) {
      if (argument.empty() || argument[0] == '-') return {};
      operands.push_back(i);
    } else if (option->second) {
      ++i;
      if (argument == "-outfile" && i < arguments.size()) {
        paths.destination = {i, "", arguments[i], ""};
      }
    }
  }
  // The last argument is one of the operands, or an option swallowed it.
  if (tool == Tool::kOther || operands.size() != (two_operands ? 2 : 1) ||
      operands.back() != arguments.size() - 1) {
    return {};
  }
  const size_t source = operands.front();
  paths.animation = tool == Tool::kConvert &&
                    (Contains(arguments, "-coalesce") || Contains(arguments, "-layers"));
  // A vector for all frames names none: what looks like a frame is the name's own end.
  paths.source = tool == Tool::kConvert && !paths.animation
                     ? WithFrame(source, arguments[source])
                     : PathArgument{source, "", arguments[source], ""};
  if (two_operands) {
    const size_t last = operands.back();
    paths.destination = tool == Tool::kConvert ? WithFormat(last, arguments[last])
                                               : PathArgument{last, "", arguments[last], ""};
  }
  paths.understood = true;
  return paths;
}

}  // namespace vexaplatform
