#pragma once

#include <vector>

#include "device/imaging/resample/PlaneScaler.h"

namespace vecamera::device::imaging {

/// A component of a stored picture: luma, or one of the two of chroma.
struct StoredComponent {
  SampleGrid grid;
  SampleFormat format = SampleFormat::byte;
  friend bool operator==(const StoredComponent&, const StoredComponent&) = default;
};

/// A component of the canvas. Rows are padded to a multiple of 64 bytes.
struct CanvasPlane {
  PlaneView view;
  ScratchBuffer memory;
};

/// A canvas that one picture fills, in luma and subsampled chroma. Rows of the stored components
/// come in; each component is oriented and resampled by itself.
class PlanarCanvas {
 public:
  /// The windows of the placement are the whole canvas, and its scales are large enough for
  /// `AxisWeights` in all components. These are one (grey) or three; `chromaSubsampling` pixels
  /// of the canvas, along both axes, make one sample of chroma. A band that is pushed has at most
  /// `bandRows` rows. The only error is `outOfMemory`.
  static ImageResult<PlanarCanvas> create(const AlignedPlacement& placement,
                                          const std::vector<StoredComponent>& components,
                                          int chromaSubsampling, std::size_t bandRows);

  /// Takes the next rows of a stored component, as `PlaneScaler::push` does.
  void push(std::size_t component, const std::uint8_t* const* rows, std::size_t count);
  /// After all rows were pushed: the planes. White shows where the picture covers a pixel in part.
  /// The only error is `outOfMemory`.
  ImageResult<std::vector<CanvasPlane>> finish();

 private:
  PlanarCanvas(const AlignedPlacement& placement, int chromaSubsampling)
      : placement_(placement), chromaSubsampling_(chromaSubsampling) {}

  AlignedPlacement placement_;
  int chromaSubsampling_;
  std::vector<std::unique_ptr<PlaneScaler>> scalers_;
};

}  // namespace vecamera::device::imaging
