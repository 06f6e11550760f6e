#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_REPORT_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_REPORT_H_

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "programs/vexathumb/exit_code.h"
#include "service/picture/error_cause.h"
#include "service/picture/picture_facts.h"

namespace vexathumb::program {

using Json = nlohmann::ordered_json;

// In JSON, what is not known is null.
Json TextOrNull(const std::string& text);

// One answer about one file, with the fields that all commands share. Empty means unknown.
struct Answer {
  std::string file;
  std::string size;
  std::string from;
  std::string output;
  std::string mime;
  service::PictureFacts picture;
  std::optional<bool> is_damaged;  // shows what can be read of a source that is cut short
  std::optional<double> milliseconds;
  std::string error;
};

// All fields, unknown ones null.
Json ToJson(const Answer& answer);

// The document on a line, with whatever is not UTF-8 replaced.
void PrintJson(const Json& document);

// "vexathumb: FILE: cause; advice" in one line on standard error.
void PrintError(const std::string& file, const service::Cause& cause);

// A path on standard output: as it is for another program, printable for a person.
std::string ForOutput(const std::string& path);

// "640x480", or "-" when unknown; "12345", or "-".
std::string PixelsText(const service::PictureFacts& picture);
std::string BytesText(const service::PictureFacts& picture);

// Why a command ends here.
struct Failure {
  ExitCode code;
  std::string file;
  service::Cause cause;
};

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_REPORT_H_
