#pragma once

#include <cstdint>
#include <vector>

#include "VECamera/platform/Value.h"

namespace vecamera::bench {

/// A picture in the colours in which JPEGs keep theirs, in full precision: brightness and the two
/// colours of each pixel one after the other.
struct Colors {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<float> values;
};

/// The JPEG decoded whole and shrunk to the square with Lanczos' kernel, upright where its
/// orientation is 6: what a tool would give that takes all the time it needs.
Colors carefulReference(const Data& jpeg, unsigned side);
/// The best that a JPEG of that quality can be: the reference itself, encoded.
double ceilingDecibels(const Colors& reference, int quality);
/// How near the JPEG's pixels come to the reference (peak signal to noise ratio); -1 where it has
/// another size.
double decibels(const Colors& reference, const std::vector<std::uint8_t>& jpeg);

}  // namespace vecamera::bench
