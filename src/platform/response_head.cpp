#include "response_head.h"

#include <iconv.h>
#include <locale.h>

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace vexaplatform {
namespace {

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

bool IsUtf8(std::string text) {
  iconv_t converter = iconv_open("UCS-4LE", "UTF-8");
  if (reinterpret_cast<std::intptr_t>(converter) == -1) return false;
  std::vector<char> converted(4 * text.size());
  char* from = text.data();
  size_t left = text.size();
  char* to = converted.data();
  size_t room = converted.size();
  const bool valid = iconv(converter, &from, &left, &to, &room) != static_cast<size_t>(-1);
  iconv_close(converter);
  return valid;
}

// What browsers take literally in a quoted string, everything else as "_".
std::string PlainName(std::string name) {
  std::replace_if(
      name.begin(), name.end(),
      [](char c) { return IsControl(c) || !IsAscii(c) || strchr("\"\\/%", c) != nullptr; }, '_');
  return name;
}

// The bytes of RFC 8187's value-chars as they are, all others as %XX.
std::string PercentEncoded(const std::string& text) {
  constexpr char kUnreserved[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!#$&+-.^_`|~";
  std::string encoded;
  for (const char c : text) {
    if (c != '\0' && strchr(kUnreserved, c) != nullptr) {
      encoded += c;
    } else {
      char hex[4];
      snprintf(hex, sizeof(hex), "%%%02X", static_cast<unsigned char>(c));
      encoded += hex;
    }
  }
  return encoded;
}

std::string Header(const std::string& name, const std::string& value) {
  return name + ": " + value + "\r\n";
}

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

std::string HttpDate(time_t time) {
  // The host's locale must not translate the days.
  static const locale_t kLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  struct tm calendar {};
  gmtime_r(&time, &calendar);
  char date[64];
  return {date, strftime_l(date, sizeof(date), "%a, %d %b %Y %H:%M:%S GMT", &calendar, kLocale)};
}

std::string EntityTag(const struct stat& file) {
  char tag[96];
  snprintf(tag, sizeof(tag), "\"%" PRIx64 "-%" PRIx64 "-%" PRIx64 "-%" PRIx64 "\"",
           std::uint64_t{file.st_ino}, static_cast<std::uint64_t>(file.st_size),
           static_cast<std::uint64_t>(Nanoseconds(file.st_mtim)),
           static_cast<std::uint64_t>(Nanoseconds(file.st_ctim)));
  return tag;
}

std::string ContentDisposition(const std::string& name) {
  const std::string plain = PlainName(name);
  std::string value = "inline; filename=\"" + plain + "\"";
  // A name in another character set has no true form here.
  if (plain != name && IsUtf8(name)) value += "; filename*=UTF-8''" + PercentEncoded(name);
  return value;
}

bool IsHeaderValue(const char* text) {
  return text != nullptr && text[0] != '\0' && std::none_of(text, text + strlen(text), IsControl);
}

std::string FileHead(const struct stat& file, const std::string& mime) {
  return Header("Content-Type", mime) + Header("Content-Length", std::to_string(file.st_size)) +
         Header("Last-Modified", HttpDate(file.st_mtime)) + Header("ETag", EntityTag(file)) +
         "\r\n";
}

std::string StreamHead(const std::string& name, const std::string& mime) {
  return Header("Content-Type", mime) + Header("Content-Disposition", ContentDisposition(name)) +
         "\r\n";
}

}  // namespace vexaplatform
