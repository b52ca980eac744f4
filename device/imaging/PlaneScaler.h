#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "device/imaging/AxisWeights.h"
#include "device/imaging/Scratch.h"

namespace vecamera::device {

/// Rows of units (a byte, or the four bytes of a pixel) in memory that somebody else owns.
struct PlaneView {
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t strideBytes = 0;
  std::uint8_t* bytes = nullptr;

  std::uint8_t* row(std::size_t y) const { return bytes + y * strideBytes; }
};

/// Where the pixels of a canvas window come from in a stored plane: weights for each axis of the
/// stored plane, and whether the axes are exchanged on the way, so that stored columns become rows
/// of the canvas.
struct ScalePlan {
  AxisWeights alongColumns;
  AxisWeights alongRows;
  bool swapsAxes = false;

  std::size_t width() const { return (swapsAxes ? alongRows : alongColumns).count(); }
  std::size_t height() const { return (swapsAxes ? alongColumns : alongRows).count(); }
};

class RowMixer;

/// Resamples one plane whose rows arrive in bands, turning it on the way: the first pass mixes
/// rows, what comes out is laid as columns, and the second pass mixes rows again. Of the source,
/// only the rows that one result row needs stand in memory.
class PlaneScaler {
 public:
  /// `width` is that of the stored plane in units, `unitBytes` 1 or 4; a band has at most
  /// `bandRows` rows.
  PlaneScaler(ScalePlan plan, std::size_t width, std::size_t unitBytes, std::size_t bandRows);
  ~PlaneScaler();
  PlaneScaler(const PlaneScaler&) = delete;
  PlaneScaler& operator=(const PlaneScaler&) = delete;

  /// False where the memory could not be had; nothing else may be called then.
  bool ready() const { return ready_; }
  std::size_t resultWidth() const { return plan_.width(); }
  std::size_t resultHeight() const { return plan_.height(); }

  /// The next rows of the stored plane, whole, from its row 0 on; an even number of them but for
  /// the last. Rows that the plan does not need are skipped.
  void push(const std::uint8_t* const* rows, std::size_t count);

  /// Once all rows were pushed: makes the result, which has the plan's width and height. False
  /// where rows or memory were lacking.
  bool finish(const PlaneView& result);

 private:
  ScalePlan plan_;
  std::size_t unitBytes_;
  PixelRange columns_;
  PixelRange rows_;
  std::size_t pushedRows_ = 0;
  std::unique_ptr<RowMixer> mixer_;
  Scratch turnedMemory_;
  PlaneView turned_;
  bool ready_ = false;
};

}  // namespace vecamera::device
