#pragma once

#include <cstddef>
#include <cstdint>

#include "device/imaging/base/ImageResult.h"

namespace vecamera::device::imaging {

/// At which part of its size a picture is decoded, along both axes.
struct DecodeScale {
  static constexpr unsigned denominator = 8;
  unsigned numerator = denominator;

  /// How many stored pixels a decoded one spans, along each axis.
  double storedPixels() const { return double{denominator} / numerator; }
};

/// The rows of a picture while it is decoded, from the top: pixels as in a Bitmap.
class RowSource {
 public:
  virtual ~RowSource() = default;
  virtual std::size_t width() const = 0;
  virtual std::size_t height() const = 0;
  virtual bool isOpaque() const = 0;
  /// Writes the next `count` rows, of which there are enough, one behind the other.
  virtual ImageResult<void> read(std::uint32_t* rows, std::size_t count) = 0;
  /// After the last row: `corrupt` where the bytes ended early.
  virtual ImageResult<void> finish() = 0;
};

}  // namespace vecamera::device::imaging
