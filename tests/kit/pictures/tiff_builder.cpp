#include "kit/pictures/tiff_builder.h"

#include <algorithm>

namespace vexathumb::kit {
namespace {

constexpr uint16_t kByteType = 1;
constexpr uint16_t kTextType = 2;
constexpr uint16_t kShortType = 3;
constexpr uint16_t kLongType = 4;
constexpr uint16_t kSignedRationalType = 10;
constexpr uint16_t kSubIfdsTag = 330;

std::string LittleEndian(uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>((value >> (8 * i)) & 0xFF);
  return text;
}

// Values of up to four bytes lie in the entry itself.
bool IsInline(const std::string& value) { return value.size() <= 4; }

size_t Even(size_t size) { return size + size % 2; }

std::string PaddedTo(std::string text, size_t size) {
  text.resize(size, '\0');
  return text;
}

}  // namespace

TiffDirectory& TiffDirectory::Add(uint16_t tag, uint16_t type, size_t count,
                                  const std::string& value) {
  entries_.push_back({tag, type, static_cast<uint32_t>(count), value});
  return *this;
}

TiffDirectory& TiffDirectory::Shorts(uint16_t tag, const std::vector<uint16_t>& values) {
  std::string bytes;
  for (const uint16_t value : values) bytes += LittleEndian(value, 2);
  return Add(tag, kShortType, values.size(), bytes);
}

TiffDirectory& TiffDirectory::Longs(uint16_t tag, const std::vector<uint32_t>& values) {
  std::string bytes;
  for (const uint32_t value : values) bytes += LittleEndian(value, 4);
  return Add(tag, kLongType, values.size(), bytes);
}

TiffDirectory& TiffDirectory::Rationals(uint16_t tag, const std::vector<int32_t>& numerators,
                                        int32_t denominator) {
  std::string bytes;
  for (const int32_t numerator : numerators) {
    bytes += LittleEndian(static_cast<uint32_t>(numerator), 4) +
             LittleEndian(static_cast<uint32_t>(denominator), 4);
  }
  return Add(tag, kSignedRationalType, numerators.size(), bytes);
}

TiffDirectory& TiffDirectory::Bytes(uint16_t tag, const std::string& values) {
  return Add(tag, kByteType, values.size(), values);
}

TiffDirectory& TiffDirectory::Text(uint16_t tag, const std::string& text) {
  return Add(tag, kTextType, text.size() + 1, text + '\0');
}

TiffDirectory& TiffDirectory::Data(uint16_t offset_tag, uint16_t length_tag,
                                   const std::string& data) {
  data_ = data;
  offset_tag_ = offset_tag;
  Longs(offset_tag, {0});
  return Longs(length_tag, {static_cast<uint32_t>(data.size())});
}

size_t TiffDirectory::Size() const {
  size_t size = 2 + 12 * entries_.size() + 4 + Even(data_.size());
  for (const Entry& entry : entries_) {
    if (!IsInline(entry.value)) size += Even(entry.value.size());
  }
  return size;
}

// The table, then the values that do not fit into it, then the data.
std::string TiffDirectory::Serialise(size_t position) const {
  std::vector<Entry> sorted = entries_;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const Entry& a, const Entry& b) { return a.tag < b.tag; });
  const auto data_position = static_cast<uint32_t>(position + Size() - Even(data_.size()));
  size_t value_position = position + 2 + 12 * sorted.size() + 4;
  std::string table = LittleEndian(static_cast<uint32_t>(sorted.size()), 2);
  std::string values;
  for (const Entry& entry : sorted) {
    table += LittleEndian(entry.tag, 2) + LittleEndian(entry.type, 2);
    table += LittleEndian(entry.count, 4);
    if (entry.tag == offset_tag_) {
      table += LittleEndian(data_position, 4);
    } else if (IsInline(entry.value)) {
      table += PaddedTo(entry.value, 4);
    } else {
      table += LittleEndian(static_cast<uint32_t>(value_position + values.size()), 4);
      values += PaddedTo(entry.value, Even(entry.value.size()));
    }
  }
  return table + LittleEndian(0, 4) + values + PaddedTo(data_, Even(data_.size()));
}

std::string BuildTiff(TiffDirectory main, const std::vector<TiffDirectory>& children,
                      const std::string& signature) {
  const size_t start = Even(8 + signature.size());
  if (!children.empty()) {
    main.Longs(kSubIfdsTag, std::vector<uint32_t>(children.size()));
    size_t position = start + main.Size();
    std::vector<uint32_t> positions;
    for (const TiffDirectory& child : children) {
      positions.push_back(static_cast<uint32_t>(position));
      position += child.Size();
    }
    main.entries_.pop_back();
    main.Longs(kSubIfdsTag, positions);
  }

  std::string file = "II" + LittleEndian(42, 2) + LittleEndian(static_cast<uint32_t>(start), 4);
  file = PaddedTo(file + signature, start);
  file += main.Serialise(file.size());
  for (const TiffDirectory& child : children) file += child.Serialise(file.size());
  return file;
}

}  // namespace vexathumb::kit
