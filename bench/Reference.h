#pragma once

#include <cstdint>
#include <vector>

#include "VECamera/platform/Value.h"

namespace vecamera::bench {

/// A picture in full precision: luma and the two chroma samples of each pixel, one after the other.
struct FloatImage {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<float> values;
};

/// The JPEG decoded whole and scaled down to the square with the Lanczos kernel, upright where its
/// orientation is 6: what a tool would give that takes all the time it needs.
FloatImage lanczosReference(const Data& jpeg, unsigned side);
/// The PSNR of the reference itself, encoded in that quality, in decibels.
double psnrCeiling(const FloatImage& reference, int quality);
/// The peak signal-to-noise ratio of the JPEG to the reference, in decibels; -1 where it has
/// another size.
double psnr(const FloatImage& reference, const std::vector<std::uint8_t>& jpeg);

}  // namespace vecamera::bench
