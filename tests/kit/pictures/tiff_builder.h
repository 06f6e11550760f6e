#ifndef VEXATHUMB_TESTS_KIT_PICTURES_TIFF_BUILDER_H_
#define VEXATHUMB_TESTS_KIT_PICTURES_TIFF_BUILDER_H_

#include <cstdint>
#include <string>
#include <vector>

namespace vexathumb::kit {

// Little-endian TIFF structures, for the raw files that no tool here writes.

// One directory: its entries, and the picture data that two of them point at.
class TiffDirectory {
 public:
  TiffDirectory& Shorts(uint16_t tag, const std::vector<uint16_t>& values);
  TiffDirectory& Longs(uint16_t tag, const std::vector<uint32_t>& values);
  TiffDirectory& Rationals(uint16_t tag, const std::vector<int32_t>& numerators,
                           int32_t denominator);
  TiffDirectory& Bytes(uint16_t tag, const std::string& values);
  TiffDirectory& Text(uint16_t tag, const std::string& text);

  // `offset_tag` and `length_tag` will say where the data lie and how many bytes they are.
  TiffDirectory& Data(uint16_t offset_tag, uint16_t length_tag, const std::string& data);

 private:
  friend std::string BuildTiff(TiffDirectory main, const std::vector<TiffDirectory>& children,
                               const std::string& signature);
  struct Entry {
    uint16_t tag;
    uint16_t type;
    uint32_t count;
    std::string value;
  };

  TiffDirectory& Add(uint16_t tag, uint16_t type, size_t count, const std::string& value);
  size_t Size() const;
  std::string Serialise(size_t position) const;

  std::vector<Entry> entries_;
  std::string data_;
  uint16_t offset_tag_ = 0;
};

// A file of a main directory and the SubIFDs that it lists. `signature` follows the eight bytes of
// the TIFF header, where some raw formats have one.
std::string BuildTiff(TiffDirectory main, const std::vector<TiffDirectory>& children,
                      const std::string& signature = "");

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_PICTURES_TIFF_BUILDER_H_
