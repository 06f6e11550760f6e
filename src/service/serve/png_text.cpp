#include "service/serve/png_text.h"

#include <zlib.h>

#include <cstdint>

namespace vexathumb::service {
namespace {

constexpr char kSignatureAndHeader[] = "\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR";
constexpr size_t kSignatureAndHeaderSize = sizeof(kSignatureAndHeader) - 1;
constexpr size_t kHeaderEnd = kSignatureAndHeaderSize + 13 + 4;  // its content and checksum

std::string BigEndian(uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes += static_cast<char>((number >> static_cast<unsigned>(shift)) & 0xffU);
  }
  return bytes;
}

std::string TextChunk(const std::string& keyword, const std::string& text) {
  const std::string content = "tEXt" + keyword + '\0' + text;
  const auto sum =
      crc32(0, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size()));
  return BigEndian(static_cast<uint32_t>(content.size() - 4)) + content +
         BigEndian(static_cast<uint32_t>(sum));
}

}  // namespace

std::optional<std::string> WithTexts(const std::string& png, const PngTexts& texts) {
  const std::string start(kSignatureAndHeader, kSignatureAndHeaderSize);
  if (png.size() < kHeaderEnd || png.compare(0, start.size(), start) != 0) return std::nullopt;
  std::string chunks;
  for (const auto& [keyword, text] : texts) chunks += TextChunk(keyword, text);
  return png.substr(0, kHeaderEnd) + chunks + png.substr(kHeaderEnd);
}

}  // namespace vexathumb::service
