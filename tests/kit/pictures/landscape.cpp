#include "kit/pictures/landscape.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "kit/files.h"

namespace vexathumb::kit {
namespace {

constexpr float kWaterline = 0.72F;
constexpr size_t kRidges = 6;

// Where each ridge begins in one column, from the farthest to the nearest; 0 to 1 from the top.
using Skyline = std::array<float, kRidges>;

// Scrambles a number: the same in, the same out, and no pattern to see.
uint32_t Hash(uint32_t value) {
  value ^= value >> 16;
  value *= 0x7FEB352DU;
  value ^= value >> 15;
  value *= 0x846CA68BU;
  return value ^ (value >> 16);
}

float Random(uint32_t seed) { return static_cast<float>(Hash(seed) & 0xFFFF) / 65536.0F; }

float Smooth(float t) { return t * t * (3.0F - 2.0F * t); }

Rgb Mix(const Rgb& a, const Rgb& b, float share) {
  return {a[0] + (b[0] - a[0]) * share, a[1] + (b[1] - a[1]) * share, a[2] + (b[2] - a[2]) * share};
}

Rgb Brighter(const Rgb& colour, float by) {
  return {colour[0] + by, colour[1] + by, colour[2] + by};
}

// Noise of one dimension, 0 to 1: octaves of random heights joined smoothly.
float Noise(float x, uint32_t seed) {
  float sum = 0.0F;
  float amplitude = 0.5F;
  for (uint32_t octave = 0; octave < 9; ++octave) {
    const float cell = std::floor(x);
    const auto index = static_cast<uint32_t>(cell) + Hash(seed + octave) % 100000U;
    const float left = Random(index);
    sum += amplitude * (left + (Random(index + 1) - left) * Smooth(x - cell));
    x *= 2.0F;
    amplitude *= 0.5F;
  }
  return sum;
}

std::vector<Skyline> Skylines(int width, float aspect, unsigned seed) {
  std::vector<Skyline> columns;
  columns.reserve(static_cast<size_t>(width));
  for (int x = 0; x < width; ++x) {
    const float across = static_cast<float>(x) / static_cast<float>(width) * aspect;
    Skyline& skyline = columns.emplace_back();
    for (size_t ridge = 0; ridge < kRidges; ++ridge) {
      const float depth = static_cast<float>(ridge) / (kRidges - 1);
      const float base = 0.34F + 0.30F * depth;
      const float height = 0.36F - 0.22F * depth;
      const float noise = Noise(across * (1.2F + 1.6F * depth) + 7.0F * depth,
                                seed * 131U + static_cast<uint32_t>(ridge) * 17U);
      skyline[ridge] = base + height * (0.5F - noise);
    }
  }
  return columns;
}

Rgb Sky(const Scene& scene, float across, float down, float aspect) {
  const Rgb sky = Mix(scene.zenith, scene.horizon, std::min(1.0F, down / 0.6F));
  const float distance = std::hypot((across - scene.sun_x) * aspect, down - scene.sun_y);
  constexpr Rgb kSun = {255.0F, 244.0F, 214.0F};
  if (distance < 0.045F) return kSun;
  return Mix(sky, kSun, 0.75F * std::exp(-(distance - 0.045F) * 9.0F));
}

// The part of a scene above the waterline, row by row.
class Land {
 public:
  Land(const Size& size, const Scene& scene)
      : width_(size.width),
        waterline_(static_cast<int>(static_cast<float>(size.height) * kWaterline)),
        scene_(scene),
        aspect_(static_cast<float>(size.width) / static_cast<float>(size.height)),
        skylines_(Skylines(size.width, aspect_, scene.seed)) {
    colours_.reserve(static_cast<size_t>(width_) * static_cast<size_t>(waterline_));
    for (int y = 0; y < waterline_; ++y) {
      const float down = static_cast<float>(y) / static_cast<float>(size.height);
      for (int x = 0; x < width_; ++x) colours_.push_back(Paint(x, down));
    }
  }

  int waterline() const { return waterline_; }
  const Rgb& At(int x, int y) const {
    return colours_[static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x)];
  }

 private:
  Rgb Paint(int x, float down) const {
    const auto& ridges = skylines_[static_cast<size_t>(x)];
    size_t ridge = kRidges;  // one past the nearest that is not below this place
    while (ridge > 0 && down < ridges[ridge - 1]) --ridge;
    const auto width = static_cast<float>(width_);
    if (ridge == 0) return Sky(scene_, static_cast<float>(x) / width, down, aspect_);

    const float skyline = ridges[ridge - 1];
    const float depth = static_cast<float>(ridge) / kRidges;
    // Haze gathers at a mountain's foot, and light falls along its slope.
    const float foot = std::min(1.0F, (down - skyline) / 0.16F);
    const int uphill = std::max(0, x - std::max(1, width_ / 40));
    const float slope = skyline - skylines_[static_cast<size_t>(uphill)][ridge - 1];
    const float light = std::clamp(slope * 900.0F, -18.0F, 18.0F) * depth * (1.0F - foot);
    const Rgb hill = Mix(scene_.horizon, scene_.shore, depth);
    return Brighter(Mix(hill, scene_.horizon, 0.35F * foot * (1.0F - depth)), light);
  }

  int width_;
  int waterline_;
  const Scene& scene_;
  float aspect_;
  std::vector<Skyline> skylines_;
  std::vector<Rgb> colours_;
};

// The land upside down in the lake, in waves that are longer the nearer they are.
Rgb Water(const Land& land, const Size& size, const Rgb& zenith, int x, int below) {
  const auto height = static_cast<float>(size.height);
  const float across = static_cast<float>(x) / static_cast<float>(size.width);
  const float down = static_cast<float>(below) / height;
  const float nearness = down / (1.0F - kWaterline);
  const float wave =
      std::sin(down * 900.0F / (1.0F + 6.0F * nearness) + 4.0F * Noise(across * 20.0F, 5U));
  const int ripple = static_cast<int>(wave * nearness * height * 0.012F);
  const int mirrored =
      std::clamp(land.waterline() - 1 - below * 2 + ripple, 0, land.waterline() - 1);
  return Brighter(Mix(land.At(x, mirrored), zenith, 0.25F + 0.2F * nearness), wave * 5.0F);
}

}  // namespace

void PaintLandscape(const std::string& path, const Size& size, const Scene& scene) {
  const Land land(size, scene);
  std::string ppm =
      "P6\n" + std::to_string(size.width) + " " + std::to_string(size.height) + "\n255\n";
  uint32_t pixel = 0;
  for (int y = 0; y < size.height; ++y) {
    const int below = y - land.waterline();
    for (int x = 0; x < size.width; ++x) {
      const Rgb colour = below < 0 ? land.At(x, y) : Water(land, size, scene.zenith, x, below);
      const float grain = scene.grain * (Random(++pixel) - 0.5F);
      for (const float channel : colour) {
        ppm += static_cast<char>(static_cast<uint8_t>(std::clamp(channel + grain, 0.0F, 255.0F)));
      }
    }
  }
  WriteFile(path, ppm);
}

}  // namespace vexathumb::kit
