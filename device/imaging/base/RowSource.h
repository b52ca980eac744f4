#pragma once

#include <cstddef>
#include <cstdint>

namespace vecamera::device::imaging {

/// The rows of a picture while it is decoded, from the top: pixels as in a Bitmap.
class RowSource {
 public:
  virtual ~RowSource() = default;
  virtual std::size_t width() const = 0;
  virtual std::size_t height() const = 0;
  virtual bool isOpaque() const = 0;
  /// Writes the next `count` rows, of which there are enough, one behind the other; false where
  /// the bytes are damaged.
  virtual bool read(std::uint32_t* rows, std::size_t count) = 0;
  /// After the last row: true where the bytes did not end early either.
  virtual bool finish() = 0;
};

}  // namespace vecamera::device::imaging
