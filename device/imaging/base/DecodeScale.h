#pragma once

namespace vecamera::device::imaging {

/// At which part of its size a picture is decoded, along both axes.
struct DecodeScale {
  static constexpr unsigned denominator = 8;
  unsigned numerator = denominator;

  /// How many stored pixels a decoded one spans, along each axis.
  double storedPixels() const { return double{denominator} / numerator; }
};

}  // namespace vecamera::device::imaging
