#include "kit/pictures/ssim.h"

#include <stdexcept>

#include "kit/pictures/pixels.h"

namespace vexathumb::kit {
namespace {

constexpr int kWindow = 8;
constexpr int kStep = 4;

double Brightness(const Raster& raster, int x, int y) {
  return 0.299 * raster.At(x, y, 0) + 0.587 * raster.At(x, y, 1) + 0.114 * raster.At(x, y, 2);
}

double SsimOfWindow(const Raster& one, const Raster& other, int left, int top) {
  double sum_a = 0;
  double sum_b = 0;
  double sum_aa = 0;
  double sum_bb = 0;
  double sum_ab = 0;
  for (int y = top; y < top + kWindow; ++y) {
    for (int x = left; x < left + kWindow; ++x) {
      const double a = Brightness(one, x, y);
      const double b = Brightness(other, x, y);
      sum_a += a;
      sum_b += b;
      sum_aa += a * a;
      sum_bb += b * b;
      sum_ab += a * b;
    }
  }
  constexpr double kPixels = kWindow * kWindow;
  // The usual constants for 8 bits, which keep flat windows from dividing by nothing.
  constexpr double kC1 = 0.01 * 255 * 0.01 * 255;
  constexpr double kC2 = 0.03 * 255 * 0.03 * 255;
  const double mean_a = sum_a / kPixels;
  const double mean_b = sum_b / kPixels;
  const double var_a = sum_aa / kPixels - mean_a * mean_a;
  const double var_b = sum_bb / kPixels - mean_b * mean_b;
  const double covariance = sum_ab / kPixels - mean_a * mean_b;
  return (2 * mean_a * mean_b + kC1) * (2 * covariance + kC2) /
         ((mean_a * mean_a + mean_b * mean_b + kC1) * (var_a + var_b + kC2));
}

}  // namespace

double Ssim(const std::string& one, const std::string& other) {
  const Raster a = ReadRaster(one);
  const Raster b = ReadRaster(other);
  if (a.width != b.width || a.height != b.height) {
    throw std::runtime_error(one + " and " + other + " differ in size");
  }
  double sum = 0;
  int windows = 0;
  for (int top = 0; top + kWindow <= a.height; top += kStep) {
    for (int left = 0; left + kWindow <= a.width; left += kStep) {
      sum += SsimOfWindow(a, b, left, top);
      ++windows;
    }
  }
  return windows > 0 ? sum / windows : 1;
}

}  // namespace vexathumb::kit
