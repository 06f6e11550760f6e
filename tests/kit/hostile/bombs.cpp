#include "kit/hostile/bombs.h"

#include <zlib.h>

#include <cstdint>
#include <random>
#include <stdexcept>

#include "kit/pictures/tiff_builder.h"

namespace vexathumb::kit {
namespace {

constexpr uint32_t kHugeSide = 65500;

std::string BigEndian(uint32_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>((value >> (8 * i)) & 0xff);
  return text;
}

std::string LittleEndian(uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>((value >> (8 * i)) & 0xff);
  return text;
}

// JPEG

std::string Segment(uint8_t marker, const std::string& content) {
  return std::string("\xff") + static_cast<char>(marker) +
         BigEndian(static_cast<uint32_t>(content.size() + 2), 2) + content;
}

enum class HuffmanClass { kDc = 0, kAc = 0x10 };

// A table of one symbol, whose code is the bit 0.
std::string HuffmanTable(HuffmanClass table_class, uint8_t symbol) {
  std::string lengths(16, '\0');
  lengths[0] = 1;
  return Segment(0xc4, static_cast<char>(table_class) + lengths + static_cast<char>(symbol));
}

// Of one component.
std::string Frame(uint8_t marker, uint32_t width, uint32_t height) {
  return Segment(0xdb, std::string(1, '\0') + std::string(64, '\1')) +
         Segment(marker, "\x08" + BigEndian(height, 2) + BigEndian(width, 2) +
                             std::string("\1\1\x11\0", 4));
}

std::string Scan(uint8_t first_coefficient, uint8_t last_coefficient, const std::string& data) {
  std::string header("\1\1\0", 3);
  header += static_cast<char>(first_coefficient);
  header += static_cast<char>(last_coefficient);
  return Segment(0xda, header + '\0') + data;
}

constexpr char kJpegStart[] = "\xff\xd8";
constexpr char kJpegEnd[] = "\xff\xd9";
constexpr uint8_t kBaseline = 0xc0;
constexpr uint8_t kProgressive = 0xc2;
constexpr uint8_t kEndOfBand14 = 0xe0;  // 14 bits tell how many blocks beyond 16384 hold nothing

// The bits of as many symbols as say that `blocks` blocks hold nothing more.
std::string EmptyBands(int64_t blocks) {
  constexpr int kLongestRun = 32767;
  std::string bits;
  for (; blocks > 0; blocks -= kLongestRun) bits += '0' + std::string(14, '1');
  bits.resize((bits.size() + 7) / 8 * 8, '1');
  std::string bytes;
  for (size_t i = 0; i < bits.size(); i += 8) {
    const auto byte = static_cast<char>(std::stoi(bits.substr(i, 8), nullptr, 2));
    bytes += byte;
    if (byte == '\xff') bytes += '\0';
  }
  return bytes;
}

int64_t BlocksOf(const Size& size) {
  return int64_t{(size.width + 7) / 8} * ((size.height + 7) / 8);
}

// PNG

std::string Chunk(const std::string& type, const std::string& content) {
  const std::string checked = type + content;
  const auto sum =
      crc32(0, reinterpret_cast<const Bytef*>(checked.data()), static_cast<uInt>(checked.size()));
  return BigEndian(static_cast<uint32_t>(content.size()), 4) + checked +
         BigEndian(static_cast<uint32_t>(sum), 4);
}

std::string Deflated(const std::string& bytes) {
  uLongf size = compressBound(bytes.size());
  std::string deflated(size, '\0');
  if (compress2(reinterpret_cast<Bytef*>(deflated.data()), &size,
                reinterpret_cast<const Bytef*>(bytes.data()), bytes.size(), 9) != Z_OK) {
    throw std::runtime_error("zlib does not compress");
  }
  deflated.resize(size);
  return deflated;
}

// Of 8-bit grey.
std::string PngStart(uint32_t width, uint32_t height) {
  return "\x89PNG\r\n\x1a\n" +
         Chunk("IHDR", BigEndian(width, 4) + BigEndian(height, 4) + std::string("\x08\0\0\0\0", 5));
}

// GIF

std::string GifStart(uint32_t width, uint32_t height) {
  return "GIF89a" + LittleEndian(width, 2) + LittleEndian(height, 2) +
         std::string("\x80\0\0\0\0\0\xff\xff\xff", 9);
}

// A frame, of as many pixels as the picture, that has the data of one.
std::string GifFrame(uint32_t width, uint32_t height) {
  return std::string("\x2c\0\0\0\0", 5) + LittleEndian(width, 2) + LittleEndian(height, 2) +
         std::string("\0\2\2\x44\1\0", 6);
}

}  // namespace

std::string HugeJpeg() {
  return kJpegStart + Frame(kBaseline, kHugeSide, kHugeSide) + HuffmanTable(HuffmanClass::kDc, 0) +
         HuffmanTable(HuffmanClass::kAc, 0) + Scan(0, 63, std::string(16, '\0')) + kJpegEnd;
}

std::string HugeProgressiveJpeg() {
  return kJpegStart + Frame(kProgressive, kHugeSide, kHugeSide) +
         HuffmanTable(HuffmanClass::kDc, 0) + Scan(0, 0, std::string(16, '\0')) +
         HuffmanTable(HuffmanClass::kAc, kEndOfBand14) + Scan(1, 63, EmptyBands(100000)) + kJpegEnd;
}

std::string ManyScanJpeg(const Size& size, int scans) {
  std::string jpeg =
      kJpegStart +
      Frame(kProgressive, static_cast<uint32_t>(size.width), static_cast<uint32_t>(size.height)) +
      HuffmanTable(HuffmanClass::kDc, 0) + HuffmanTable(HuffmanClass::kAc, kEndOfBand14) +
      Scan(0, 0, std::string(static_cast<size_t>((BlocksOf(size) + 7) / 8), '\0'));
  const std::string scan = Scan(1, 63, EmptyBands(BlocksOf(size)));
  for (int i = 1; i < scans; ++i) jpeg += scan;
  return jpeg + kJpegEnd;
}

std::string HugePng() {
  return PngStart(kHugeSide, kHugeSide) + Chunk("IDAT", Deflated(std::string(100000, '\0'))) +
         Chunk("IEND", "");
}

std::string LongTextPng(int texts) {
  constexpr size_t kLongestText = 7'000'000;  // libpng takes up to 8 MB
  const std::string text =
      Chunk("zTXt", std::string("Comment\0\0", 9) + Deflated(std::string(kLongestText, 'x')));
  std::string png = PngStart(2, 2);
  for (int i = 0; i < texts; ++i) png += text;
  return png + Chunk("IDAT", Deflated(std::string(6, '\0'))) + Chunk("IEND", "");
}

std::string HugeGif() {
  return GifStart(kHugeSide, kHugeSide) + GifFrame(kHugeSide, kHugeSide) + ";";
}

std::string ManyFrameGif(int frames) {
  std::string gif = GifStart(1, 1);
  for (int i = 0; i < frames; ++i) gif += GifFrame(1, 1);
  return gif + ";";
}

std::string HugeTiff() {
  TiffDirectory directory;
  directory.Longs(256, {kHugeSide})
      .Longs(257, {kHugeSide})
      .Shorts(258, {8})
      .Shorts(259, {1})
      .Shorts(262, {1})
      .Shorts(277, {1})
      .Longs(278, {kHugeSide})
      .Data(273, 279, std::string(1000, '\0'));
  return BuildTiff(directory, {});
}

std::string TiffChain(int directories, ChainEnd end) {
  constexpr uint32_t kFirst = 8;
  constexpr uint32_t kSize = 2 + 2 * 12 + 4;
  std::string tiff = "II*" + std::string(1, '\0') + LittleEndian(kFirst, 4);
  for (int i = 1; i <= directories; ++i) {
    const bool is_last = i == directories;
    const uint32_t last_next = end == ChainEnd::kLoop ? kFirst : 0;
    tiff += LittleEndian(2, 2);
    for (const uint32_t tag : {256U, 257U}) {
      tiff += LittleEndian(tag, 2) + LittleEndian(4, 2) + LittleEndian(1, 4) + LittleEndian(16, 4);
    }
    tiff += LittleEndian(is_last ? last_next : kFirst + static_cast<uint32_t>(i) * kSize, 4);
  }
  return tiff;
}

std::string OverlappingTiff(int entries, size_t bytes) {
  constexpr uint32_t kFirstPrivateTag = 0xc800;
  constexpr uint32_t kUndefined = 7;
  const auto count = static_cast<uint32_t>(entries);
  const uint32_t shared = 8 + 2 + count * 12 + 4;
  std::string tiff = "II*" + std::string(1, '\0') + LittleEndian(8, 4) + LittleEndian(count, 2);
  for (uint32_t i = 0; i < count; ++i) {
    tiff += LittleEndian(kFirstPrivateTag + i, 2) + LittleEndian(kUndefined, 2) +
            LittleEndian(static_cast<uint32_t>(bytes) - shared, 4) + LittleEndian(shared, 4);
  }
  tiff += LittleEndian(0, 4);
  tiff.resize(bytes, 'x');
  return tiff;
}

std::string Garbage(size_t size) {
  std::mt19937 random(1);
  std::string bytes;
  bytes.reserve(size);
  for (size_t i = 0; i < size; ++i) bytes += static_cast<char>(random() & 0xff);
  return bytes;
}

}  // namespace vexathumb::kit
