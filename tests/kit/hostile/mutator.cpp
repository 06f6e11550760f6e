#include "kit/hostile/mutator.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"

namespace vexathumb::kit {
namespace {

constexpr size_t kMostChanges = 6;
constexpr size_t kHead = 512;
constexpr size_t kLongestPart = 256;

// What counts, lengths and offsets are not prepared for.
constexpr std::array<uint32_t, 12> kExtremes = {0,          1,          2,          0x7f,
                                                0xff,       0x7fff,     0xffff,     0x00010000,
                                                0x7fffffff, 0x80000000, 0xfffffffe, 0xffffffff};

std::string NumberBytes(uint32_t number, size_t width, bool big_endian) {
  std::string bytes;
  for (size_t i = 0; i < width; ++i) bytes += static_cast<char>((number >> (8 * i)) & 0xff);
  if (big_endian) std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

}  // namespace

Mutator::Mutator(std::vector<std::string> originals, uint32_t seed)
    : originals_(std::move(originals)), random_(seed) {}

std::string Mutator::Next() {
  std::string bytes = originals_[next_++ % originals_.size()];
  const size_t changes = 1 + Below(kMostChanges);
  for (size_t i = 0; i < changes; ++i) Change(&bytes);
  return bytes;
}

// The standard's distributions differ from library to library; the generator itself does not.
size_t Mutator::Below(size_t end) { return end == 0 ? 0 : random_() % end; }

size_t Mutator::Place(const std::string& bytes) {
  const bool in_head = Below(4) != 0;
  return Below(in_head ? std::min(kHead, bytes.size()) : bytes.size());
}

void Mutator::Change(std::string* bytes) {
  if (bytes->empty()) return;
  using Operation = void (Mutator::*)(std::string*);
  // Numbers and bits more often than the rest, which few parsers survive to read on.
  constexpr std::array<Operation, 12> kOperations = {
      &Mutator::FlipBit,   &Mutator::FlipBit,   &Mutator::SetByte,   &Mutator::SetByte,
      &Mutator::SetNumber, &Mutator::SetNumber, &Mutator::SetNumber, &Mutator::Cut,
      &Mutator::Remove,    &Mutator::Repeat,    &Mutator::Splice,    &Mutator::Append};
  (this->*kOperations[Below(kOperations.size())])(bytes);
}

void Mutator::FlipBit(std::string* bytes) {
  char& byte = (*bytes)[Place(*bytes)];
  byte = static_cast<char>(byte ^ (1 << Below(8)));
}

void Mutator::SetByte(std::string* bytes) {
  (*bytes)[Place(*bytes)] = static_cast<char>(Below(256));
}

void Mutator::SetNumber(std::string* bytes) {
  const size_t width = Below(2) == 0 ? 2 : 4;
  const bool is_big_endian = Below(2) == 0;
  const std::string number = NumberBytes(kExtremes[Below(kExtremes.size())], width, is_big_endian);
  bytes->replace(Place(*bytes), width, number);
}

void Mutator::Cut(std::string* bytes) { bytes->resize(Below(bytes->size())); }

void Mutator::Remove(std::string* bytes) {
  const size_t place = Place(*bytes);
  bytes->erase(place, 1 + Below(kLongestPart));
}

void Mutator::Repeat(std::string* bytes) {
  const size_t length = 1 + Below(kLongestPart);
  const std::string part = bytes->substr(Place(*bytes), length);
  const size_t place = Place(*bytes);
  const size_t times = 1 + Below(16);
  for (size_t i = 0; i < times; ++i) bytes->insert(place, part);
}

void Mutator::Splice(std::string* bytes) {
  const std::string& other = originals_[Below(originals_.size())];
  const size_t length = 1 + Below(kLongestPart);
  const std::string part = other.substr(Place(other), length);
  bytes->replace(Place(*bytes), part.size(), part);
}

void Mutator::Append(std::string* bytes) {
  const size_t count = Below(4096);
  for (size_t i = 0; i < count; ++i) *bytes += static_cast<char>(Below(256));
}

std::vector<std::string> SmallPictures() {
  const TempDir dir;
  const Size small = {48, 32};
  const std::string file = dir / "file";
  std::vector<std::string> contents = {EpsContent(),       AviContent(), MatroskaContent(),
                                       QuickTimeContent(), AsfContent(), Cr3Content()};
  const auto take = [&] { contents.push_back(ReadFile(file)); };
  JpegOptions camera;
  camera.size = small;
  WriteJpeg(file, camera), take();
  camera.orientation = 6;
  camera.exif_thumbnail = small;
  camera.exif = {{"Exif.Panasonic.Rotation", "8"}, {"Exif.Image.Make", "Panasonic"}};
  WriteJpeg(file, camera), take();
  camera.xmp_preview = Size{640, 480};
  WriteJpeg(file, camera), take();
  WritePng(file, {small, 6}), take();
  WriteTransparentPng(file, small), take();
  WriteTiff(file, {small, 8}), take();
  WriteWebp(file, {small, 3}), take();
  WriteBmp(file, small), take();
  WriteGif(file, small), take();
  WriteAnimatedGif(file, small), take();
  WriteHeic(file, {{64, 64}, 6}), take();
  WriteAvif(file, {{64, 64}, 6}), take();
  for (const RawPreview preview :
       {RawPreview::kNone, RawPreview::kJpeg, RawPreview::kJpegStrip, RawPreview::kPixels}) {
    WriteDng(file, {small, preview, small}), take();
  }
  WriteCr2(file, small, small), take();
  return contents;
}

}  // namespace vexathumb::kit
