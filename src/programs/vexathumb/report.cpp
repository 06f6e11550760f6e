#include "programs/vexathumb/report.h"

#include <unistd.h>

#include <cmath>
#include <iostream>

#include "programs/vexathumb/printable.h"

namespace vexathumb::program {
namespace {

template <typename Number>
Json NumberOrNull(const std::optional<Number>& number) {
  return number ? Json(*number) : Json();
}

}  // namespace

Json TextOrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json ToJson(const Answer& answer) {
  Json milliseconds;
  if (answer.milliseconds) milliseconds = std::round(*answer.milliseconds * 1000) / 1000;
  return {
      {"file", TextOrNull(answer.file)},
      {"size", TextOrNull(answer.size)},
      {"from", TextOrNull(answer.from)},
      {"output", TextOrNull(answer.output)},
      {"mime", TextOrNull(answer.mime)},
      {"width", NumberOrNull(answer.picture.width)},
      {"height", NumberOrNull(answer.picture.height)},
      {"bytes", NumberOrNull(answer.picture.bytes)},
      {"damaged", answer.is_damaged ? Json(*answer.is_damaged) : Json()},
      {"ms", milliseconds},
      {"error", TextOrNull(answer.error)},
  };
}

void PrintJson(const Json& document) {
  std::cout << document.dump(-1, ' ', false, Json::error_handler_t::replace) << "\n";
}

void PrintError(const std::string& file, const service::Cause& cause) {
  std::string line = "vexathumb: ";
  if (!file.empty()) line += file + ": ";
  line += cause.text;
  if (!cause.advice.empty()) line += "; " + cause.advice;
  std::cerr << Printable(line) + "\n";
}

std::string ForOutput(const std::string& path) {
  return isatty(STDOUT_FILENO) != 0 ? Printable(path) : path;
}

std::string PixelsText(const service::PictureFacts& picture) {
  if (!picture.width || !picture.height) return "-";
  return std::to_string(*picture.width) + "x" + std::to_string(*picture.height);
}

std::string BytesText(const service::PictureFacts& picture) {
  return picture.bytes ? std::to_string(*picture.bytes) : "-";
}

}  // namespace vexathumb::program
