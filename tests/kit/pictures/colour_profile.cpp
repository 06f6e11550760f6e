#include "kit/pictures/colour_profile.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace vexathumb::kit {
namespace {

using Xyz = std::array<double, 3>;

std::string Number(uint32_t value, int octets = 4) {
  std::string bytes;
  for (int shift = (octets - 1) * 8; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(value >> static_cast<unsigned>(shift) & 0xffU);
  }
  return bytes;
}

std::string Fixed(double value) {
  return Number(static_cast<uint32_t>(std::lround(value * 65536)));
}

std::string Point(const Xyz& point) {
  return "XYZ " + Number(0) + Fixed(point[0]) + Fixed(point[1]) + Fixed(point[2]);
}

// A text and its length, and no others in Unicode or for old machines.
std::string Description(const std::string& text) {
  return "desc" + Number(0) + Number(static_cast<uint32_t>(text.size() + 1)) + text +
         std::string(1 + 4 + 4 + 2 + 1 + 67, '\0');
}

}  // namespace

std::string AdobeRgbProfile() {
  constexpr Xyz kWhite = {0.9642, 1, 0.8249};  // to which the others have been adapted
  const std::string curve = "curv" + Number(0) + Number(1) + Number(563, 2);  // of 256
  const std::vector<std::pair<std::string, std::string>> tags = {
      {"desc", Description("Adobe RGB (1998)")},
      {"cprt", "text" + Number(0) + "Public domain" + std::string(1, '\0')},
      {"wtpt", Point({0.95045, 1, 1.08905})},
      {"rXYZ", Point({0.60974, 0.31111, 0.01947})},
      {"gXYZ", Point({0.20528, 0.62567, 0.06087})},
      {"bXYZ", Point({0.14919, 0.06322, 0.74457})},
      {"rTRC", curve},
      {"gTRC", curve},
      {"bTRC", curve},
  };
  const size_t first = 128 + 4 + 12 * tags.size();
  std::string table = Number(static_cast<uint32_t>(tags.size()));
  std::string data;
  for (const auto& [name, bytes] : tags) {
    data.resize((data.size() + 3) / 4 * 4);
    table += name + Number(static_cast<uint32_t>(first + data.size())) +
             Number(static_cast<uint32_t>(bytes.size()));
    data += bytes;
  }
  data.resize((data.size() + 3) / 4 * 4);
  std::string header = Number(static_cast<uint32_t>(first + data.size())) + std::string(4, '\0') +
                       Number(0x02100000) + "mntrRGB XYZ ";
  header += std::string(12, '\0') + "acsp" + std::string(28, '\0');
  header += Fixed(kWhite[0]) + Fixed(kWhite[1]) + Fixed(kWhite[2]);
  header.resize(128);
  return header + table + data;
}

}  // namespace vexathumb::kit
