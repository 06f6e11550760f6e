#include "platform/base/settings_lines.h"

#include <ini.h>

#include <cstring>

namespace vexaplatform {
namespace {

// inih splits the file into keys and values. It neither counts lines for its handler nor tells of
// sections, cuts long names and splits long lines, so every line is looked at here on its way in.
class Reader {
 public:
  Reader(FILE* stream, SettingsLineHandler* handler, LineComplaints* complaints)
      : stream_(stream), handler_(handler), complaints_(complaints) {}

  bool Read() {
    const int bad_line = ini_parse_stream(&ReadLine, this, &TakeEntry, this);
    if (bad_line > 0) complaints_->Add(bad_line, "neither a [section] nor a key = value");
    return ferror(stream_) == 0;
  }

 private:
  static char* ReadLine(char* buffer, int size, void* reader) {
    return static_cast<Reader*>(reader)->NextLine(buffer, size);
  }

  static int TakeEntry(void* self, const char* /*section*/, const char* key, const char* value) {
    const auto* const reader = static_cast<Reader*>(self);
    reader->handler_->OnEntry(reader->line_, key, value);
    return 1;
  }

  char* NextLine(char* buffer, int size) {
    int length = 0;
    bool sound = true;
    int c = getc(stream_);
    if (c == EOF) return nullptr;
    ++line_;
    for (; c != EOF; c = getc(stream_)) {
      // inih takes an indented line for the continuation of the value above it.
      if (length == 0 && (c == ' ' || c == '\t')) continue;
      sound = sound && c != '\0' && length < size - 1;
      if (sound) buffer[length++] = static_cast<char>(c);
      if (c == '\n') break;
    }
    buffer[length] = '\0';
    if (!sound) {
      complaints_->Add(line_, "longer than " + std::to_string(size - 2) + " bytes or not a text");
    }
    const char* const end = buffer[0] == '[' ? strchr(buffer, ']') : nullptr;
    if (end != nullptr) {
      handler_->OnSection(line_, std::string(static_cast<const char*>(buffer) + 1, end));
    }
    return buffer;
  }

  FILE* stream_;
  SettingsLineHandler* handler_;
  LineComplaints* complaints_;
  int line_ = 0;
};

}  // namespace

bool ReadSettingsLines(FILE* stream, SettingsLineHandler* handler, LineComplaints* complaints) {
  return Reader(stream, handler, complaints).Read();
}

}  // namespace vexaplatform
