#include "programs/vexathumb/printable.h"

#include <cwchar>
#include <cwctype>

namespace vexathumb::program {
namespace {

std::string Escaped(char byte) {
  if (byte == '\n') return "\\n";
  if (byte == '\t') return "\\t";
  static constexpr char kHex[] = "0123456789abcdef";
  const auto value = static_cast<unsigned char>(byte);
  return std::string("\\x") + kHex[value >> 4] + kHex[value & 15];
}

// Calls use(bytes, character) for each character; a byte that begins none comes with a null one.
template <typename Use>
void ForEachCharacter(const std::string& text, Use use) {
  std::mbstate_t state = {};
  for (size_t at = 0; at < text.size();) {
    wchar_t character = 0;
    const size_t length = std::mbrtowc(&character, &text[at], text.size() - at, &state);
    if (length == 0 || length > text.size() - at) {
      state = {};
      use(text.substr(at, 1), L'\0');
      ++at;
    } else {
      use(text.substr(at, length), character);
      at += length;
    }
  }
}

}  // namespace

std::string Printable(const std::string& text) {
  std::string result;
  ForEachCharacter(text, [&result](const std::string& bytes, wchar_t character) {
    if (character != 0 && std::iswprint(static_cast<wint_t>(character)) != 0) {
      result += bytes;
      return;
    }
    for (const char byte : bytes) result += Escaped(byte);
  });
  return result;
}

int DisplayWidth(const std::string& printable) {
  int width = 0;
  ForEachCharacter(printable, [&width](const std::string&, wchar_t character) {
    width += wcwidth(character) > 0 ? wcwidth(character) : 0;
  });
  return width;
}

}  // namespace vexathumb::program
