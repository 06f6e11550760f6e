#ifndef VEXAPLATFORM_BASE_SETTINGS_LINES_H_
#define VEXAPLATFORM_BASE_SETTINGS_LINES_H_

#include <cstdio>
#include <map>
#include <string>

namespace vexaplatform {

// What is wrong with the lines of a file: of each the first that is said.
class LineComplaints {
 public:
  void Add(int line, const std::string& text) { texts_.emplace(line, text); }

  // The number of the first bad line and what is wrong with it, "3: …"; "" when all are sound.
  std::string First() const {
    if (texts_.empty()) return "";
    return std::to_string(texts_.begin()->first) + ": " + texts_.begin()->second;
  }

 private:
  std::map<int, std::string> texts_;
};

// Hears what the lines of a settings file say, in their order. Lines are numbered from 1.
class SettingsLineHandler {
 public:
  virtual ~SettingsLineHandler() = default;
  virtual void OnSection(int line, const std::string& header) = 0;  // "[header]"
  virtual void OnEntry(int line, const std::string& key, const std::string& value) = 0;
};

// Reads [sections], entries "key = value" and comments to the end of `stream`; complains about
// lines that are none of these. False when the stream cannot be read.
bool ReadSettingsLines(FILE* stream, SettingsLineHandler* handler, LineComplaints* complaints);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_BASE_SETTINGS_LINES_H_
