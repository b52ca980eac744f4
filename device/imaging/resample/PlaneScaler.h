#pragma once

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/resample/AxisWeights.h"

namespace vecamera::device::imaging {

/// A view of rows of samples.
struct PlaneView {
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t strideBytes = 0;
  std::uint8_t* bytes = nullptr;

  std::uint8_t* row(std::size_t y) const { return bytes + y * strideBytes; }
};

/// The weights for each axis of a stored plane, and whether the axes are exchanged.
struct ScalePlan {
  explicit ScalePlan(const AlignedPlacement& placement)
      : alongColumns(placement.columns),
        alongRows(placement.rows),
        swapsAxes(placement.swapsAxes) {}

  AxisWeights alongColumns;
  AxisWeights alongRows;
  bool swapsAxes;
};

/// What a plane consists of: samples of a byte, fixed-point samples of 16 bits with 3 bits after
/// the point (words), which may overshoot 0 and 255, or pixels of four bytes.
enum class SampleFormat { byte, word, pixel };
std::size_t bytesOf(SampleFormat format);

/// Resamples one plane whose rows arrive in bands, and applies the orientation. The first pass
/// convolves along the columns and transposes its result; the second pass does the same again. Of
/// the source, only the rows that a row of the result needs are kept.
class PlaneScaler {
 public:
  /// `width` is that of the stored plane in samples; a band has at most `bandRows` rows. The only
  /// error is `outOfMemory`.
  static ImageResult<std::unique_ptr<PlaneScaler>> create(ScalePlan plan, std::size_t width,
                                                          SampleFormat format,
                                                          std::size_t bandRows);
  ~PlaneScaler();
  PlaneScaler(const PlaneScaler&) = delete;
  PlaneScaler& operator=(const PlaneScaler&) = delete;

  std::size_t resultWidth() const {
    return (plan_.swapsAxes ? plan_.alongRows : plan_.alongColumns).count();
  }
  std::size_t resultHeight() const {
    return (plan_.swapsAxes ? plan_.alongColumns : plan_.alongRows).count();
  }

  /// Takes the next rows of the stored plane, whole, from its row 0 on; an even number of them but
  /// for the last. Rows that the plan does not need are skipped.
  void push(const std::uint8_t* const* rows, std::size_t count);

  /// After all rows were pushed: writes the result to a plane of `resultWidth()` by
  /// `resultHeight()`. Pixels give pixels; bytes and words give bytes. The errors are
  /// `corrupt` where rows are missing, and `outOfMemory`.
  ImageResult<void> finish(const PlaneView& result);

 private:
  struct FirstPass;
  PlaneScaler(ScalePlan plan, std::size_t width, SampleFormat format, std::size_t bandRows);
  template <typename Sample>
  ImageResult<void> finishFrom(std::size_t channels, const PlaneView& result) const;

  ScalePlan plan_;
  SampleFormat format_;
  PixelRange columns_;
  PixelRange rows_;
  std::size_t pushedRows_ = 0;
  std::unique_ptr<FirstPass> firstPass_;
  ScratchBuffer transposedMemory_;
  PlaneView transposed_;
};

}  // namespace vecamera::device::imaging
