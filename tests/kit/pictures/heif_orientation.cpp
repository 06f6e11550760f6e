#include "kit/pictures/heif_orientation.h"

#include <cstdint>
#include <stdexcept>

namespace vexathumb::kit {
namespace {

constexpr char kEssential = '\x80';

// The box of this name, as a heif-enc file has only one of; its size field comes first.
size_t FindBox(const std::string& heif, const std::string& name) {
  const size_t position = heif.find(name);
  if (position == std::string::npos) throw std::runtime_error("no " + name + " box");
  return position - 4;
}

uint32_t Number(const std::string& bytes, size_t position, size_t size) {
  uint32_t number = 0;
  for (size_t i = 0; i < size; ++i) {
    number = number << 8 | static_cast<uint8_t>(bytes.at(position + i));
  }
  return number;
}

void AddTo32Bits(std::string& bytes, size_t position, size_t summand) {
  const auto sum = static_cast<uint32_t>(Number(bytes, position, 4) + summand);
  for (size_t i = 0; i < 4; ++i) {
    bytes.at(position + i) = static_cast<char>((sum >> (24 - 8 * i)) & 0xFF);
  }
}

std::string OneByteBox(const std::string& name, char value) {
  return std::string("\0\0\0\x09", 4) + name + value;
}

// The turn comes before the mirror, and decoders keep the order.
std::string TransformBoxes(int orientation) {
  constexpr struct {
    char anticlockwise_turns;
    bool mirrored;
  } kTransforms[] = {{0, true},  {2, false}, {2, true}, {3, true},
                     {3, false}, {1, true},  {1, false}};
  constexpr char kLeftRight = 1;
  const auto& transform = kTransforms[orientation - 2];
  std::string boxes;
  if (transform.anticlockwise_turns != 0) {
    boxes += OneByteBox("irot", transform.anticlockwise_turns);
  }
  if (transform.mirrored) boxes += OneByteBox("imir", kLeftRight);
  return boxes;
}

bool HasTransformBoxes(const std::string& heif, size_t begin, size_t end) {
  for (size_t box = begin; box < end; box += Number(heif, box, 4)) {
    const std::string name = heif.substr(box + 4, 4);
    if (name == "irot" || name == "imir") return true;
  }
  return false;
}

size_t CountBoxes(const std::string& heif, size_t begin, size_t end) {
  size_t count = 0;
  for (size_t box = begin; box < end; box += Number(heif, box, 4)) ++count;
  return count;
}

// Lists the properties after the `first` ones for the primary picture; returns the bytes added.
size_t AssociateProperties(std::string& heif, size_t first, size_t count) {
  const uint32_t primary = Number(heif, FindBox(heif, "pitm") + 12, 2);
  const size_t associations = FindBox(heif, "ipma");
  size_t entry = associations + 16;
  while (Number(heif, entry, 2) != primary) entry += 3 + Number(heif, entry + 2, 1);
  const uint32_t listed = Number(heif, entry + 2, 1);
  for (size_t i = 0; i < count; ++i) {
    const auto index = static_cast<char>(kEssential | static_cast<char>(first + 1 + i));
    heif.insert(entry + 3 + listed + i, 1, index);
  }
  heif.at(entry + 2) = static_cast<char>(listed + count);
  AddTo32Bits(heif, associations, count);
  return count;
}

// Item data that lie in the file, not in the metadata box, have moved.
void MoveItemData(std::string& heif, size_t distance) {
  const size_t locations = FindBox(heif, "iloc");
  const bool has_construction_method = heif.at(locations + 8) != 0;
  const uint32_t items = Number(heif, locations + 14, 2);
  size_t item = locations + 16;
  for (uint32_t i = 0; i < items; ++i) {
    const size_t base_offset = item + (has_construction_method ? 6 : 4);
    const bool lies_in_file = !has_construction_method || Number(heif, item + 2, 2) == 0;
    if (lies_in_file) AddTo32Bits(heif, base_offset, distance);
    const size_t extents = Number(heif, base_offset + 4, 2);
    item = base_offset + 6 + 8 * extents;
  }
}

}  // namespace

std::string WithContainerOrientation(std::string heif, int orientation) {
  const size_t properties = FindBox(heif, "ipco");
  const size_t properties_end = properties + Number(heif, properties, 4);
  // heif-enc 1.19 does it itself, 1.15 does not.
  if (HasTransformBoxes(heif, properties + 8, properties_end)) return heif;
  const std::string boxes = TransformBoxes(orientation);
  const size_t first = CountBoxes(heif, properties + 8, properties_end);
  // From the back to the front, so that what is found first stays where it is.
  const size_t associated = AssociateProperties(heif, first, CountBoxes(boxes, 0, boxes.size()));
  heif.insert(properties_end, boxes);
  AddTo32Bits(heif, properties, boxes.size());
  const size_t added = associated + boxes.size();
  AddTo32Bits(heif, FindBox(heif, "iprp"), added);
  AddTo32Bits(heif, FindBox(heif, "meta"), added);
  MoveItemData(heif, added);
  return heif;
}

}  // namespace vexathumb::kit
