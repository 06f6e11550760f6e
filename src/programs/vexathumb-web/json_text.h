#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_JSON_TEXT_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_JSON_TEXT_H_

#include <string>
#include <utility>

namespace vexathumb::web {

// An object of JSON, written member by member. A document in memory would want more of that to be
// destroyed, and end the worker where there is none.
//
//   JsonObject share;
//   share.Add("name", JsonString(name));
//   share.Add("mtime", std::to_string(mtime));
//   Send(share.Take());
class JsonObject {
 public:
  // `name` needs no escapes; `value` is JSON.
  void Add(const char* name, const std::string& value) {
    text_ += text_.empty() ? "{\"" : ",\"";
    text_ += name;
    text_ += "\":" + value;
  }

  // Leaves it without members.
  std::string Take() { return text_.empty() ? "{}" : std::exchange(text_, "") + "}"; }

 private:
  std::string text_;
};

// The same of an array.
class JsonArray {
 public:
  void Add(const std::string& value) { text_ += (text_.empty() ? "[" : ",") + value; }

  std::string Take() { return text_.empty() ? "[]" : std::exchange(text_, "") + "]"; }

 private:
  std::string text_;
};

// Bytes that are not UTF-8 become U+FFFD.
std::string JsonString(const std::string& bytes);

}  // namespace vexathumb::web

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_WEB_JSON_TEXT_H_
