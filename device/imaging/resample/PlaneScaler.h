#pragma once

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/resample/AxisWeights.h"

namespace vecamera::device::imaging {

/// Rows of samples in memory that somebody else owns.
struct PlaneView {
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t strideBytes = 0;
  std::uint8_t* bytes = nullptr;

  std::uint8_t* row(std::size_t y) const { return bytes + y * strideBytes; }
};

/// The weights for each axis of a stored plane, and whether the axes are exchanged on the way.
struct ScalePlan {
  explicit ScalePlan(const AlignedPlacement& placement)
      : alongColumns(placement.columns),
        alongRows(placement.rows),
        swapsAxes(placement.swapsAxes) {}

  AxisWeights alongColumns;
  AxisWeights alongRows;
  bool swapsAxes;

  std::size_t width() const { return (swapsAxes ? alongRows : alongColumns).count(); }
  std::size_t height() const { return (swapsAxes ? alongColumns : alongRows).count(); }
};

/// What a plane consists of: bytes, words (fixed-point samples with 3 bits after the point, which
/// may be less than 0 or more than 255), or pixels of four bytes.
enum class SampleFormat { byte, word, pixel };
std::size_t bytesOf(SampleFormat format);

/// Resamples one plane whose rows arrive in bands, and applies the orientation on the way: the
/// first pass convolves along the columns, what comes out is transposed, and the second pass does
/// the same again. Of the source, only the rows that one result row needs are kept.
class PlaneScaler {
 public:
  /// `width` is that of the stored plane in samples; a band has at most `bandRows` rows.
  PlaneScaler(ScalePlan plan, std::size_t width, SampleFormat format, std::size_t bandRows);
  ~PlaneScaler();
  PlaneScaler(const PlaneScaler&) = delete;
  PlaneScaler& operator=(const PlaneScaler&) = delete;

  /// False where the memory could not be had; nothing else may be called then.
  bool ready() const { return ready_; }
  std::size_t resultWidth() const { return plan_.width(); }
  std::size_t resultHeight() const { return plan_.height(); }

  /// Takes the next rows of the stored plane, whole, from its row 0 on; an even number of them but
  /// for the last. Rows that the plan does not need are skipped.
  void push(const std::uint8_t* const* rows, std::size_t count);

  /// After all rows were pushed: makes the result, which has the plan's width and height, of pixels
  /// or else, of words too, of bytes. False where rows or memory were lacking.
  bool finish(const PlaneView& result);

 private:
  struct FirstPass;
  template <typename Sample>
  bool finishFrom(std::size_t channels, const PlaneView& result) const;

  ScalePlan plan_;
  SampleFormat format_;
  PixelRange columns_;
  PixelRange rows_;
  std::size_t pushedRows_ = 0;
  std::unique_ptr<FirstPass> firstPass_;
  ScratchBuffer transposedMemory_;
  PlaneView transposed_;
  bool ready_ = false;
};

}  // namespace vecamera::device::imaging
