#include "platform/tool/tool_paths.h"

#include <algorithm>
#include <map>

namespace vexaplatform {
namespace {

constexpr char kFirstFrame[] = "[0]";
constexpr char kFileProtocol[] = "file:";

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
  static const Options ffmpeg = {{"-protocol_whitelist", true},
                                 {"-format_whitelist", true},
                                 {"-frames:v", true},
                                 {"-vf", true},
                                 {"-q:v", true},
                                 {"-f", true},
                                 {"-i", true},
                                 {"-v", true},
                                 {"-an", false},
                                 {"-sn", false},
                                 {"-y", false},
                                 {"-nostdin", false}};
  static const Options ffmpegthumbnailer = {
      {"-i", true}, {"-o", true}, {"-s", true}, {"-q", true}, {"-c", true}};
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
    case Tool::kFfmpeg:
      return ffmpeg;
    case Tool::kFfmpegThumbnailer:
      return ffmpegthumbnailer;
    case Tool::kMv:
      return mv;
    case Tool::kOnFiles:
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

// ffmpeg takes what stands before a colon for a protocol, and only of this one is the rest a path.
bool WithProtocol(size_t index, const std::string& argument, PathArgument* path) {
  const size_t length = sizeof(kFileProtocol) - 1;
  if (argument.compare(0, length, kFileProtocol) != 0) return false;
  *path = {index, kFileProtocol, argument.substr(length), ""};
  return true;
}

// A vector whose options are all known: where the values of its options stand, and its operands.
struct Words {
  std::map<std::string, size_t> values;
  std::vector<size_t> operands;
};

bool Read(const std::vector<std::string>& arguments, const Options& options, Words* words) {
  for (size_t i = 1; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const auto option = options.find(argument);
    if (option == options.end()) {
      if (argument.empty() || argument[0] == '-') return false;
      words->operands.push_back(i);
    } else if (option->second) {
      if (++i == arguments.size()) return false;
      words->values[argument] = i;
    }
  }
  return true;
}

PathArgument Value(const Words& words, const char* option,
                   const std::vector<std::string>& arguments) {
  const auto value = words.values.find(option);
  if (value == words.values.end()) return {};
  return {value->second, "", arguments[value->second], ""};
}

ToolPaths PathsOfThumbnailer(const Words& words, const std::vector<std::string>& arguments) {
  ToolPaths paths;
  paths.source = Value(words, "-i", arguments);
  paths.destination = Value(words, "-o", arguments);
  paths.understood =
      words.operands.empty() && paths.source.index > 0 && paths.destination.index > 0;
  return paths;
}

ToolPaths PathsOfFfmpeg(const Words& words, const std::vector<std::string>& arguments) {
  ToolPaths paths;
  const PathArgument input = Value(words, "-i", arguments);
  const bool is_one = std::count(arguments.begin(), arguments.end(), "-i") == 1 &&
                      words.operands.size() == 1 && words.operands[0] == arguments.size() - 1;
  paths.understood = is_one && WithProtocol(input.index, input.path, &paths.source) &&
                     WithProtocol(words.operands[0], arguments.back(), &paths.destination);
  return paths;
}

ToolPaths PathsOfPictures(Tool tool, const Words& words,
                          const std::vector<std::string>& arguments) {
  ToolPaths paths;
  const bool two_operands = tool == Tool::kConvert || tool == Tool::kMv;
  // The last argument is one of the operands, or an option swallowed it.
  if (words.operands.size() != (two_operands ? 2 : 1) ||
      words.operands.back() != arguments.size() - 1) {
    return {};
  }
  const size_t source = words.operands.front();
  const size_t last = words.operands.back();
  paths.animation = tool == Tool::kConvert &&
                    (Contains(arguments, "-coalesce") || Contains(arguments, "-layers"));
  // A vector for all frames names none: what looks like a frame is the name's own end.
  paths.source = tool == Tool::kConvert && !paths.animation
                     ? WithFrame(source, arguments[source])
                     : PathArgument{source, "", arguments[source], ""};
  if (tool == Tool::kConvert) {
    paths.destination = WithFormat(last, arguments[last]);
  } else {
    paths.destination = tool == Tool::kMv ? PathArgument{last, "", arguments[last], ""}
                                          : Value(words, "-outfile", arguments);
  }
  paths.understood = true;
  return paths;
}

}  // namespace

Tool ToolOf(const std::string& program) {
  static const std::map<std::string, Tool> tools = {
      {"convert", Tool::kConvert},   {"djpeg", Tool::kDjpeg},
      {"jpegtran", Tool::kJpegtran}, {"cjpeg", Tool::kCjpeg},
      {"dcraw", Tool::kDcraw},       {"mv", Tool::kMv},
      {"ffmpeg", Tool::kFfmpeg},     {"ffmpegthumbnailer", Tool::kFfmpegThumbnailer}};
  const auto tool = tools.find(program.substr(program.rfind('/') + 1));
  return tool == tools.end() ? Tool::kOther : tool->second;
}

ToolPaths FindToolPaths(Tool tool, const std::vector<std::string>& arguments) {
  Words words;
  if (tool == Tool::kOther || !Read(arguments, OptionsOf(tool), &words)) return {};
  ToolPaths paths = tool == Tool::kFfmpeg              ? PathsOfFfmpeg(words, arguments)
                    : tool == Tool::kFfmpegThumbnailer ? PathsOfThumbnailer(words, arguments)
                                                       : PathsOfPictures(tool, words, arguments);
  return paths.understood ? paths : ToolPaths();
}

}  // namespace vexaplatform
