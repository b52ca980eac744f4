#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/resample/AxisWeights.h"

namespace vecamera::device::imaging {

/// Rows of units in memory that somebody else owns.
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

/// What a stored plane is made of: bytes, words (samples in eighths, which may be less than 0 or
/// more than 255), or pixels of four bytes.
enum class SampleFormat { byte, word, pixel };
std::size_t bytesOf(SampleFormat unit);

/// Resamples one plane whose rows arrive in bands, turning it on the way: the first pass mixes
/// rows, what comes out is laid as columns, and the second pass mixes rows again. Of the source,
/// only the rows that one result row needs stand in memory.
class PlaneScaler {
 public:
  /// `width` is that of the stored plane in units; a band has at most `bandRows` rows.
  PlaneScaler(ScalePlan plan, std::size_t width, SampleFormat unit, std::size_t bandRows);
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

  /// Once all rows were pushed: makes the result, which has the plan's width and height, in pixels
  /// or, of words too, in bytes. False where rows or memory were lacking.
  bool finish(const PlaneView& result);

 private:
  class FirstPass;
  template <typename Number>
  bool finishFrom(std::size_t numbers, const PlaneView& result) const;

  ScalePlan plan_;
  SampleFormat unit_;
  PixelRange columns_;
  PixelRange rows_;
  std::size_t pushedRows_ = 0;
  std::unique_ptr<FirstPass> firstPass_;
  ScratchBuffer turnedMemory_;
  PlaneView turned_;
  bool ready_ = false;
};

}  // namespace vecamera::device::imaging
